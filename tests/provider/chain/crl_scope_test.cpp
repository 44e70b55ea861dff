// Which certificates a CRL covers.
#include "provider/chain/crl_scope.h"

#include <string>

#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test::crl_scope_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::KeyKind;

constexpr const char* kUrl = "http://ca.example.org/1.crl";

class CrlScope : public ::testing::Test {
 protected:
  CrlScope() : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))) {}

  CrlPtr crlWith(const std::string& extension, const std::string& value) const {
    return dataOf(root.crl({.extensions = {{.name = extension, .value = value}}}).get());
  }

  CrlPtr crlOfPoint(const std::string& point) const {
    return crlWith("issuingDistributionPoint", "critical," + point);
  }

  CertificatePtr issue(CertificateOptions options) const {
    options.subject = named("End").subject;
    return dataOf(root.issue(sampleKey(), options).get());
  }

  ChainWorld worldWith(const CrlPtr& crl) const {
    ChainWorld world;
    world.trust(root.certificate());
    world.addCrl(crl->crl());
    world.revocation = RevocationScope::EndCertificate;
    return world;
  }

  /// We and the openssl command must agree on whether the CRL covers the certificate.
  void expectCovered(bool covered, const CrlPtr& crl, const CertificatePtr& certificate) const {
    const char* const refusal = whyNotAbout(*crl, *certificate);
    EXPECT_EQ(refusal == nullptr, covered) << refusal;
    EXPECT_EQ(worldWith(crl).judgeTwice(certificate->x509()).errors,
              covered ? 0 : kRevocationUnknown);
  }

  // OpenSSL before 3.0.22 takes a delta for a whole list: the command is not asked.
  void expectRefusedDelta(const CrlPtr& crl) const {
    const CertificatePtr certificate = issue({});
    EXPECT_STREQ(whyNotAbout(*crl, *certificate), "it is a delta");
    EXPECT_EQ(worldWith(crl).judge(certificate->x509()).errors, kRevocationUnknown);
  }

  const Authority root;
};

TEST_F(CrlScope, IsEverythingWhenNothingIsSaid) {
  const CrlPtr crl = dataOf(root.crl().get());
  expectCovered(true, crl, issue({}));
  expectCovered(true, crl, issue({.ca = true}));
  expectCovered(true, crl, issue({.crlUrl = kUrl}));
}

TEST_F(CrlScope, MayBeOneDistributionPoint) {
  const CrlPtr crl = crlOfPoint(std::string("fullname:URI:") + kUrl);
  expectCovered(true, crl, issue({.crlUrl = kUrl}));
  expectCovered(false, crl, issue({.crlUrl = "http://ca.example.org/2.crl"}));
  expectCovered(false, crl, issue({}));
}

TEST_F(CrlScope, IsMetByAnyPointOfTheCertificate) {
  const CrlPtr crl = crlOfPoint(std::string("fullname:URI:") + kUrl);
  const std::string points = std::string("URI:http://ca.example.org/2.crl,URI:") + kUrl;
  expectCovered(
      true, crl, issue({.extensions = {{.name = "crlDistributionPoints", .value = points}}}));
}

TEST_F(CrlScope, MayBeAPointNamedRelatively) {
  // CN=X below the issuer's name.
  const std::string name = "A00CA10A300806035504030C0158";
  const CrlPtr crl = crlWith("2.5.29.28", "critical,DER:300E" + name);
  expectCovered(
      true, crl, issue({.extensions = {{.name = "2.5.29.31", .value = "DER:3010300E" + name}}}));
  const std::string other = "A00CA10A300806035504030C0159";
  expectCovered(
      false, crl, issue({.extensions = {{.name = "2.5.29.31", .value = "DER:3010300E" + other}}}));
  expectCovered(false, crl, issue({.crlUrl = kUrl}));
}

TEST_F(CrlScope, MayBeUsersOrAuthorities) {
  const CrlPtr users = crlOfPoint("onlyuser:TRUE");
  const CrlPtr authorities = crlOfPoint("onlyCA:TRUE");
  expectCovered(true, users, issue({}));
  expectCovered(false, users, issue({.ca = true}));
  expectCovered(false, authorities, issue({}));
  expectCovered(true, authorities, issue({.ca = true}));
}

TEST_F(CrlScope, IsRefusedWhenItIsNotSupported) {
  expectCovered(false, crlOfPoint("onlyAA:TRUE"), issue({}));
  expectCovered(false, crlOfPoint("indirectCRL:TRUE"), issue({}));
  expectCovered(false, crlOfPoint("onlysomereasons:keyCompromise"), issue({}));
}

TEST_F(CrlScope, IsRefusedWhenItIsADeltaEvenIfThatIsNotMarkedCritical) {
  expectRefusedDelta(crlWith("2.5.29.27", "critical,DER:020101"));
  expectRefusedDelta(crlWith("2.5.29.27", "DER:020101"));
}

TEST_F(CrlScope, IsRefusedWhenItCannotBeRead) {
  EXPECT_STREQ(whyNotAbout(*crlWith("2.5.29.28", "critical,DER:0500"), *issue({})),
               "its scope cannot be read");
}

TEST_F(CrlScope, TellsWhyInWords) {
  const CertificatePtr certificate = issue({});
  EXPECT_STREQ(whyNotAbout(*crlOfPoint("indirectCRL:TRUE"), *certificate), "it is an indirect one");
  EXPECT_STREQ(whyNotAbout(*crlOfPoint("onlysomereasons:keyCompromise"), *certificate),
               "it is about some reasons only");
}

}  // namespace
}  // namespace qx::test::crl_scope_test
