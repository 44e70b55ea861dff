#include <gtest/gtest.h>

#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"

// Verifying through the SSF functions with the default provider beneath.

namespace qx::test::verify_test {
namespace {

const std::string kContent = "a document";

std::string subjectOf(const SsfOutcome& outcome) {
  return outcome.records.empty() ? std::string() : outcome.records[0].id;
}

TEST(SystemVerify, NamesTheSignerAndHandsOutHisCertificate) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");

  const SsfOutcome verified = ssfVerify(ssfSign(kContent, {{.id = ivan.thumbprint}}).output);

  EXPECT_EQ(verified.code, SSF_API_OK);
  EXPECT_EQ(verified.output, kContent);
  EXPECT_EQ(subjectOf(verified), "CN=Ivan, O=Bank, C=RU");
  const lab::Bytes der = lab::toDer(ivan.certificate.get());
  EXPECT_EQ(verified.records[0].password, std::string(der.begin(), der.end()));
}

TEST(SystemVerify, FindsTheCertificateInTheAddressbook) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  world.folder().addCertificate("Addressbook", ivan.certificate.get());
  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}}, {.certificates = false});

  EXPECT_EQ(ssfVerify(made.output).code, SSF_API_OK);
}

TEST(SystemVerify, FindsTheCertificateInTheStoreThatTheProfileNames) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}}, {.certificates = false});

  for (const char* profile : {"My", "uMy", "<TIME>My", "20240131120000My"}) {
    EXPECT_EQ(ssfVerify(made.output, {}, profile).code, SSF_API_OK) << profile;
  }
}

TEST(SystemVerify, SaysSoWhenNobodyHasTheCertificate) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}}, {.certificates = false});

  const SsfOutcome verified = ssfVerify(made.output);

  EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
  EXPECT_EQ(verified.records.at(0).result, SSF_RESULT_NOCERTIFICATE);
  EXPECT_EQ(subjectOf(verified),
            "issuer-name/Noserialnumber:CN=CA, OU=SSF-TEST, O=SAP-AG, C=DE/No-2");
}

TEST(SystemVerify, RefusesOtherContentThanWasSigned) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}}, {.detached = true});

  const SsfOutcome verified = ssfVerify(made.output, "another document");

  EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
  EXPECT_EQ(verified.records.at(0).result, SSF_RESULT_NOT_OK);
}

TEST(SystemVerify, RefusesAttachedContentThatDiffersFromTheGiven) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}});

  const SsfOutcome verified = ssfVerify(made.output, "another document");

  EXPECT_EQ(verified.code, SSF_API_INVALID_INPUT);
  EXPECT_EQ(verified.output, kContent);
}

TEST(SystemVerify, WantsTheContentOfADetachedMessage) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}}, {.detached = true});

  const SsfOutcome verified = ssfVerify(made.output);

  EXPECT_EQ(verified.code, SSF_API_INVALID_INPUT);
  EXPECT_TRUE(verified.output.empty());
}

class SystemVerifyTrust : public testing::Test {
 protected:
  // A good signature whose certificate is not trusted is 5 with result 22.
  void expectNotTrusted(const SsfOutcome& made) {
    ASSERT_EQ(made.code, SSF_API_OK);
    const SsfOutcome verified = ssfVerify(made.output);
    EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
    EXPECT_EQ(verified.output, kContent);
    ASSERT_EQ(verified.records.size(), 1U);
    EXPECT_EQ(verified.records[0].result, SSF_RESULT_UNKNOWN);
  }

  SystemWorld world_;
};

TEST_F(SystemVerifyTrust, IsRefusedToAnExpiredCertificate) {
  const Person ivan = world_.enrol(
      {.subject = {{"CN", "Ivan"}}, .notBefore = -2 * lab::kDay, .notAfter = -lab::kDay});
  expectNotTrusted(ssfSign(kContent, {{.id = ivan.thumbprint}}));
}

TEST_F(SystemVerifyTrust, IsRefusedToARevokedCertificate) {
  const Person ivan = world_.enrol("Ivan");
  world_.folder().addCrl(
      "Root",
      world_.authority()
          .crl({.revoked = {{.serial = lab::serialOf(ivan.certificate.get()), .when = -lab::kDay}},
                .number = 2})
          .get(),
      "root.crl");
  expectNotTrusted(ssfSign(kContent, {{.id = ivan.thumbprint}}));
}

TEST_F(SystemVerifyTrust, IsRefusedToAnUnknownAuthority) {
  const lab::Authority other =
      lab::Authority::selfSigned(lab::KeyKind::Gost2012_256, {.subject = {{"CN", "Somebody"}}});
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::Gost2012_256);
  const X509Ptr certificate = other.issue(key.get(), {.subject = {{"CN", "Mallory"}}});
  world_.folder().addCertificate("My", certificate.get());
  world_.folder().addKey(key.get());
  expectNotTrusted(ssfSign(kContent, {{.id = "CN=Mallory"}}));
}

TEST_F(SystemVerifyTrust, IsRefusedWithoutARevocationList) {
  const lab::Authority other =
      lab::Authority::selfSigned(lab::KeyKind::Gost2012_256, {.subject = {{"CN", "Careless"}}});
  world_.folder().addCertificate("Root", other.certificate());
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::Gost2012_256);
  const X509Ptr certificate = other.issue(key.get(), {.subject = {{"CN", "Ivan"}}});
  world_.folder().addCertificate("My", certificate.get());
  world_.folder().addKey(key.get());
  expectNotTrusted(ssfSign(kContent, {{.id = "CN=Ivan"}}));
}

TEST(SystemVerify, BuildsTheChainThroughAnIntermediateInTheStoreCa) {
  const SystemWorld world;
  const lab::Authority issuing =
      world.authority().subordinate(lab::KeyKind::Gost2012_512, {.subject = {{"CN", "Issuing"}}});
  world.folder().addCertificate("CA", issuing.certificate());
  world.folder().addCrl("CA", issuing.crl().get(), "issuing.crl");
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::Gost2001);
  const X509Ptr certificate = issuing.issue(key.get(), {.subject = {{"CN", "Ivan"}}});
  world.folder().addCertificate("My", certificate.get());
  world.folder().addKey(key.get());

  EXPECT_EQ(ssfVerify(ssfSign(kContent, {{.id = "CN=Ivan"}}).output).code, SSF_API_OK);
}

TEST(SystemVerify, ChecksEachOfSeveralSignersOnItsOwn) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  const Person anna = world.enrol({.subject = {{"CN", "Anna"}}, .notAfter = -lab::kDay / 2});
  const SsfOutcome made = ssfSign(kContent, {{.id = ivan.thumbprint}, {.id = anna.thumbprint}});

  const SsfOutcome verified = ssfVerify(made.output);

  EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
  ASSERT_EQ(verified.records.size(), 2U);
  EXPECT_EQ(verified.records[0].result, SSF_RESULT_OK);
  EXPECT_EQ(verified.records[1].result, SSF_RESULT_UNKNOWN);
}

}  // namespace
}  // namespace qx::test::verify_test
