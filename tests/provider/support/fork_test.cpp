#include "provider/support/fork.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/child.h"

namespace qx::test::fork_test {
namespace {

using qx::ForkSafeMutex;
using qx::test::inChild;

TEST(ForkGeneration, ChangesInAChildAndStaysInTheParent) {
  const unsigned parent = qx::forkGeneration();
  EXPECT_EQ(inChild([&] { return qx::forkGeneration() != parent ? 0 : 1; }), 0);
  EXPECT_EQ(qx::forkGeneration(), parent);
}

TEST(ForkGeneration, ChangesAgainInAGrandchild) {
  const unsigned parent = qx::forkGeneration();
  const int code = inChild([&] {
    const unsigned child = qx::forkGeneration();
    return inChild(
        [&] { return qx::forkGeneration() != child && qx::forkGeneration() != parent ? 0 : 1; });
  });
  EXPECT_EQ(code, 0);
}

// While other threads take and change, children are made: each finds the locks free and the state whole.
TEST(ForkSafeMutex, IsFreeInAChildAndItsStateIsWhole) {
  ForkSafeMutex outer;
  ForkSafeMutex inner;
  int left = 0;
  int right = 0;
  std::atomic<bool> stop = false;
  std::thread worker([&] {
    while (!stop) {
      const std::scoped_lock outerLock(outer);
      ++left;
      const std::scoped_lock innerLock(inner);
      ++right;
    }
  });
  for (int i = 0; i < 50; ++i) {
    const int code = inChild([&] {
      const std::scoped_lock outerLock(outer);
      const std::scoped_lock innerLock(inner);
      return left == right ? 0 : 1;
    });
    ASSERT_EQ(code, 0);
  }
  stop = true;
  worker.join();
  EXPECT_EQ(left, right);
}

// A lock that was made first is taken inside one that was made later, and others come and go under it:
// neither keeps a fork waiting for ever.
TEST(ForkSafeMutex, MayBeNestedInAnyOrder) {
  ForkSafeMutex early;
  ForkSafeMutex late;
  std::atomic<bool> stop = false;
  std::thread worker([&] {
    while (!stop) {
      const std::scoped_lock lateLock(late);
      const ForkSafeMutex passing;
      const std::scoped_lock earlyLock(early);
    }
  });
  alarm(60);
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(inChild([] { return 0; }), 0);
  }
  alarm(0);
  stop = true;
  worker.join();
}

TEST(ForkSafeMutex, CanComeAndGoInAnyOrder) {
  auto first = std::make_unique<ForkSafeMutex>();
  auto second = std::make_unique<ForkSafeMutex>();
  auto third = std::make_unique<ForkSafeMutex>();
  second.reset();
  first.reset();
  EXPECT_EQ(inChild([&] {
              const std::scoped_lock lock(*third);
              return 0;
            }),
            0);
  third.reset();
  EXPECT_EQ(inChild([] { return 0; }), 0);
}

TEST(ForkSafeMutex, TellsWhetherItIsTaken) {
  ForkSafeMutex mutex;
  const std::unique_lock held(mutex);
  bool taken = false;
  std::thread([&] { taken = !mutex.try_lock(); }).join();
  EXPECT_TRUE(taken);
}

TEST(ForkSafeMutex, LetsTwoThreadsForkAtOnce) {
  ForkSafeMutex mutex;
  std::atomic<int> failed = 0;
  const auto forkMany = [&] {
    for (int round = 0; round < 20; ++round) {
      failed += inChild([&] {
        const std::scoped_lock lock(mutex);
        return 0;
      });
    }
  };
  std::thread first(forkMany);
  std::thread second(forkMany);
  first.join();
  second.join();
  EXPECT_EQ(failed, 0);
}

TEST(ForkSafeMutex, IsMadeWhileOthersFork) {
  std::atomic<bool> stop = false;
  std::thread maker([&] {
    while (!stop) {
      const auto several = std::make_unique<ForkSafeMutex[]>(5);
      const std::scoped_lock lock(several[2]);
    }
  });
  int failed = 0;
  for (int round = 0; round < 20; ++round) {
    failed += inChild([] {
      ForkSafeMutex own;
      {
        const std::scoped_lock lock(own);
      }
      return inChild([&] { return own.try_lock() ? 0 : 1; });
    });
  }
  stop = true;
  maker.join();
  EXPECT_EQ(failed, 0);
}

}  // namespace
}  // namespace qx::test::fork_test
