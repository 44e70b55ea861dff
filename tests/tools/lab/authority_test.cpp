#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::lab::authority_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

CertificateOptions named(const std::string& commonName) {
  return {.subject = {{.type = "C", .value = "RU"}, {.type = "CN", .value = commonName}}};
}

std::string textOf(const test::TempDir& folder, const X509* certificate) {
  const std::string file = folder.write("shown.pem", toPem(certificate));
  return test::run({"openssl", "x509", "-engine", "gost", "-in", file, "-noout", "-text"}).out;
}

// The openssl command as judge: trust in `root`, an untrusted intermediate, strict X.509 rules.
test::CommandResult verify(const test::TempDir& folder,
                           const X509* root,
                           const X509* intermediate,
                           const X509* leaf) {
  const std::string anchors = folder.write("root.pem", toPem(root));
  const std::string between = folder.write("ca.pem", toPem(intermediate));
  const std::string file = folder.write("leaf.pem", toPem(leaf));
  return test::run({"openssl",
                    "verify",
                    "-engine",
                    "gost",
                    "-x509_strict",
                    "-CAfile",
                    anchors,
                    "-untrusted",
                    between,
                    file});
}

class LabAuthority : public ::testing::TestWithParam<KeyKind> {};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         LabAuthority,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256,
                                           KeyKind::EcP384));

TEST_P(LabAuthority, IssuesAChainThatTheOpensslCommandAccepts) {
  const test::TempDir folder;
  const Authority root = Authority::selfSigned(GetParam(), named("Root"));
  const Authority ca = root.subordinate(GetParam(), named("CA"));
  const EvpPkeyPtr key = generateKey(GetParam());
  const X509Ptr leaf = ca.issue(key.get(), named("Signer"));
  const test::CommandResult result =
      verify(folder, root.certificate(), ca.certificate(), leaf.get());
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr(": OK"));
}

TEST_P(LabAuthority, OfAnotherRootIsNotTrusted) {
  const test::TempDir folder;
  const Authority root = Authority::selfSigned(GetParam(), named("Root"));
  const Authority impostor = Authority::selfSigned(GetParam(), named("Root"));
  const EvpPkeyPtr key = generateKey(GetParam());
  const X509Ptr leaf = impostor.issue(key.get(), named("Signer"));
  EXPECT_NE(verify(folder, root.certificate(), impostor.certificate(), leaf.get()).exitCode, 0);
}

class LabCertificate : public ::testing::Test {
 protected:
  std::string issueAndShow(const CertificateOptions& options) {
    const X509Ptr leaf = authority_.issue(key_.get(), options);
    return textOf(folder_, leaf.get());
  }

  test::TempDir folder_;
  Authority authority_ = Authority::selfSigned(KeyKind::EcP256, named("Root"));
  EvpPkeyPtr key_ = generateKey(KeyKind::EcP256);
};

TEST_F(LabCertificate, HoldsTheUsesThatItIsGiven) {
  CertificateOptions options = named("Signer");
  options.keyUsage = "digitalSignature,nonRepudiation";
  options.extendedKeyUsage = "critical,timeStamping";
  const std::string text = issueAndShow(options);
  EXPECT_THAT(text, HasSubstr("Digital Signature, Non Repudiation"));
  EXPECT_THAT(text, HasSubstr("X509v3 Extended Key Usage: critical"));
  EXPECT_THAT(text, HasSubstr("Time Stamping"));
}

TEST_F(LabCertificate, HoldsTheAddressesThatItIsGiven) {
  CertificateOptions options = named("Signer");
  options.crlUrl = "http://localhost/a.crl";
  options.ocspUrl = "http://localhost/ocsp";
  options.issuerUrl = "http://localhost/a.crt";
  options.subjectAltName = "DNS:signer.example";
  const std::string text = issueAndShow(options);
  EXPECT_THAT(text,
              AllOf(HasSubstr("URI:http://localhost/a.crl"),
                    HasSubstr("OCSP - URI:http://localhost/ocsp"),
                    HasSubstr("CA Issuers - URI:http://localhost/a.crt"),
                    HasSubstr("DNS:signer.example")));
}

TEST_F(LabCertificate, HoldsOnlyWhatItIsGiven) {
  CertificateOptions options = named("Signer");
  options.keyIdentifiers = false;
  const std::string text = issueAndShow(options);
  EXPECT_THAT(text, HasSubstr("CA:FALSE"));
  EXPECT_THAT(text, Not(HasSubstr("Key Usage")));
  EXPECT_THAT(text, Not(HasSubstr("Key Identifier")));
  EXPECT_THAT(text, Not(HasSubstr("URI:")));
}

