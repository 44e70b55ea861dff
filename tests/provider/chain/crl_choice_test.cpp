#include "provider/chain/crl_choice.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/chain/weak_digest.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test {
namespace {

using lab::Authority;
using lab::KeyKind;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class ChooseCrls : public ::testing::Test {
 protected:
  ChooseCrls()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        middle(root.subordinate(KeyKind::EcP256, named("Middle"))) {
    path.certificates = {dataOf(middle.issue(sampleKey(), named("End")).get()),
                         dataOf(middle.certificate()),
                         dataOf(root.certificate())};
  }

  std::vector<CrlPtr> choose(std::size_t count) {
    const TrustSource trust({}, {}, stored);
    return CrlChooser(trust, window).choose(path, count, CrlIndex(extra));
  }

  const Authority root;
  const Authority middle;
  Path path;
  std::vector<CrlPtr> stored;
  std::vector<CrlPtr> extra;
  const std::time_t now = std::time(nullptr);
  TimeWindow window{now};
};

TEST_F(ChooseCrls, TakesThoseOfTheIssuersInQuestion) {
  stored = {dataOf(middle.crl().get()), dataOf(root.crl().get())};
  EXPECT_THAT(choose(0), IsEmpty());
  EXPECT_THAT(choose(1), ElementsAre(stored[0]));
  EXPECT_THAT(choose(2), UnorderedElementsAre(stored[0], stored[1]));
  EXPECT_THAT(choose(3), UnorderedElementsAre(stored[0], stored[1]));
}

TEST_F(ChooseCrls, TakesThoseThatTheCallerBrings) {
  stored = {dataOf(middle.crl().get())};
  extra = {dataOf(middle.crl({.number = 2}).get())};
  EXPECT_THAT(choose(1), ElementsAre(stored[0], extra[0]));
}

TEST_F(ChooseCrls, KeepsALoneOneWhoeverSignedIt) {
  stored = {dataOf(withBrokenSignature(middle.crl().get()).get())};
  EXPECT_THAT(choose(1), ElementsAre(stored[0])) << "the verifier shall say that it is bad";
}

TEST_F(ChooseCrls, DropsForgedOnesWhenThereAreSeveral) {
  const Authority namesake = Authority::selfSigned(KeyKind::EcP256, named("Middle"));
  stored = {dataOf(namesake.crl().get()),
            dataOf(middle.crl().get()),
            dataOf(withBrokenSignature(middle.crl().get()).get())};
  EXPECT_THAT(choose(1), ElementsAre(stored[1]));
}

TEST_F(ChooseCrls, NarrowsTheWindowByTheirDates) {
  stored = {dataOf(
      middle.crl({.thisUpdate = -std::chrono::seconds(50), .nextUpdate = std::chrono::seconds(50)})
          .get())};
  choose(1);
  EXPECT_TRUE(window.contains(now - 40));
  EXPECT_FALSE(window.contains(now - 60));
  EXPECT_TRUE(window.contains(now + 40));
  EXPECT_FALSE(window.contains(now + 60));
}

class WeakDigest : public ::testing::TestWithParam<std::pair<int, bool>> {};

TEST_P(WeakDigest, IsToldApart) {
  const auto& [digest, weak] = GetParam();
  lab::CertificateOptions options = named("RSA");
  options.digest = digest;
  options.ca = true;
  EVP_PKEY* key = sampleKey(KeyKind::Rsa2048);
  EVP_PKEY_up_ref(key);
  const Authority authority(EvpPkeyPtr(key), lab::selfSigned(key, options));
  EXPECT_EQ(hasWeakSignature(authority.certificate()), weak);
  EXPECT_EQ(hasWeakSignature(authority.crl({.digest = digest}).get()), weak);
}

INSTANTIATE_TEST_SUITE_P(All,
                         WeakDigest,
                         ::testing::Values(std::pair(NID_md5, true),
                                           std::pair(NID_sha1, false),
                                           std::pair(NID_sha256, false)),
                         [](const auto& digest) { return OBJ_nid2sn(digest.param.first); });

TEST(WeakDigestOfGost, IsNoneEither) {
  const Authority authority = Authority::selfSigned(KeyKind::Gost2001, named("GOST"));
  EXPECT_FALSE(hasWeakSignature(authority.certificate()));
  EXPECT_FALSE(hasWeakSignature(authority.crl().get()));
}

}  // namespace
}  // namespace qx::test
