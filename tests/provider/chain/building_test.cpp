// Which chain is built where several could be.
#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"

namespace qx::test::building_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::KeyKind;
using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr DWORD kGood = CERT_TRUST_NO_ERROR;

CertificateOptions authorityNamed(const std::string& name) {
  CertificateOptions options = named(name);
  options.ca = true;
  return options;
}

/// certify makes another certificate for an authority's key, under the same name.
X509Ptr certify(const Authority& issuer, const Authority& subject, const std::string& name) {
  return issuer.issue(subject.key(), authorityNamed(name));
}

Authority rootNamed(const std::string& name) {
  return Authority::selfSigned(KeyKind::EcP256, named(name));
}

EvpPkeyPtr sameKey(const Authority& authority) {
  EVP_PKEY_up_ref(authority.key());
  return EvpPkeyPtr(authority.key());
}

class Building : public ::testing::Test {
 protected:
  ChainWorld world;
};

TEST_F(Building, TakesATrustedRootAsItsOwnChain) {
  const Authority root = rootNamed("Root");
  world.trust(root.certificate());
  const ChainVerdict verdict = world.judgeTwice(root.certificate());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_THAT(namesOf(verdict), ElementsAre("Root"));
}

TEST_F(Building, TakesATrustedSelfSignedEndCertificate) {
  const X509Ptr certificate = lab::selfSigned(sampleKey(), named("Alone"));
  world.trust(certificate.get());
  EXPECT_EQ(world.judgeTwice(certificate.get()).errors, kGood);
}

TEST_F(Building, MarksASelfSignedCertificateThatNobodyTrusts) {
  const X509Ptr certificate = lab::selfSigned(sampleKey(), named("Alone"));
  EXPECT_THAT(errorsOf(world.judgeTwice(certificate.get())),
              ElementsAre(CERT_TRUST_IS_UNTRUSTED_ROOT));
}

TEST_F(Building, MarksTheLastWhenTheRootIsNotTrusted) {
  const Authority root = rootNamed("Root");
  const X509Ptr end = root.issue(sampleKey(), named("End"));
  world.addMaterial(root.certificate());
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_UNTRUSTED_ROOT);
  EXPECT_THAT(errorsOf(verdict), ElementsAre(kGood, CERT_TRUST_IS_UNTRUSTED_ROOT));
}

TEST_F(Building, DoesNotTrustARootThatStandsAmongTheIntermediates) {
  const Authority root = rootNamed("Root");
  const X509Ptr end = root.issue(sampleKey(), named("End"));
  world.addIntermediate(root.certificate());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, CERT_TRUST_IS_UNTRUSTED_ROOT);
}

TEST_F(Building, DoesNotTakeANamesakeForATrustedRoot) {
  const Authority root = rootNamed("Root");
  const Authority mimic = rootNamed("Root");
  const X509Ptr end = mimic.issue(sampleKey(), named("End"));
  world.trust(root.certificate());
  world.addMaterial(mimic.certificate());
  EXPECT_NE(world.judgeTwice(end.get()).errors, kGood);
}

TEST_F(Building, MarksOnlyTheChainWhenAnIssuerIsMissing) {
  const Authority root = rootNamed("Root");
  const Authority middle = root.subordinate(KeyKind::EcP256, named("Middle"));
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  world.trust(root.certificate());
  ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_THAT(errorsOf(verdict), ElementsAre(kGood));
  ChainWorld rootless;
  rootless.addIntermediate(middle.certificate());
  verdict = rootless.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_THAT(errorsOf(verdict), ElementsAre(kGood, kGood));
}

TEST_F(Building, GoesOnAboveAnIntermediateThatStandsAmongTheRoots) {
  const Authority root = rootNamed("Root");
  const Authority middle = root.subordinate(KeyKind::EcP256, named("Middle"));
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  world.trust(middle.certificate());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  world.trust(root.certificate());
  EXPECT_THAT(namesOf(world.judgeTwice(end.get())), ElementsAre("End", "Middle", "Root"));
}

