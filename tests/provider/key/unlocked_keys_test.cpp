#include "provider/key/unlocked_keys.h"

#include <sys/wait.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/key/sample_keys.h"

namespace qx::unlocked_keys_test {
namespace {

using std::chrono::hours;
using std::chrono::nanoseconds;
using std::chrono::seconds;

class UnlockedKeysTest : public ::testing::Test {
 protected:
  static nanoseconds clock() { return now; }

  static void pass(nanoseconds time) { now += time; }

  static inline nanoseconds now = hours(100);

  UnlockedKeys keys_{{.unused = seconds(300), .most = hours(8)}, clock};
  std::shared_ptr<const PrivateKey> key_ = test::makeKey(lab::KeyKind::Gost2012_256);
};

TEST_F(UnlockedKeysTest, AnswerToTheRightPinAlone) {
  keys_.add(1, "1234", key_);
  EXPECT_EQ(keys_.find(1, "1234"), key_);
  for (const char* wrong : {"", "123", "12345", "1235", "0234"}) {
    EXPECT_EQ(keys_.find(1, wrong), nullptr) << wrong;
  }
  EXPECT_EQ(keys_.find(1, "1234"), key_);
}

TEST_F(UnlockedKeysTest, AnswerForTheRightFileAlone) {
  keys_.add(1, "1234", key_);
  EXPECT_EQ(keys_.find(2, "1234"), nullptr);
}

TEST_F(UnlockedKeysTest, KeepOneKeyAFile) {
  const auto other = test::makeKey(lab::KeyKind::Gost2012_256);
  keys_.add(1, "1234", key_);
  keys_.add(1, "5678", other);
  EXPECT_EQ(keys_.find(1, "1234"), nullptr);
  EXPECT_EQ(keys_.find(1, "5678"), other);
  EXPECT_EQ(keys_.size(), 1U);
}

TEST_F(UnlockedKeysTest, LeaveWhenTheyAreNotUsed) {
  keys_.add(1, "1234", key_);
  pass(seconds(299));
  EXPECT_EQ(keys_.find(1, "1234"), key_);
  pass(seconds(299));
  EXPECT_EQ(keys_.find(1, "1234"), key_);
  pass(seconds(300));
  EXPECT_EQ(keys_.find(1, "1234"), nullptr);
}

TEST_F(UnlockedKeysTest, AreNotKeptByWrongPins) {
  keys_.add(1, "1234", key_);
  pass(seconds(200));
  EXPECT_EQ(keys_.find(1, "wrong"), nullptr);
  pass(seconds(100));
  EXPECT_EQ(keys_.find(1, "1234"), nullptr);
}

TEST_F(UnlockedKeysTest, LeaveAfterTheirTimeInAnyCase) {
  keys_.add(1, "1234", key_);
  for (int minute = 0; minute < 8 * 60 - 1; ++minute) {
    pass(seconds(60));
    ASSERT_EQ(keys_.find(1, "1234"), key_) << minute;
  }
  pass(seconds(60));
  EXPECT_EQ(keys_.find(1, "1234"), nullptr);
}

TEST_F(UnlockedKeysTest, AreLetGoAsSoonAsTheCacheIsUsedAgain) {
  const std::weak_ptr<const PrivateKey> watch = key_;
  keys_.add(1, "1234", std::move(key_));
  pass(seconds(301));
  EXPECT_EQ(keys_.find(2, "another file's"), nullptr);
  EXPECT_TRUE(watch.expired());
}

TEST_F(UnlockedKeysTest, LeaveWithTheirFile) {
  keys_.add(1, "1234", key_);
  keys_.add(2, "1234", key_);
  keys_.forget(1);
  EXPECT_EQ(keys_.find(1, "1234"), nullptr);
  EXPECT_EQ(keys_.find(2, "1234"), key_);
}

TEST_F(UnlockedKeysTest, AreNotKeptWhenTheCacheIsOff) {
  UnlockedKeys off({.unused = seconds(0), .most = hours(8)}, clock);
  off.add(1, "1234", key_);
  EXPECT_EQ(off.find(1, "1234"), nullptr);
  UnlockedKeys noMost({.unused = seconds(300), .most = seconds(0)}, clock);
  noMost.add(1, "1234", key_);
  EXPECT_EQ(noMost.find(1, "1234"), nullptr);
}

TEST_F(UnlockedKeysTest, StayWithThoseWhoHoldThem) {
  keys_.add(1, "1234", key_);
  const auto held = keys_.find(1, "1234");
  pass(hours(9));
  EXPECT_EQ(keys_.size(), 0U);
  EXPECT_TRUE(
      held->signDigest(HashAlgorithm::Streebog256, test::someDigest(HashAlgorithm::Streebog256)));
}

TEST_F(UnlockedKeysTest, AreForgottenByAChild) {
  keys_.add(1, "1234", key_);
  const auto held = keys_.find(1, "1234");
  const pid_t child = fork();
  if (child == 0) {
    const bool forgotten = keys_.find(1, "1234") == nullptr && keys_.size() == 0;
    keys_.add(1, "5678", held);
    const bool works = keys_.find(1, "5678") == held && keys_.find(1, "1234") == nullptr;
    _exit(forgotten && works ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(keys_.find(1, "1234"), key_);
}

TEST_F(UnlockedKeysTest, AnswerManyThreads) {
  keys_.add(1, "1234", key_);
  std::vector<std::thread> threads;
  std::vector<int> mistakes(4);
  for (int& mistake : mistakes) {
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round) {
        const bool right = keys_.find(1, "1234") == key_;
        const bool wrong = keys_.find(1, "") != nullptr || keys_.find(1, "123") != nullptr;
        mistake += right && !wrong ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(mistakes, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace qx::unlocked_keys_test
