#include "provider/openssl/random.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx::random_test {
namespace {

TEST(Random, KeysHaveTheirLengthAndAreNeverTheSame) {
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    const auto key = randomKey(32);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->size(), 32U);
    seen.insert(test::toHex(key->bytes()));
  }
  EXPECT_EQ(seen.size(), 50U);
}

TEST(Random, FillsAllOfIt) {
  // An octet that stays 0 in 64 tries is none that is filled.
  std::vector<std::uint8_t> ever(24);
  for (int i = 0; i < 64; ++i) {
    std::vector<std::uint8_t> out(ever.size());
    ASSERT_TRUE(fillRandom(out));
    for (std::size_t at = 0; at < out.size(); ++at) {
      ever[at] |= out[at];
    }
  }
  EXPECT_EQ(std::count(ever.begin(), ever.end(), 0), 0);
}

}  // namespace
}  // namespace qx::random_test