TEST_F(Building, TakesMaterialOfTheCaller) {
  const Authority root = rootNamed("Root");
  const Authority middle = root.subordinate(KeyKind::EcP256, named("Middle"));
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  world.trust(root.certificate());
  world.addMaterial(middle.certificate());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kGood);
}

TEST_F(Building, FindsTheIssuerAmongNamesakes) {
  const Authority root = rootNamed("Root");
  const Authority middle = root.subordinate(KeyKind::EcP256, named("Middle"));
  CertificateOptions plain = named("End");
  plain.keyIdentifiers = false;
  const X509Ptr end = middle.issue(sampleKey(), plain);
  world.trust(root.certificate());
  for (int i = 0; i < 5; ++i) {
    world.addIntermediate(root.subordinate(KeyKind::EcP256, named("Middle")).certificate());
  }
  world.addIntermediate(middle.certificate());
  EXPECT_EQ(world.judge(end.get()).errors, kGood);
}

TEST_F(Building, FindsTheRootAmongNamesakes) {
  const Authority root = rootNamed("Root");
  CertificateOptions plain = named("End");
  plain.keyIdentifiers = false;
  const X509Ptr end = root.issue(sampleKey(), plain);
  world.trust(rootNamed("Root").certificate());
  world.trust(root.certificate());
  world.trust(rootNamed("Root").certificate());
  EXPECT_EQ(world.judge(end.get()).errors, kGood);
}

TEST_F(Building, PrefersTheValidOneOfTwoCertificatesOfAnAuthority) {
  const Authority root = rootNamed("Root");
  CertificateOptions expired = named("Middle");
  expired.notAfter = -std::chrono::hours(1);
  const Authority middle = root.subordinate(KeyKind::EcP256, expired);
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  world.trust(root.certificate());
  world.addIntermediate(middle.certificate());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, CERT_TRUST_IS_NOT_TIME_VALID);
  world.addIntermediate(certify(root, middle, "Middle").get());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kGood);
}

TEST_F(Building, TakesARenewedRootWithTheSameKey) {
  CertificateOptions expired = named("Root");
  expired.notAfter = -std::chrono::hours(1);
  const Authority root = Authority::selfSigned(KeyKind::EcP256, expired);
  const X509Ptr end = root.issue(sampleKey(), named("End"));
  const X509Ptr renewed = lab::selfSigned(root.key(), authorityNamed("Root"));
  world.trust(root.certificate());
  world.trust(renewed.get());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kGood);
}

TEST_F(Building, GoesByACrossCertificateToTheRootThatIsTrusted) {
  const Authority oldRoot = rootNamed("Old Root");
  const Authority newRoot = rootNamed("New Root");
  const Authority middle = newRoot.subordinate(KeyKind::EcP256, named("Middle"));
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  world.trust(oldRoot.certificate());
  world.addMaterial(middle.certificate());
  world.addMaterial(newRoot.certificate());
  EXPECT_THAT(namesOf(world.judge(end.get())), ElementsAre("End", "Middle", "New Root"));
  world.addMaterial(certify(oldRoot, newRoot, "New Root").get());
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "Middle", "New Root", "Old Root"));
}

TEST_F(Building, TriesAnotherWayWhenTheFirstIsRevoked) {
  const Authority first = rootNamed("First");
  const Authority second = rootNamed("Second");
  const Authority middle = first.subordinate(KeyKind::EcP256, named("Middle"));
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  world.trust(first.certificate());
  world.trust(second.certificate());
  world.addIntermediate(middle.certificate());
  world.revocation = RevocationScope::ChainWithoutRoot;
  world.addCrl(middle.crl().get());
  world.addCrl(second.crl().get());
  world.addCrl(first.crl({.revoked = {{.serial = lab::serialOf(middle.certificate())}}}).get());
  EXPECT_EQ(world.judge(end.get()).errors, CERT_TRUST_IS_REVOKED);
  world.addIntermediate(certify(second, middle, "Middle").get());
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "Middle", "Second"));
}

