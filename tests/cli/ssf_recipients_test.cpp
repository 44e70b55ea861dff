#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tests/support/system_world.h"

// The library encrypts for anybody whose certificate it finds: the tool says for whom it should not.

namespace qx::test::ssf_recipients_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class SsfRecipients : public LabTest {
 protected:
  CommandResult envelope(const std::string& recipient, Arguments more = {}) const {
    more.insert(more.begin(), {"envelope", document_, "-o", file("out"), "-r", recipient});
    return ssf(more);
  }

  std::string document_ = write("document", "what is secret\n");
};

TEST_F(SsfRecipients, AreNotWarnedOfWhenNothingIsWrong) {
  for (const char* name : {"CN=Olga Smirnova", "CN=Rosa Lang"}) {
    const CommandResult result = envelope(name);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "") << name;
  }
}

TEST_F(SsfRecipients, AreWarnedOfWhenTheirCertificateExpired) {
  const CommandResult result = envelope("CN=Elena Vorobeva");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(
      result.err,
      StartsWith("qxssf: warning: recipient CN=Elena Vorobeva, O=Lab, C=RU: the certificate "
                 "expired at 20"));
  EXPECT_TRUE(exists("out"));
}

TEST_F(SsfRecipients, AreWarnedOfWhenTheirCertificateIsRevoked) {
  const CommandResult result = envelope("CN=Igor Belov");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.err, HasSubstr("CN=Igor Belov, O=Lab, C=RU: the certificate is revoked\n"));
}

TEST_F(SsfRecipients, AreWarnedOfWhenTheirKeyIsForSignatures) {
  EXPECT_EQ(envelope("CN=Anna Orlova").err,
            "qxssf: warning: recipient CN=Anna Orlova, O=Lab, C=RU: the certificate is not meant "
            "for encryption, by its key usage\n");
}

TEST_F(SsfRecipients, AreWarnedOfInJson) {
  const nlohmann::json json = ssfJson(
      {"envelope", document_, "-o", file("out"), "-r", "CN=Olga Smirnova", "-r", "CN=Igor Belov"});
  EXPECT_EQ(json["code"], 0);
  ASSERT_EQ(json["warnings"].size(), 2U);
  EXPECT_THAT(json["warnings"][0].get<std::string>(), HasSubstr("Igor Belov"));
  EXPECT_THAT(json["warnings"][1].get<std::string>(), HasSubstr("not meant for encryption"));
}

TEST_F(SsfRecipients, AreLookedUpInTheProfile) {
  EXPECT_THAT(envelope("CN=Igor Belov", {"--profile", "uMy"}).err, HasSubstr("is revoked"));
}

// Nothing is known about revocation then, and nothing is said of it.
TEST_F(SsfRecipients, AreNotCalledRevokedWithoutALocalList) {
  setEnvironment("QXPROVIDER_REVOCATION_ONLINE", "true");
  ASSERT_EQ(start({}, {.arguments = {"find", userFolder(), "-name", "*.crl", "-delete"}}).exitCode,
            0);
  EXPECT_THAT(envelope("CN=Igor Belov").err,
              AllOf(HasSubstr("not meant"), ::testing::Not(HasSubstr("revoked"))));
}

class SsfRecipientsOfAWorld : public CliTest {
 protected:
  SsfRecipientsOfAWorld() { setEnvironment("QXPROVIDER_USER_DIR", world_.folder().path()); }

  std::string warningsFor(const lab::CertificateOptions& options) const {
    static_cast<void>(world_.enrol(options));
    const CommandResult result = ssf({"envelope",
                                      write("document", "what is secret\n"),
                                      "-o",
                                      file("out"),
                                      "-r",
                                      "CN=Vera",
                                      "-p",
                                      "My"});
    EXPECT_EQ(result.exitCode, 0);
    return result.err;
  }

  SystemWorld world_;
  lab::CertificateOptions vera_{.subject = {{.type = "CN", .value = "Vera"}}};
};

TEST_F(SsfRecipientsOfAWorld, MayHaveACertificateWithoutKeyUsage) {
  EXPECT_EQ(warningsFor(vera_), "");
}

TEST_F(SsfRecipientsOfAWorld, MayHaveAKeyForAgreementAlone) {
  vera_.keyUsage = "keyAgreement";
  EXPECT_EQ(warningsFor(vera_), "");
}

TEST_F(SsfRecipientsOfAWorld, AreWarnedOfWhenOnlyDataMayBeEncrypted) {
  vera_.keyUsage = "dataEncipherment";
  EXPECT_THAT(warningsFor(vera_), HasSubstr("CN=Vera: the certificate is not meant"));
}

TEST_F(SsfRecipientsOfAWorld, AreWarnedOfBeforeTheirTime) {
  vera_.notBefore = lab::kDay;
  EXPECT_THAT(warningsFor(vera_), HasSubstr("CN=Vera: the certificate is valid from 20"));
}

TEST_F(SsfRecipientsOfAWorld, AreWarnedOfWithoutLettingThemSteerTheTerminal) {
  vera_.notBefore = lab::kDay;
  vera_.subject.push_back({.type = "O", .value = "\x1b[2J"});
  EXPECT_THAT(warningsFor(vera_), HasSubstr("\\x1b[2J"));
}

}  // namespace
}  // namespace qx::test::ssf_recipients_test
