#include "provider/hash/kept_hash.h"

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace qx::test::kept_hash_test {
namespace {

const std::vector<std::uint8_t> kBytes(600, 'x');

TEST(KeptHash, IsTheHashOfTheBytes) {
  const KeptHash kept;
  EXPECT_EQ(kept.of(HashAlgorithm::Sha256, kBytes), hashOf(HashAlgorithm::Sha256, kBytes));
  EXPECT_EQ(kept.of(HashAlgorithm::Sha256, kBytes), hashOf(HashAlgorithm::Sha256, kBytes));
}

TEST(KeptHash, IsMadeOnce) {
  const KeptHash kept;
  const HashValue first = kept.of(HashAlgorithm::Streebog256, kBytes);
  const std::vector<std::uint8_t> others(600, 'y');
  EXPECT_EQ(kept.of(HashAlgorithm::Streebog256, others), first) << "nobody looks at them again";
}

TEST(KeptHash, KeepsAlgorithmsApart) {
  const KeptHash kept;
  for (int round = 0; round < 2; ++round) {
    for (const HashAlgorithm algorithm :
         {HashAlgorithm::Sha1, HashAlgorithm::Streebog512, HashAlgorithm::Sha256}) {
      EXPECT_EQ(kept.of(algorithm, kBytes), hashOf(algorithm, kBytes));
    }
  }
}

TEST(KeptHash, MayBeAskedForByManyThreads) {
  const KeptHash kept;
  std::vector<HashValue> seen(8);
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (HashValue& place : seen) {
    threads.emplace_back([&] { place = kept.of(HashAlgorithm::Sha256, kBytes); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(std::ranges::count(seen, hashOf(HashAlgorithm::Sha256, kBytes)), 8);
}

}  // namespace
}  // namespace qx::test::kept_hash_test