TEST_F(Building, FollowsAKeyRollover) {
  const Authority oldRoot = rootNamed("Root");
  const Authority newRoot = rootNamed("Root");
  const X509Ptr end = newRoot.issue(sampleKey(), named("End"));
  world.trust(oldRoot.certificate());
  world.addIntermediate(certify(oldRoot, newRoot, "Root").get());
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "Root", "Root"));
}

TEST_F(Building, ReportsTheBestOfSeveralBadChains) {
  const Authority trusted = rootNamed("Trusted");
  const Authority strange = rootNamed("Strange");
  const Authority middle = strange.subordinate(KeyKind::EcP256, named("Middle"));
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  CertificateOptions expired = authorityNamed("Middle");
  expired.notAfter = -std::chrono::hours(1);
  world.trust(trusted.certificate());
  world.addMaterial(strange.certificate());
  world.addMaterial(middle.certificate());
  world.addMaterial(trusted.issue(middle.key(), expired).get());
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_NOT_TIME_VALID) << "an expired one to a trusted root";
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "Middle", "Trusted"));
}

TEST_F(Building, MarksIssuersThatGoRoundInACircle) {
  const Authority first = rootNamed("First");
  const Authority second = rootNamed("Second");
  const X509Ptr end = first.issue(sampleKey(), named("End"));
  world.addMaterial(certify(second, first, "First").get());
  world.addMaterial(certify(first, second, "Second").get());
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_CYCLIC | CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "First", "Second"));
  EXPECT_THAT(errorsOf(verdict), ElementsAre(kGood, kGood, CERT_TRUST_IS_CYCLIC));
}

TEST_F(Building, FindsTheWayOutOfACircle) {
  const Authority first = rootNamed("First");
  const Authority second = rootNamed("Second");
  const Authority root = rootNamed("Root");
  const X509Ptr end = first.issue(sampleKey(), named("End"));
  world.trust(root.certificate());
  world.addMaterial(certify(second, first, "First").get());
  world.addMaterial(certify(first, second, "Second").get());
  world.addMaterial(certify(root, second, "Second").get());
  EXPECT_EQ(world.judge(end.get()).errors, kGood);
}

TEST_F(Building, EndsAtTheLongestChain) {
  Authority upper = rootNamed("0");
  world.trust(upper.certificate());
  for (std::size_t i = 1; i + 1 < kMaxChainLength; ++i) {
    upper = upper.subordinate(KeyKind::EcP256, named(std::to_string(i)));
    world.addIntermediate(upper.certificate());
  }
  const X509Ptr end = upper.issue(sampleKey(), named("End"));
  ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_THAT(verdict.elements, SizeIs(kMaxChainLength));
  upper = upper.subordinate(KeyKind::EcP256, named("One more"));
  world.addIntermediate(upper.certificate());
  verdict = world.judge(upper.issue(sampleKey(), named("End")).get());
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_THAT(verdict.elements, SizeIs(kMaxChainLength));
}

// Everybody certified everybody, under each name with several keys: the ways are without number, and
// none leads to trust.
TEST_F(Building, EndsInATangleOfHostileCertificates) {
  constexpr int kNames = 6;
  constexpr int kKeys = 4;
  std::vector<Authority> authorities;
  for (int i = 0; i < kNames * kKeys; ++i) {
    CertificateOptions options = named(std::to_string(i % kNames));
    options.keyIdentifiers = false;
    authorities.push_back(Authority::selfSigned(KeyKind::EcP256, options));
  }
  CertificateOptions options = named("");
  options.ca = true;
  options.keyIdentifiers = false;
  for (int i = 0; i < kNames * kKeys; ++i) {
    for (int j = 0; j < kNames * kKeys; j += 3) {
      options.subject = {{.type = "CN", .value = std::to_string(i % kNames)}};
      world.addMaterial(authorities[static_cast<std::size_t>(j)]
                            .issue(authorities[static_cast<std::size_t>(i)].key(), options)
                            .get());
    }
  }
  CertificateOptions endOptions = named("End");
  endOptions.keyIdentifiers = false;
  const X509Ptr end = authorities.front().issue(sampleKey(), endOptions);
  // Unlimited, the search would outlive us all.
  EXPECT_NE(world.judge(end.get()).errors, kGood);
}

