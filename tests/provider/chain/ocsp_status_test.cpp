// What answers of status responders say about a certificate, held against libcrypto's own reading.
#include "provider/chain/ocsp_status.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/ocsp.h>
#include <openssl/x509v3.h>

#include "tests/provider/chain/ocsp_world.h"
#include "tests/support/kind_name.h"

namespace qx::test::ocsp_status_test {
namespace {

using lab::Bytes;
using lab::KeyKind;
using lab::OcspEntry;
using lab::OcspStatus;

constexpr std::chrono::minutes kMinute(1);

/// What libcrypto makes of an answer: kGood, kRevoked or kUnknown.
DWORD askLibcrypto(const Bytes& answer, X509* certificate, X509* issuer) {
  const OcspPtr data = answerOf(answer);
  OCSP_BASICRESP* basic = data->response();
  const X509StorePtr store(X509_STORE_new());
  X509_STORE_add_cert(store.get(), issuer);
  if (OCSP_basic_verify(basic, nullptr, store.get(), 0) != 1) {
    return kUnknown;
  }
  OCSP_CERTID* id = OCSP_cert_to_id(nullptr, certificate, issuer);
  int status = -1;
  ASN1_GENERALIZEDTIME* thisUpdate = nullptr;
  ASN1_GENERALIZEDTIME* nextUpdate = nullptr;
  const int found =
      OCSP_resp_find_status(basic, id, &status, nullptr, nullptr, &thisUpdate, &nextUpdate);
  OCSP_CERTID_free(id);
  if (found != 1 || status == V_OCSP_CERTSTATUS_UNKNOWN) {
    return kUnknown;
  }
  const DWORD revoked = status == V_OCSP_CERTSTATUS_REVOKED ? kRevoked : kGood;
  return revoked |
         (OCSP_check_validity(thisUpdate, nextUpdate, kClockSkew, -1) == 1 ? kGood : kUnknown);
}

class OcspStatusTest : public OcspWorld {
 protected:
  DWORD endWith(const OcspEntry& about, const lab::OcspOptions& options = {}) {
    const Bytes answer = responder.basic({about}, options);
    const DWORD errors = OcspWorld::endWith(answer);
    EXPECT_EQ(errors, askLibcrypto(answer, end.get(), root.certificate()));
    return errors;
  }
};

TEST_F(OcspStatusTest, IsGoodOrRevokedOrUnknown) {
  EXPECT_EQ(endWith(entry(OcspStatus::Good)), kGood);
  EXPECT_EQ(endWith(entry(OcspStatus::Revoked)), kRevoked);
  EXPECT_EQ(endWith(entry(OcspStatus::Unknown)), kUnknown);
}

TEST_F(OcspStatusTest, IsKeptAsEvidence) {
  const Bytes answer = responder.basic({entry()});
  world.addAnswer(answer);
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.elements.at(0).evidence.ocsp->sha1(), answerOf(answer)->sha1());
  EXPECT_EQ(verdict.elements.at(0).evidence.crl, nullptr);
  EXPECT_TRUE(verdict.elements.at(0).revocationChecked);
  EXPECT_EQ(verdict.elements.at(1).evidence.ocsp, nullptr) << "not looked up";
}

TEST_F(OcspStatusTest, LeavesNoEvidenceWhenItIsUnknown) {
  world.addAnswer(responder.basic({entry(OcspStatus::Unknown)}));
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.elements.at(0).evidence.ocsp, nullptr);
  EXPECT_TRUE(verdict.elements.at(0).revocationChecked);
}

TEST_F(OcspStatusTest, TakesEveryReasonForRevoked) {
  for (const int reason :
       {OCSP_REVOKED_STATUS_KEYCOMPROMISE, OCSP_REVOKED_STATUS_CERTIFICATEHOLD}) {
    OcspEntry about = entry(OcspStatus::Revoked);
    about.reason = reason;
    EXPECT_EQ(endWith(about), kRevoked) << reason;
  }
}

TEST_F(OcspStatusTest, HoldsUntilNextUpdate) {
  OcspEntry about = entry();
  about.nextUpdate = kMinute;
  EXPECT_EQ(endWith(about), kGood);
  about.nextUpdate = -10 * kMinute;
  EXPECT_EQ(endWith(about), kUnknown);
}

