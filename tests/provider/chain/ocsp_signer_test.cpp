// Who may answer for an authority's certificates.
#include "provider/chain/ocsp_signer.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/provider/chain/ocsp_world.h"

namespace qx::test::ocsp_signer_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::KeyKind;
using lab::OcspResponder;

class OcspSigner : public OcspWorld {
 protected:
  DWORD endWithAnswerOf(const OcspResponder& other, const lab::OcspOptions& options = {}) {
    return endWith(other.basic({entry()}, options));
  }

  OcspResponder responderWith(CertificateOptions options) const {
    if (options.subject.empty()) {
      options.subject = named("Responder").subject;
    }
    return OcspResponder::issuedBy(root, KeyKind::EcP256, std::move(options));
  }

  /// A responder that nobody exempts from being looked up; `place` names where that could be done.
  OcspResponder responderToLookUp(CertificateOptions options = {}) const {
    options.extensions.push_back({.name = "1.2.3.4.5", .value = "DER:0500"});
    return responderWith(std::move(options));
  }
};

TEST_F(OcspSigner, MayBeTheIssuerItself) {
  EXPECT_EQ(endWithAnswerOf(OcspResponder::of(root)), kGood);
  EXPECT_EQ(endWithAnswerOf(OcspResponder::of(root), {.byKey = true}), kGood);
  EXPECT_EQ(endWithAnswerOf(OcspResponder::of(root), {.certificate = false}), kGood);
}

TEST_F(OcspSigner, MayBeCertifiedByTheIssuer) {
  EXPECT_EQ(endWithAnswerOf(responder), kGood);
  EXPECT_EQ(endWithAnswerOf(responder, {.byKey = true}), kGood);
}

TEST_F(OcspSigner, IsFoundAmongTheGivenCertificates) {
  const lab::OcspOptions bare{.certificate = false};
  EXPECT_EQ(endWithAnswerOf(responder, bare), kUnknown);
  world.addMaterial(responder.certificate());
  EXPECT_EQ(endWithAnswerOf(responder, bare), kGood);
  EXPECT_EQ(endWithAnswerOf(responder, {.certificate = false, .byKey = true}), kGood);
}

TEST_F(OcspSigner, IsNotHiddenByANamesake) {
  const OcspResponder namesake = responderWith({.subject = named("OCSP").subject});
  world.addMaterial(namesake.certificate());
  EXPECT_EQ(endWithAnswerOf(responder, {.certificate = false}), kUnknown);
  EXPECT_EQ(endWithAnswerOf(responder, {.others = {namesake.certificate()}}), kGood);
  world.addMaterial(responder.certificate());
  EXPECT_EQ(endWithAnswerOf(responder, {.certificate = false}), kGood);
}

TEST_F(OcspSigner, IsNotSearchedForAmongCountlessNamesakes) {
  for (int i = 0; i < 10; ++i) {
    world.addMaterial(responderWith({.subject = named("OCSP").subject}).certificate());
  }
  world.addMaterial(responder.certificate());
  EXPECT_EQ(endWithAnswerOf(responder, {.certificate = false}), kUnknown);
  EXPECT_EQ(endWithAnswerOf(responder, {.certificate = false, .byKey = true}), kGood);
  EXPECT_EQ(endWithAnswerOf(responder), kGood) << "the one in the answer comes first";
}

TEST_F(OcspSigner, MayHaveARenewedCertificate) {
  // The same name and key; the old one has ended.
  lab::CertificateOptions options{.subject = named("OCSP").subject, .notAfter = -kHour};
  options.extendedKeyUsage = "OCSPSigning";
  world.addMaterial(root.issue(responder.key(), options).get());
  EXPECT_EQ(endWithAnswerOf(responder, {.certificate = false}), kUnknown);
  world.addMaterial(responder.certificate());
  EXPECT_EQ(endWithAnswerOf(responder, {.certificate = false}), kGood);
}

