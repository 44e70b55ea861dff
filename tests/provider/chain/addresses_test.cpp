#include "provider/chain/addresses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"

namespace qx::test::addresses_test {
namespace {

using lab::CertificateOptions;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

CertificatePtr certificateWith(CertificateOptions options) {
  options.subject = named("X").subject;
  return dataOf(lab::selfSigned(sampleKey(), options).get());
}

CertificatePtr certificateWith(const std::string& extension, const std::string& value) {
  return certificateWith({.extensions = {{.name = extension, .value = value}}});
}

TEST(Addresses, AreToldApart) {
  const CertificatePtr certificate = certificateWith(
      {.crlUrl = "http://a/crl", .ocspUrl = "http://a/ocsp", .issuerUrl = "https://a/ca.cer"});
  EXPECT_THAT(crlAddresses(*certificate), ElementsAre("http://a/crl"));
  EXPECT_THAT(responderAddresses(*certificate), ElementsAre("http://a/ocsp"));
  EXPECT_THAT(issuerAddresses(*certificate), ElementsAre("https://a/ca.cer"));
}

TEST(Addresses, AreNoneInACertificateWithoutThem) {
  const CertificatePtr certificate = certificateWith(CertificateOptions{});
  EXPECT_THAT(crlAddresses(*certificate), IsEmpty());
  EXPECT_THAT(responderAddresses(*certificate), IsEmpty());
  EXPECT_THAT(issuerAddresses(*certificate), IsEmpty());
}

TEST(Addresses, ComeInTheirOrder) {
  EXPECT_THAT(crlAddresses(*certificateWith("crlDistributionPoints", "URI:http://b,URI:http://a")),
              ElementsAre("http://b", "http://a"));
  EXPECT_THAT(
      responderAddresses(*certificateWith(
          "authorityInfoAccess", "OCSP;URI:http://b,caIssuers;URI:http://c,OCSP;URI:http://a")),
      ElementsAre("http://b", "http://a"));
}

TEST(Addresses, AreHttpOnly) {
  EXPECT_THAT(
      crlAddresses(*certificateWith(
          "crlDistributionPoints",
          "URI:ldap://a/x,URI:ftp://a/x,URI:file:///etc/passwd,URI:HTTP://a,URI:https://a,DNS:a")),
      ElementsAre("HTTP://a", "https://a"));
}

TEST(Addresses, AreNotCountless) {
  std::string many = "URI:http://0";
  for (int i = 1; i < 100; ++i) {
    many += ",URI:http://" + std::to_string(i);
  }
  EXPECT_THAT(crlAddresses(*certificateWith("crlDistributionPoints", many)), SizeIs(kMaxAddresses));
}

TEST(Addresses, KeepWhatStandsBehindANulForTheClientToRefuse) {
  // DistributionPoint { fullName { URI "http://a" NUL "b" } }
  EXPECT_THAT(
      crlAddresses(*certificateWith("2.5.29.31", "DER:30123010A00EA00C860A687474703A2F2F610062")),
      ElementsAre(std::string("http://a\0b", 10)));
}

TEST(Addresses, OfOtherIssuersAndOfSomeReasonsAreLeftOut) {
  // reasons { keyCompromise } beside the URI "http://a"
  EXPECT_THAT(crlAddresses(*certificateWith("2.5.29.31",
                                            "DER:30143012A00CA00A8608687474703A2F2F6181020640")),
              IsEmpty());
}

TEST(Addresses, AreNoneInAnExtensionThatCannotBeRead) {
  EXPECT_THAT(crlAddresses(*certificateWith("2.5.29.31", "DER:0500")), IsEmpty());
  EXPECT_THAT(responderAddresses(*certificateWith("1.3.6.1.5.5.7.1.1", "DER:0500")), IsEmpty());
}

}  // namespace
}  // namespace qx::test::addresses_test