TEST_F(OcspStatusTest, KeepsAnExpiredWordThatTheCertificateIsRevoked) {
  OcspEntry about = entry(OcspStatus::Revoked);
  about.nextUpdate = -10 * kMinute;
  EXPECT_EQ(endWith(about), kRevoked | kUnknown);
}

TEST_F(OcspStatusTest, IsNotOfTheFutureButForClocksThatDiffer) {
  OcspEntry about = entry();
  about.thisUpdate = 2 * kMinute;
  EXPECT_EQ(endWith(about), kGood);
  about.thisUpdate = 10 * kMinute;
  EXPECT_EQ(endWith(about), kUnknown);
}

TEST_F(OcspStatusTest, WithoutNextUpdateIsAboutItsOwnMoment) {
  OcspEntry about = entry();
  about.nextUpdate.reset();
  about.thisUpdate = -kMinute;
  EXPECT_EQ(OcspWorld::endWith(responder.basic({about})), kGood);
  about.thisUpdate = -10 * kMinute;
  EXPECT_EQ(OcspWorld::endWith(responder.basic({about})), kUnknown);
}

TEST_F(OcspStatusTest, IsFoundAmongOthers) {
  const X509Ptr other = root.issue(sampleKey(), named("Other"));
  OcspEntry about = entry(OcspStatus::Revoked);
  about.certId = lab::ocspCertId(other.get(), root.certificate());
  EXPECT_EQ(OcspWorld::endWith(responder.basic({about, entry()})), kGood);
  EXPECT_EQ(OcspWorld::endWith(responder.basic({about})), kUnknown) << "about another certificate";
}

TEST_F(OcspStatusTest, IsAboutTheIssuersNameAndKey) {
  // The same serial number under another authority of the same name.
  const lab::Authority namesake = lab::Authority::selfSigned(KeyKind::EcP256, named("Root"));
  const lab::Authority other = lab::Authority::selfSigned(KeyKind::EcP256, named("Other"));
  OcspEntry about = entry();
  about.certId = lab::ocspCertId(end.get(), namesake.certificate());
  EXPECT_EQ(endWith(about), kUnknown) << "another key";
  lab::CertificateOptions options = named("Same serial");
  options.serial = lab::serialOf(end.get());
  const X509Ptr foreign = other.issue(sampleKey(), options);
  about.certId = lab::ocspCertId(foreign.get(), root.certificate());
  EXPECT_EQ(OcspWorld::endWith(responder.basic({about})), kUnknown) << "another name";
}

TEST_F(OcspStatusTest, MayNameTheIssuerByOtherHashes) {
  for (const int digest : {NID_sha256, NID_sha384, NID_sha512, NID_id_GostR3411_2012_256}) {
    OcspEntry about = entry();
    about.certId = lab::ocspCertId(end.get(), root.certificate(), digest);
    EXPECT_EQ(OcspWorld::endWith(responder.basic({about})), kGood) << OBJ_nid2sn(digest);
  }
}

TEST_F(OcspStatusTest, MindsNoNonceInStoredAnswers) {
  EXPECT_EQ(endWith(entry(), {.nonce = {1, 2, 3, 4}}), kGood);
}

/// The answer with one extension more, of the whole or of its status, signed again.
Bytes extended(const Bytes& answer,
               const lab::OcspResponder& responder,
               const char* extension,
               const char* value,
               bool isOfTheStatus) {
  const OcspPtr data = answerOf(answer);
  OCSP_BASICRESP* basic = data->response();
  const X509ExtensionPtr made(X509V3_EXT_nconf(nullptr, nullptr, extension, value));
  EXPECT_NE(made, nullptr);
  EXPECT_EQ(isOfTheStatus
                ? OCSP_SINGLERESP_add_ext(OCSP_resp_get0(basic, 0), made.get(), /*loc=*/-1)
                : OCSP_BASICRESP_add_ext(basic, made.get(), /*loc=*/-1),
            1);
  EXPECT_EQ(OCSP_basic_sign(basic,
                            responder.certificate(),
                            responder.key(),
                            EVP_sha256(),
                            nullptr,
                            OCSP_NOCERTS | OCSP_NOTIME),
            1);
  unsigned char* bytes = nullptr;
  const int length = i2d_OCSP_BASICRESP(basic, &bytes);
  EXPECT_GT(length, 0);
  Bytes encoded(bytes, bytes + std::max(length, 0));
  OPENSSL_free(bytes);
  return encoded;
}

