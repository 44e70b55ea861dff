#include "provider/support/fork_gate.h"

#include <atomic>
#include <latch>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child.h"

namespace qx::fork_gate_test {
namespace {

using test::inChild;

int callOnce() {
  const ForkWaits call;
  return 0;
}

/// A thread inside of a call, until it is told to come out.
class AtWork {
 public:
  AtWork() { begun_.wait(); }

  ~AtWork() { leave(); }

  AtWork(const AtWork&) = delete;
  AtWork& operator=(const AtWork&) = delete;
  AtWork(AtWork&&) = delete;
  AtWork& operator=(AtWork&&) = delete;

  void leave() {
    if (thread_.joinable()) {
      mayLeave_.count_down();
      thread_.join();
    }
  }

 private:
  std::latch begun_{1};
  std::latch mayLeave_{1};
  std::thread thread_{[this] {
    const ForkWaits call;
    begun_.count_down();
    mayLeave_.wait();
  }};
};

TEST(ForkGate, LetsAForkWaitForTheCallsOfOtherThreads) {
  AtWork other;
  std::atomic<bool> left = false;
  std::atomic<bool> waited = false;
  std::latch forking(1);
  std::thread forker([&] {
    forking.count_down();
    EXPECT_EQ(inChild([] { return 0; }), 0);
    waited = left.load();
  });
  forking.wait();
  // Time enough for a fork that does not wait.
  for (int i = 0; i < 100; ++i) {
    std::this_thread::yield();
  }
  left = true;
  other.leave();
  forker.join();
  EXPECT_TRUE(waited);
}

TEST(ForkGate, DoesNotLetAForkWaitForItsOwnThread) {
  const ForkWaits outer;
  const ForkWaits inner;
  EXPECT_EQ(inChild(callOnce), 0);
}

// The fork leaves the thread within its call, on both sides.
TEST(ForkGate, KeepsTheForkingThreadWithinItsCall) {
  // Ended but not begun, or begun but not ended, it would be waited for by the next fork without a call.
  std::optional<ForkWaits> call(std::in_place);
  const auto endsWell = [&] {
    call.reset();
    return inChild(callOnce);
  };
  EXPECT_EQ(inChild(endsWell), 0);
  EXPECT_EQ(endsWell(), 0);
}

TEST(ForkGate, DoesNotLetAForkWaitForAPartThatMayLast) {
  std::latch waiting(1);
  std::latch forked(1);
  std::thread other([&] {
    const ForkWaits call;
    const ForkMayPass noLockIsHeld;
    waiting.count_down();
    forked.wait();
  });
  waiting.wait();
  EXPECT_EQ(inChild(callOnce), 0);
  forked.count_down();
  other.join();
}

TEST(ForkGate, WaitsAgainAfterThePartThatMayLast) {
  const ForkWaits call;
  {
    const ForkMayPass noLockIsHeld;
    EXPECT_EQ(callOnce(), 0);  // a call of its own, by a callback perhaps
  }
  closeForkGate();  // for the own thread's call nobody waits
  openForkGate();
  EXPECT_EQ(inChild(callOnce), 0);
}

TEST(ForkGate, KeepsTheChildFromInheritingCallsOfThreadsThatItHasNot) {
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        const ForkWaits call;
        const ForkWaits nested;
        const ForkMayPass noLockIsHeld;
      }
    });
  }
  // A grandchild waits for all calls that the child knows of.
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(inChild([] { return callOnce() + inChild(callOnce); }), 0);
  }
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(ForkGate, LetsThreadsForkAtOnceFromWithinTheirCalls) {
  std::vector<std::thread> threads;
  std::atomic<int> failed = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 10; ++round) {
        const ForkWaits call;
        failed += inChild(callOnce);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failed, 0);
}

TEST(ForkGate, ServesMoreThreadsThanItHasCounters) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 100; ++i) {
    threads.emplace_back(callOnce);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(inChild(callOnce), 0);
}

}  // namespace
}  // namespace qx::fork_gate_test
