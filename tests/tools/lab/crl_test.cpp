#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::lab::crl_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

CertificateOptions named(const std::string& commonName) {
  return {.subject = {{.type = "CN", .value = commonName}}};
}

class LabCrl : public ::testing::TestWithParam<KeyKind> {
 protected:
  // What the openssl command thinks of `leaf`, with this list.
  test::CommandResult verify(const X509_CRL* crl) {
    const std::string root = folder_.write("root.pem", toPem(authority_.certificate()));
    const std::string leaf = folder_.write("leaf.pem", toPem(leaf_.get()));
    const std::string list = folder_.write("list.pem", toPem(crl));
    return test::run({"openssl",
                      "verify",
                      "-engine",
                      "gost",
                      "-crl_check",
                      "-CAfile",
                      root,
                      "-CRLfile",
                      list,
                      leaf});
  }

  test::TempDir folder_;
  Authority authority_ = Authority::selfSigned(GetParam(), named("Root"));
  EvpPkeyPtr key_ = generateKey(GetParam());
  X509Ptr leaf_ = authority_.issue(key_.get(), named("Signer"));
};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         LabCrl,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256));

TEST_P(LabCrl, LeavesOtherCertificatesGood) {
  const X509CrlPtr crl = authority_.crl({.revoked = {{.serial = "77"}}});
  const test::CommandResult result = verify(crl.get());
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_P(LabCrl, RevokesASerialNumber) {
  const X509CrlPtr crl = authority_.crl({.revoked = {{.serial = serialOf(leaf_.get())}}});
  const test::CommandResult result = verify(crl.get());
  EXPECT_NE(result.exitCode, 0);
  EXPECT_THAT(result.err, HasSubstr("certificate revoked"));
}

TEST_P(LabCrl, ExpiresWhenAsked) {
  const X509CrlPtr crl =
      authority_.crl({.revoked = {}, .thisUpdate = -2 * kDay, .nextUpdate = -kDay});
  const test::CommandResult result = verify(crl.get());
  EXPECT_NE(result.exitCode, 0);
  EXPECT_THAT(result.err, HasSubstr("CRL has expired"));
}

class LabCrlFields : public LabCrl {
 protected:
  std::string show(const CrlOptions& options) {
    const std::string file = folder_.write("list.pem", toPem(authority_.crl(options).get()));
    return test::run({"openssl", "crl", "-in", file, "-noout", "-text"}).out;
  }
};

INSTANTIATE_TEST_SUITE_P(OneKind, LabCrlFields, ::testing::Values(KeyKind::EcP256));

TEST_P(LabCrlFields, CarriesNumberReasonAndExtensions) {
  const std::string text =
      show({.revoked = {{.serial = "0A", .when = -kDay, .reason = CRL_REASON_KEY_COMPROMISE}},
            .number = 4711,
            .extensions = {{.name = "deltaCRL", .value = "critical,DER:020101"}}});
  EXPECT_THAT(text, HasSubstr("4711"));
  EXPECT_THAT(text, HasSubstr("Key Compromise"));
  EXPECT_THAT(text, HasSubstr("Delta CRL Indicator: critical"));
}

TEST_P(LabCrlFields, LeavesNextUpdateOutWhenAsked) {
  EXPECT_THAT(show({.revoked = {}, .hasNextUpdate = false}), HasSubstr("Next Update: NONE"));
}

TEST_P(LabCrlFields, LeavesTheKeyIdentifierOutWhenAsked) {
  EXPECT_THAT(show({}), HasSubstr("Authority Key Identifier"));
  EXPECT_THAT(show({.revoked = {}, .keyIdentifier = false}),
              Not(HasSubstr("Authority Key Identifier")));
}

}  // namespace
}  // namespace qx::lab::crl_test
