#include "provider/chain/trust_source.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"

namespace qx::test::trust_source_test {
namespace {

using lab::Authority;
using lab::KeyKind;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class Span>
auto listOf(const Span& span) {
  return std::vector(span.begin(), span.end());
}

class Trust : public ::testing::Test {
 protected:
  static CertificatePtr rootNamed(const std::string& name) {
    return dataOf(Authority::selfSigned(KeyKind::EcP256, named(name)).certificate());
  }

  static const X509_NAME* subjectOf(const CertificatePtr& certificate) {
    return X509_get_subject_name(certificate->x509());
  }

  const CertificatePtr root = rootNamed("One");
  const CertificatePtr renewed = rootNamed("One");
  const CertificatePtr other = rootNamed("Other");
};

TEST_F(Trust, KnowsNobodyWithoutRoots) {
  const TrustSource trust({}, {}, {});
  EXPECT_FALSE(trust.isRoot(*root));
  EXPECT_THAT(listOf(trust.withSubject(subjectOf(root))), IsEmpty());
  EXPECT_THAT(listOf(trust.crlsOf(subjectOf(root))), IsEmpty());
}

// A root is this very certificate: a name proves nothing.
TEST_F(Trust, KnowsARootByAllOfItsBytes) {
  const std::vector<CertificatePtr> roots = {root};
  const TrustSource trust(roots, {}, {});
  EXPECT_TRUE(trust.isRoot(*root));
  EXPECT_TRUE(trust.isRoot(*dataOf(root->x509()))) << "another object of the same bytes";
  EXPECT_FALSE(trust.isRoot(*renewed)) << "another certificate of the same name";
  EXPECT_FALSE(trust.isRoot(*other));
  EXPECT_FALSE(trust.isRoot(*dataOf(withBrokenSignature(root->x509()).get())));
}

TEST_F(Trust, DoesNotTrustIntermediates) {
  const std::vector<CertificatePtr> intermediates = {root};
  const TrustSource trust({}, intermediates, {});
  EXPECT_FALSE(trust.isRoot(*root)) << "also when it signs itself";
  EXPECT_THAT(listOf(trust.withSubject(subjectOf(root))), ElementsAre(root));
}

TEST_F(Trust, GivesRootsBeforeIntermediatesOfTheSameName) {
  const std::vector<CertificatePtr> roots = {other, renewed};
  const std::vector<CertificatePtr> intermediates = {root, other};
  const TrustSource trust(roots, intermediates, {});
  EXPECT_THAT(listOf(trust.withSubject(subjectOf(root))), ElementsAre(renewed, root));
  EXPECT_THAT(listOf(trust.withSubject(subjectOf(other))), ElementsAre(other, other));
}

TEST_F(Trust, GivesTheCrlsOfAName) {
  const Authority authority = Authority::selfSigned(KeyKind::EcP256, named("One"));
  const std::vector<CrlPtr> crls = {dataOf(authority.crl({.number = 1}).get()),
                                    dataOf(authority.crl({.number = 2}).get())};
  const TrustSource trust({}, {}, crls);
  EXPECT_THAT(listOf(trust.crlsOf(subjectOf(root))), ElementsAre(crls[0], crls[1]));
  EXPECT_THAT(listOf(trust.crlsOf(subjectOf(other))), IsEmpty());
}

TEST_F(Trust, OutlivesTheListsThatItWasMadeOf) {
  std::vector<CertificatePtr> roots = {root};
  std::vector<CertificatePtr> intermediates = {renewed};
  const TrustSource trust(roots, intermediates, {});
  roots.clear();
  intermediates.clear();
  EXPECT_TRUE(trust.isRoot(*root));
  EXPECT_EQ(trust.withSubject(subjectOf(root)).size(), 2U);
}

TEST_F(Trust, ComparesCertificatesByAllOfTheirBytes) {
  EXPECT_TRUE(sameCertificate(*root, *dataOf(root->x509())));
  EXPECT_FALSE(sameCertificate(*root, *renewed));
  EXPECT_FALSE(sameCertificate(*root, *dataOf(withBrokenSignature(root->x509()).get())));
}

}  // namespace
}  // namespace qx::test::trust_source_test