TEST_F(LabCertificate, CarriesAnyExtension) {
  CertificateOptions options = named("Signer");
  options.extensions = {{.name = "1.2.3.4.5", .value = "critical,DER:0500"},
                        {.name = "certificatePolicies", .value = "1.2.3.4"}};
  const std::string text = issueAndShow(options);
  EXPECT_THAT(text, HasSubstr("1.2.3.4.5: critical"));
  EXPECT_THAT(text, HasSubstr("Policy: 1.2.3.4"));
}

TEST_F(LabCertificate, HasTheSerialThatItIsGiven) {
  CertificateOptions options = named("Signer");
  options.serial = "80FF01";
  const X509Ptr leaf = authority_.issue(key_.get(), options);
  EXPECT_EQ(serialOf(leaf.get()), "80FF01");
}

TEST_F(LabCertificate, HasARandomSerialOtherwise) {
  const X509Ptr one = authority_.issue(key_.get(), named("A"));
  const X509Ptr other = authority_.issue(key_.get(), named("A"));
  EXPECT_EQ(serialOf(one.get()).size(), 32U);
  EXPECT_NE(serialOf(one.get()), serialOf(other.get()));
}

TEST_F(LabCertificate, KeepsTheNameInOrderAndInUtf8) {
  CertificateOptions options;
  options.subject = {
      {.type = "C", .value = "RU"},
      {.type = "O", .value = "Банк, \"Север\""},
      {.type = "1.2.643.100.1", .value = "1234567890123", .stringType = V_ASN1_NUMERICSTRING},
      {.type = "CN", .value = "Иван"}};
  const X509Ptr leaf = authority_.issue(key_.get(), options);
  const std::string file = folder_.write("leaf.pem", toPem(leaf.get()));
  const test::CommandResult shown = test::run(
      {"openssl", "x509", "-in", file, "-noout", "-subject", "-nameopt", "sep_comma_plus,utf8"});
  EXPECT_THAT(shown.out, StartsWith("subject="));
  EXPECT_THAT(shown.out, HasSubstr("O=Банк"));
  EXPECT_LT(shown.out.find("C=RU"), shown.out.find("CN=Иван"));
}

TEST_F(LabCertificate, LastsAsLongAsAsked) {
  CertificateOptions options = named("Signer");
  options.notBefore = -10 * kDay;
  options.notAfter = -kDay;
  const X509Ptr expired = authority_.issue(key_.get(), options);
  EXPECT_LT(X509_cmp_current_time(X509_get0_notAfter(expired.get())), 0);
  options.notBefore = kDay;
  options.notAfter = 2 * kDay;
  const X509Ptr future = authority_.issue(key_.get(), options);
  EXPECT_GT(X509_cmp_current_time(X509_get0_notBefore(future.get())), 0);
}

TEST_F(LabCertificate, IsSignedWithAnotherDigestWhenAsked) {
  CertificateOptions options = named("Signer");
  options.digest = NID_sha1;
  EXPECT_THAT(issueAndShow(options), HasSubstr("ecdsa-with-SHA1"));
}

TEST_F(LabCertificate, IsMadeAgainForAnOldKey) {
  const X509Ptr renewed = authority_.issue(authority_.key(), named("Root"));
  EXPECT_EQ(EVP_PKEY_eq(X509_get0_pubkey(renewed.get()), authority_.key()), 1);
}

TEST_F(LabCertificate, RefusesNonsense) {
  CertificateOptions options = named("Signer");
  options.keyUsage = "nonsense";
  EXPECT_THROW(authority_.issue(key_.get(), options), std::runtime_error);
  options = named("Signer");
  options.subject.push_back({.type = "nonsense", .value = "x"});
  EXPECT_THROW(authority_.issue(key_.get(), options), std::runtime_error);
}

TEST(LabSubordinate, CarriesItsPathLength) {
  const test::TempDir folder;
  const Authority root = Authority::selfSigned(KeyKind::EcP256, named("Root"));
  CertificateOptions options = named("CA");
  options.pathLength = 0;
  const Authority ca = root.subordinate(KeyKind::EcP256, options);
  EXPECT_THAT(textOf(folder, ca.certificate()), HasSubstr("CA:TRUE, pathlen:0"));
  EXPECT_THAT(textOf(folder, ca.certificate()), HasSubstr("Certificate Sign, CRL Sign"));
}

}  // namespace
}  // namespace qx::lab::authority_test
