#include "provider/key/shared_keys.h"

#include <algorithm>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/key/sample_keys.h"

namespace qx::shared_keys_test {
namespace {

using lab::KeyKind;
using test::makeKey;
using test::plainAlgorithm;
using test::someDigest;
using test::usualHash;
using Bytes = std::vector<std::uint8_t>;

Bytes spkiOf(const PrivateKey& key) {
  return {key.spki().begin(), key.spki().end()};
}

TEST(SharedPublicKey, IsTheSameForTheSameBytes) {
  const Bytes spki = spkiOf(*makeKey(KeyKind::EcP256));
  const Result<PublicKeyPtr> first = sharedPublicKey(spki);
  ASSERT_TRUE(first);
  EXPECT_EQ(*sharedPublicKey(Bytes(spki)), *first);
  EXPECT_TRUE(std::ranges::equal((*first)->spki(), spki));
  const Result<PublicKeyPtr> other = sharedPublicKey(spkiOf(*makeKey(KeyKind::EcP256)));
  ASSERT_TRUE(other);
  EXPECT_NE(*other, *first);
}

TEST(SharedPublicKey, RefusesWhatParsingRefusesAgainAndAgain) {
  Bytes spki = spkiOf(*makeKey(KeyKind::Gost2012_256));
  ASSERT_TRUE(sharedPublicKey(spki));
  spki.push_back(0);
  const DWORD error = PublicKey::parse(spki).error();
  EXPECT_NE(error, 0U);
  EXPECT_EQ(sharedPublicKey(spki).error(), error);
  EXPECT_EQ(sharedPublicKey(spki).error(), error);
  EXPECT_EQ(sharedPublicKey({}).error(), PublicKey::parse({}).error());
}

TEST(SharedPublicKey, MayBeTooLargeToBeLookedUp) {
  const Bytes spki(5000, 0x30);
  EXPECT_EQ(sharedPublicKey(spki).error(), PublicKey::parse(spki).error());
}

TEST(SharedPublicKey, LeavesWhenManyOthersCame) {
  const Bytes spki = spkiOf(*makeKey(KeyKind::EcP256));
  const std::weak_ptr<const PublicKey> kept = *sharedPublicKey(spki);
  EXPECT_FALSE(kept.expired());
  for (int i = 0; i < 500; ++i) {
    ASSERT_TRUE(sharedPublicKey(spkiOf(*makeKey(KeyKind::EcP256))));
  }
  EXPECT_TRUE(kept.expired());
}

class SharedPublicKeyOf : public testing::TestWithParam<KeyKind> {
 protected:
  bool tells() const {
    const Result<PublicKeyPtr> shared = sharedPublicKey(spki);
    return shared && (*shared)->verifyDigest(algorithm, hash, digest, *signature) &&
           (*shared)->verifyDigest(algorithm, hash, wrong, *signature).error() ==
               static_cast<DWORD>(NTE_BAD_SIGNATURE);
  }

  const std::shared_ptr<const PrivateKey> key = makeKey(GetParam());
  const Bytes spki = spkiOf(*key);
  const SignatureAlgorithm algorithm = plainAlgorithm(*key);
  const HashAlgorithm hash = usualHash(GetParam());
  const Bytes digest = someDigest(hash);
  const Bytes wrong = someDigest(hash, 0x5B);
  const Result<Bytes> signature = key->signDigest(hash, digest);
};

// Whatever libcrypto prepares at the first use is prepared once, whoever comes first.
TEST_P(SharedPublicKeyOf, AKindTellsRightFromWrongForManyThreadsAtOnce) {
  ASSERT_TRUE(signature);
  std::vector<int> right(8, 0);
  std::vector<std::thread> threads;
  threads.reserve(right.size());
  for (int& count : right) {
    threads.emplace_back([&] {
      for (int i = 0; i < 4; ++i) {
        count += tells() ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(right, std::vector<int>(8, 4));
}

INSTANTIATE_TEST_SUITE_P(Kinds,
                         SharedPublicKeyOf,
                         testing::ValuesIn(test::allKinds()),
                         test::kindOf);

}  // namespace
}  // namespace qx::shared_keys_test