TEST_F(Building, FindsTheStoresOwnWayAmongHostileMaterial) {
  const Authority root = rootNamed("Root");
  const Authority middle = root.subordinate(KeyKind::EcP256, named("Middle"));
  const X509Ptr end = middle.issue(sampleKey(), named("End"));
  world.trust(root.certificate());
  world.addIntermediate(middle.certificate());
  for (int i = 0; i < 250; ++i) {
    world.addMaterial(rootNamed("Other").issue(middle.key(), authorityNamed("Middle")).get());
  }
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "Middle", "Root"));
}

TEST_F(Building, ComparesNamesWithoutRegardToTheirSpelling) {
  const Authority root = rootNamed("Some Root");
  world.trust(root.certificate());
  CertificateOptions respelt = authorityNamed("some  ROOT");
  respelt.subject[0].stringType = V_ASN1_PRINTABLESTRING;
  const Authority spelt(sameKey(root), lab::selfSigned(root.key(), respelt));
  const X509Ptr end = spelt.issue(sampleKey(), named("End"));
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kGood);
}

TEST_F(Building, FollowsTheIssuersSerialNumberWhenItIsGiven) {
  const Authority root = rootNamed("Root");
  CertificateOptions options = named("End");
  options.keyIdentifiers = false;
  options.extensions = {{.name = "authorityKeyIdentifier", .value = "issuer:always"}};
  const X509Ptr end = root.issue(sampleKey(), options);
  const X509Ptr renewed = lab::selfSigned(root.key(), authorityNamed("Root"));
  world.trust(renewed.get());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  world.trust(root.certificate());
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_EQ(verdict.elements.at(0).info, CERT_TRUST_HAS_EXACT_MATCH_ISSUER);
}

TEST_F(Building, TellsHowEachIssuerWasFound) {
  const Authority root = rootNamed("Root");
  CertificateOptions plain = named("Middle");
  plain.keyIdentifiers = false;
  const Authority middle = root.subordinate(KeyKind::EcP256, plain);
  plain.subject = named("End").subject;
  const X509Ptr end = middle.issue(sampleKey(), plain);
  const X509Ptr other = root.issue(sampleKey(), named("Other"));
  world.trust(root.certificate());
  world.addIntermediate(middle.certificate());
  EXPECT_EQ(world.judge(end.get()).elements.at(0).info, CERT_TRUST_HAS_NAME_MATCH_ISSUER);
  EXPECT_EQ(world.judge(other.get()).elements.at(0).info, CERT_TRUST_HAS_KEY_MATCH_ISSUER);
  EXPECT_EQ(world.judge(other.get()).elements.at(1).info,
            CERT_TRUST_IS_SELF_SIGNED | CERT_TRUST_HAS_NAME_MATCH_ISSUER);
  EXPECT_EQ(world.judge(other.get()).info, CERT_TRUST_HAS_PREFERRED_ISSUER);
}

TEST_F(Building, RefusesACertificateWhoseKeyCannotBeRead) {
  const Authority root = rootNamed("Root");
  lab::Bytes der = lab::toDer(root.certificate());
  // The OID of the key's curve, P-256, turned into another one.
  const lab::Bytes curve = {0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};
  const auto place = std::ranges::search(der, curve).begin();
  ASSERT_NE(place, der.end());
  place[9] = 0x7F;
  const Result<CertificatePtr> certificate = CertificateData::parse(der);
  ASSERT_TRUE(certificate);
  const TrustSource trust = world.trustSource();
  const Result<ChainVerdict> verdict = evaluate({.certificate = *certificate, .trust = &trust});
  EXPECT_EQ(verdict.error(), static_cast<DWORD>(ERROR_INVALID_DATA));
}

}  // namespace
}  // namespace qx::test::building_test
