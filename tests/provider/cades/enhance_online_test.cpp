#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/cades.h"

#include "provider/cades/enhance.h"
#include "provider/cades/oids.h"
#include "provider/cades/references.h"
#include "provider/cades/values.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/support/scoped_environment.h"
#include "tools/lab/services.h"

namespace qx::test::enhance_online_test {
namespace {

using lab::KeyKind;
using ::testing::ElementsAre;
using ::testing::SizeIs;

const Octets kContent = octets("What is written here is signed.");

/// OnlineWorld is a PKI without CRLs at hand: the issuer answers by OCSP, the root by a CRL that it
/// offers. The configuration, which is read once in a process, lets both be asked.
class EnhanceOnline : public ::testing::Test {
 protected:
  EnhanceOnline()
      : root_(lab::Authority::selfSigned(kKind, {.subject = named("Root")})),
        issuer_(root_.subordinate(kKind,
                                  {.subject = named("Issuer"), .crlUrl = services_.url("/crl")})),
        stamps_(lab::TimeStampAuthority::issuedBy(
            root_, kKind, {.subject = named("Time Stamps"), .crlUrl = services_.url("/crl")})),
        signer_(makeSigner()) {
    testFolder().addCertificate("Root", root_.certificate());
    testFolder().addCertificate("CA", issuer_.certificate());
    services_.offerFile("/crl", lab::toDer(root_.crl().get()), "application/pkix-crl");
    services_.offerOcsp("/ocsp",
                        std::make_shared<lab::OcspResponder>(
                            lab::OcspResponder::issuedBy(issuer_, KeyKind::EcP256)),
                        issuer_.certificate());
  }

  static constexpr KeyKind kKind = KeyKind::EcP256;

  const ScopedEnvironment online_{{"QXPROVIDER_REVOCATION_ONLINE", "true"}};
  lab::Services services_;
  lab::Authority root_;
  lab::Authority issuer_;
  lab::TimeStampAuthority stamps_;
  Signer signer_;

 private:
  static lab::Name named(const std::string& name) {
    return {{.type = "CN", .value = name + " that is online"}};
  }

  Signer makeSigner() const {
    EvpPkeyPtr key = lab::generateKey(kKind);
    X509Ptr certificate =
        issuer_.issue(key.get(), {.subject = named("Signer"), .ocspUrl = services_.url("/ocsp")});
    return {kKind, std::move(key), std::move(certificate)};
  }
};

TEST_F(EnhanceOnline, CarriesTheAnswersThatItGot) {
  const MessageHandle message = decode(signBes({&signer_}, kContent));
  LabTimeStamps service(stamps_);
  const auto done = enhance(dataOf(message), 0, service);
  ASSERT_TRUE(done) << std::hex << done.error();
  EXPECT_THAT(services_.requests(), ElementsAre("/ocsp", "/crl"));
  const SignerInfo& enhanced = dataOf(message).signers().front();
  const auto values =
      readRevocationValues(*findAttribute(enhanced.unsignedAttributes(), oids::kRevocationValues));
  ASSERT_TRUE(values);
  ASSERT_THAT(values->ocsp, SizeIs(1));
  ASSERT_THAT(values->crls, SizeIs(1));
  const auto refs =
      readRevocationRefs(*findAttribute(enhanced.unsignedAttributes(), oids::kRevocationRefs));
  ASSERT_TRUE(refs);
  ASSERT_THAT((*refs)[0].ocsp, SizeIs(1));
  EXPECT_TRUE((*refs)[0].ocsp[0].matches(**OcspData::parse(values->ocsp[0])));
  ASSERT_THAT((*refs)[1].crls, SizeIs(1));
  EXPECT_TRUE((*refs)[1].crls[0].matches(**CrlData::parse(values->crls[0])));

  // Verified by what it carries: nobody is asked again.
  const MessageHandle again = decode(changedMessage(message));
  CADES_VERIFICATION_INFO* info = nullptr;
  EXPECT_TRUE(CadesMsgVerifySignature(again.get(), 0, nullptr, &info))
      << std::hex << GetLastError();
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->dwStatus, CADES_STATUS_GOOD);
  EXPECT_TRUE(CadesFreeVerificationInfo(info));
  EXPECT_THAT(services_.requests(), SizeIs(2));
}

}  // namespace
}  // namespace qx::test::enhance_online_test
