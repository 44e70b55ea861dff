#include "provider/chain/name_index.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"

namespace qx::test::name_index_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

CertificatePtr certificateNamed(const std::string& name) {
  return dataOf(lab::selfSigned(sampleKey(), named(name)).get());
}

std::vector<CertificatePtr> foundIn(const CertificateIndex& index, const CertificatePtr& like) {
  const auto found = index.find(X509_get_subject_name(like->x509()));
  return {found.begin(), found.end()};
}

TEST(NameIndex, FindsAllOfANameInTheirOrder) {
  const CertificatePtr first = certificateNamed("B");
  const CertificatePtr second = certificateNamed("A");
  const CertificatePtr third = certificateNamed("B");
  const CertificatePtr fourth = certificateNamed("C");
  const std::vector<CertificatePtr> all = {first, second, third, fourth};
  const CertificateIndex index(all);
  EXPECT_THAT(foundIn(index, first), ElementsAre(first, third));
  EXPECT_THAT(foundIn(index, second), ElementsAre(second));
  EXPECT_THAT(foundIn(index, fourth), ElementsAre(fourth));
  EXPECT_THAT(foundIn(index, certificateNamed("D")), IsEmpty());
}

TEST(NameIndex, IsEmptyWithoutObjects) {
  EXPECT_THAT(foundIn(CertificateIndex(), certificateNamed("A")), IsEmpty());
}

TEST(NameIndex, IgnoresCaseAndStringType) {
  lab::CertificateOptions options = named("SOME name");
  options.subject[0].stringType = V_ASN1_PRINTABLESTRING;
  const CertificatePtr respelt = dataOf(lab::selfSigned(sampleKey(), options).get());
  const std::vector<CertificatePtr> all = {certificateNamed("Some Name")};
  EXPECT_THAT(foundIn(CertificateIndex(all), respelt), ElementsAre(all[0]));
}

TEST(NameIndex, FindsCrlsByTheirIssuer) {
  const auto one = lab::Authority::selfSigned(lab::KeyKind::EcP256, named("One"));
  const auto other = lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Other"));
  const std::vector<CrlPtr> crls = {dataOf(one.crl().get()), dataOf(other.crl().get())};
  const CrlIndex index(crls);
  const auto found = index.find(X509_get_subject_name(other.certificate()));
  EXPECT_THAT(std::vector<CrlPtr>(found.begin(), found.end()), ElementsAre(crls[1]));
}

}  // namespace
}  // namespace qx::test::name_index_test