// Who does not know a critical extension does not know what the answer means (RFC 6960, 4.4).
TEST_F(OcspStatusTest, IsNotReliableWithACriticalExtensionThatNobodyKnows) {
  constexpr const char* kUnknownOid = "1.2.3.4.5";
  constexpr const char* kNonce = "1.3.6.1.5.5.7.48.1.2";
  const Bytes good = responder.basic({entry()});
  const auto errorsWith =
      [&](const char* extension, const char* value, bool isOfTheStatus, const Bytes& answer) {
        return OcspWorld::endWith(extended(answer, responder, extension, value, isOfTheStatus));
      };
  EXPECT_EQ(errorsWith(kUnknownOid, "DER:0500", false, good), kGood);
  EXPECT_EQ(errorsWith(kUnknownOid, "DER:0500", true, good), kGood);
  EXPECT_EQ(errorsWith(kNonce, "critical,DER:0403010203", false, good), kGood);
  EXPECT_EQ(errorsWith(kUnknownOid, "critical,DER:0500", false, good), kUnknown);
  EXPECT_EQ(errorsWith(kUnknownOid, "critical,DER:0500", true, good), kUnknown);
  EXPECT_EQ(errorsWith(kNonce, "critical,DER:0403010203", true, good), kUnknown);
  const Bytes revoked = responder.basic({entry(OcspStatus::Revoked)});
  EXPECT_EQ(errorsWith(kUnknownOid, "critical,DER:0500", false, revoked), kRevoked | kUnknown);
}

TEST_F(OcspStatusTest, GivesWayToANewerCrl) {
  OcspEntry about = entry();
  about.thisUpdate = -2 * kHour;
  world.addAnswer(responder.basic({about}));
  world.addCrl(
      root.crl({.revoked = {{.serial = lab::serialOf(end.get())}}, .thisUpdate = -kHour}).get());
  EXPECT_EQ(judge(), kRevoked);
}

TEST_F(OcspStatusTest, OverridesAnOlderCrl) {
  world.addCrl(root.crl({.thisUpdate = -2 * kHour}).get());
  EXPECT_EQ(judge(), kGood);
  world.addAnswer(responder.basic({entry(OcspStatus::Revoked)}));
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, kRevoked);
  EXPECT_NE(verdict.elements.at(0).evidence.ocsp, nullptr);
}

TEST_F(OcspStatusTest, NarrowsTheTimeForWhichTheVerdictHolds) {
  OcspEntry about = entry();
  about.thisUpdate = -kMinute;
  about.nextUpdate = kMinute;
  world.addAnswer(responder.basic({about}));
  const TimeWindow window = world.judge(end.get()).window;
  EXPECT_TRUE(window.contains(world.now));
  EXPECT_FALSE(window.contains(world.now + 120));
  EXPECT_FALSE(window.contains(world.now - 120));
}

TEST_F(OcspStatusTest, IsUnknownAmongCountlessForgedAnswers) {
  const lab::Authority namesake = lab::Authority::selfSigned(KeyKind::EcP256, named("Root"));
  const Bytes forged = lab::OcspResponder::of(namesake).basic({entry(OcspStatus::Revoked)});
  for (int i = 0; i < 1000; ++i) {
    world.addAnswer(forged);
  }
  EXPECT_EQ(judge(), kUnknown);
}

/// The same for each kind of key.
class OcspOfKind : public OcspWorld, public ::testing::WithParamInterface<KeyKind> {
 protected:
  OcspOfKind() : OcspWorld(GetParam()) {}
};

TEST_P(OcspOfKind, IsBelieved) {
  EXPECT_EQ(endWith(responder.basic({entry()})), kGood);
  EXPECT_EQ(endWith(responder.basic({entry(OcspStatus::Revoked)})), kRevoked);
  EXPECT_EQ(endWith(lab::OcspResponder::of(root).basic({entry()})), kGood);
}

TEST_P(OcspOfKind, IsNotBelievedWithABitTurned) {
  Bytes answer = responder.basic({entry()}, {.certificate = false});
  answer.back() ^= 1U;
  world.addMaterial(responder.certificate());
  EXPECT_EQ(endWith(answer), kUnknown);
  answer.back() ^= 1U;
  EXPECT_EQ(endWith(answer), kGood);
}

INSTANTIATE_TEST_SUITE_P(All,
                         OcspOfKind,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256,
                                           KeyKind::EcP384),
                         kindOf);

}  // namespace
}  // namespace qx::test::ocsp_status_test
