#include "provider/key/pss.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/key/sample_keys.h"

namespace qx::pss_test {
namespace {

using test::fromHex;

// SHA-256, MGF1 with SHA-256, salt of 32 bytes: as libcrypto writes it.
const std::string kSha256 =
    "3034"
    "A00F300D06096086480165030402010500"
    "A11C301A06092A864886F70D010108300D06096086480165030402010500"
    "A203020120";

TEST(PssParameters, AreReadWithAllTheirMembers) {
  const auto parameters = readPssParameters(fromHex(kSha256));
  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->hash, HashAlgorithm::Sha256);
  EXPECT_EQ(parameters->maskHash, HashAlgorithm::Sha256);
  EXPECT_EQ(parameters->saltLength, 32);
}

TEST(PssParameters, HaveTheDefaultsOfTheStandard) {
  const auto parameters = readPssParameters(fromHex("3000"));
  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->hash, HashAlgorithm::Sha1);
  EXPECT_EQ(parameters->maskHash, HashAlgorithm::Sha1);
  EXPECT_EQ(parameters->saltLength, 20);
}

TEST(PssParameters, MayNameTheirTrailer) {
  EXPECT_TRUE(readPssParameters(fromHex("3005A303020101")));
}

class RefusedPss : public ::testing::TestWithParam<const char*> {};

TEST_P(RefusedPss, IsNoAlgorithmOfOurs) {
  const auto parameters = readPssParameters(fromHex(GetParam()));
  ASSERT_FALSE(parameters);
  EXPECT_EQ(parameters.error(), NTE_BAD_ALGID);
}

INSTANTIATE_TEST_SUITE_P(All,
                         RefusedPss,
                         ::testing::Values("",                          // absent
                                           "0500",                      // NULL
                                           "3001",                      // cut
                                           "300030",                    // something behind it
                                           "3005A303020102",            // another trailer
                                           "3005A203020180",            // negative salt
                                           "3006A20402020201",          // salt of 513 bytes
                                           "3005A2030201",              // salt cut
                                           "3007A205020120A100",        // wrong order
                                           "300AA003020120A203020120",  // hash is a number
                                           "300DA00B300906052B0E030211 0500",  // unknown hash
                                           "300DA10B300906052B0E03021A0500",  // mask is a bare hash
                                           "300DA003020114A2030201140500"));  // unknown member

TEST(PssParameters, CutAnywhereAreRefused) {
  const auto whole = fromHex(kSha256);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(readPssParameters(std::span(whole).first(size))) << size;
  }
}

TEST(PssParameters, WithAFlippedBitNeverCrash) {
  const auto whole = fromHex(kSha256);
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    auto changed = whole;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    const auto parameters = readPssParameters(changed);
    if (parameters) {
      EXPECT_LE(parameters->saltLength, 512);
      EXPECT_GE(parameters->saltLength, 0);
    }
  }
}

}  // namespace
}  // namespace qx::pss_test
