#include "provider/key/unlock.h"

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/key/sample_keys.h"

namespace qx::unlock_test {
namespace {

KeyFilePtr fileOf(EVP_PKEY* key, const std::string& pin) {
  const std::string text = pin.empty() ? lab::toPem(key) : lab::toPem(key, pin, 1000);
  return *KeyFile::parse(keyId(test::toOurs(key)->publicKeyBits()),
                         SecretBytes(std::string_view(text)));
}

class Unlock : public ::testing::Test {
 protected:
  EvpPkeyPtr key_ = lab::generateKey(lab::KeyKind::Gost2012_256);
  KeyFilePtr file_ = fileOf(key_.get(), "1234");
};

TEST_F(Unlock, IsQuickTheSecondTime) {
  EXPECT_EQ(unlockedBefore(*file_, "1234"), nullptr);
  const auto first = unlock(*file_, "1234");
  ASSERT_TRUE(first);
  EXPECT_EQ(unlockedBefore(*file_, "1234"), *first);
  EXPECT_EQ(*unlock(*file_, "1234"), *first);
}

TEST_F(Unlock, RefusesAnEmptyAndAWrongPinAfterTheRightOne) {
  ASSERT_TRUE(unlock(*file_, "1234"));
  EXPECT_EQ(unlock(*file_, "").error(), SCARD_W_WRONG_CHV);
  EXPECT_EQ(unlock(*file_, "4321").error(), SCARD_W_WRONG_CHV);
  EXPECT_EQ(unlock(*file_, "12345").error(), SCARD_W_WRONG_CHV);
  EXPECT_TRUE(unlock(*file_, "1234"));
}

TEST_F(Unlock, RefusesThemInParallelToo) {
  constexpr int kRounds = 20;
  std::array<std::atomic<int>, 3> opened{};
  const std::array<const char*, 3> pins = {"1234", "", "4321"};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < 6; ++i) {
    threads.emplace_back([&, pin = i % 3] {
      for (int round = 0; round < kRounds; ++round) {
        opened[pin] += unlock(*file_, pins[pin]) ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(opened[0], 2 * kRounds);
  EXPECT_EQ(opened[1], 0);
  EXPECT_EQ(opened[2], 0);
}

TEST_F(Unlock, TakesAnyPinForAKeyWithoutOne) {
  const KeyFilePtr plain = fileOf(key_.get(), "");
  const auto first = unlock(*plain, "");
  ASSERT_TRUE(first);
  EXPECT_EQ(*unlock(*plain, "anything"), *first);
  EXPECT_EQ(unlockedBefore(*plain, "else"), *first);
}

TEST_F(Unlock, ForgetsWhenTold) {
  ASSERT_TRUE(unlock(*file_, "1234"));
  forgetUnlocked(*file_);
  EXPECT_EQ(unlockedBefore(*file_, "1234"), nullptr);
  EXPECT_TRUE(unlock(*file_, "1234"));
}

TEST_F(Unlock, KnowsAFileThatWasReadAgainForAnother) {
  ASSERT_TRUE(unlock(*file_, "1234"));
  const KeyFilePtr again = *KeyFile::parse(file_->name(), SecretBytes(file_->text()));
  EXPECT_EQ(unlockedBefore(*again, "1234"), nullptr);
}

}  // namespace
}  // namespace qx::unlock_test