TEST_F(OcspSigner, MustBeMadeForIt) {
  EXPECT_EQ(endWithAnswerOf(responderWith({.extendedKeyUsage = "timeStamping"})), kUnknown);
  EXPECT_EQ(endWithAnswerOf(responderWith({.extendedKeyUsage = "anyExtendedKeyUsage"})), kUnknown);
  EXPECT_EQ(endWithAnswerOf(responderWith({.extendedKeyUsage = "OCSPSigning,timeStamping"})),
            kGood);
  // Another certificate of the issuer, without any usage.
  EVP_PKEY* key = sampleKey();
  EVP_PKEY_up_ref(key);
  EXPECT_EQ(endWithAnswerOf(OcspResponder(EvpPkeyPtr(key), X509Ptr(X509_dup(end.get())))),
            kUnknown);
}

TEST_F(OcspSigner, MustBeValid) {
  EXPECT_EQ(endWithAnswerOf(responderWith({.notAfter = -kHour})), kUnknown);
  EXPECT_EQ(endWithAnswerOf(responderWith({.notBefore = kHour})), kUnknown);
}

TEST_F(OcspSigner, MustBeCertifiedByTheVeryIssuer) {
  const Authority other = Authority::selfSigned(KeyKind::EcP256, named("Other"));
  const Authority namesake = Authority::selfSigned(KeyKind::EcP256, named("Root"));
  const Authority middle = root.subordinate(KeyKind::EcP256, named("Middle"));
  world.trust(other.certificate());
  for (const Authority* authority : {&other, &namesake, &middle}) {
    EXPECT_EQ(endWithAnswerOf(OcspResponder::issuedBy(*authority, KeyKind::EcP256)), kUnknown);
    EXPECT_EQ(endWithAnswerOf(OcspResponder::of(*authority)), kUnknown);
  }
}

TEST_F(OcspSigner, MustHaveACertificateThatTheIssuerSigned) {
  X509Ptr broken = withBrokenSignature(responder.certificate());
  EVP_PKEY_up_ref(responder.key());
  EXPECT_EQ(endWithAnswerOf(OcspResponder(EvpPkeyPtr(responder.key()), std::move(broken))),
            kUnknown);
}

TEST_F(OcspSigner, MustHaveACertificateThatIsUnderstood) {
  EXPECT_EQ(endWithAnswerOf(
                responderWith({.extensions = {{.name = "noCheck", .value = "ignored"},
                                              {.name = "1.2.3.4", .value = "critical,DER:0500"}}})),
            kUnknown);
}

TEST_F(OcspSigner, MustNotSignOverMd5) {
  const OcspResponder rsa = OcspResponder::issuedBy(root, KeyKind::Rsa2048);
  EXPECT_EQ(endWithAnswerOf(rsa), kGood);
  EXPECT_EQ(endWithAnswerOf(rsa, {.digest = NID_sha1}), kGood);
  EXPECT_EQ(endWithAnswerOf(rsa, {.digest = NID_md5}), kUnknown);
}

TEST_F(OcspSigner, IsNotHeardWhenItWouldHaveToBeLookedUp) {
  EXPECT_EQ(endWithAnswerOf(responderToLookUp()), kGood);
  EXPECT_EQ(endWithAnswerOf(responderToLookUp({.crlUrl = "http://127.0.0.1/crl"})), kUnknown);
  EXPECT_EQ(endWithAnswerOf(responderToLookUp({.ocspUrl = "http://127.0.0.1/ocsp"})), kUnknown);
  EXPECT_EQ(
      endWithAnswerOf(responderWith({.crlUrl = "http://127.0.0.1/crl",
                                     .extensions = {{.name = "noCheck", .value = "ignored"}}})),
      kGood)
      << "exempted by its issuer";
}

TEST_F(OcspSigner, IsNotHeardWhenItIsKnownToBeRevoked) {
  const OcspResponder plain = responderToLookUp();
  // Older than the answer, which would decide.
  const lab::CrlOptions options = {.revoked = {{.serial = lab::serialOf(plain.certificate())},
                                               {.serial = lab::serialOf(responder.certificate())}},
                                   .thisUpdate = -24 * kHour,
                                   .nextUpdate = -kHour};
  world.addCrl(root.crl(options).get());
  EXPECT_EQ(endWithAnswerOf(plain), kUnknown);
  EXPECT_EQ(endWithAnswerOf(responder), kGood) << "id-pkix-ocsp-nocheck: never looked up";
}

}  // namespace
}  // namespace qx::test::ocsp_signer_test
