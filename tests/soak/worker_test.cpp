#include "tests/soak/worker.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

// All operations at once, and children that come from the midst of them.

namespace qx::soak {
namespace {

constexpr unsigned kThreads = 8;
constexpr int kPieces = 14;

std::uint64_t wrongAnswers(const World& world, std::uint64_t seed, int pieces) {
  Worker worker(world, seed);
  for (int i = 0; i < pieces; ++i) {
    worker.work();
  }
  return worker.wrong();
}

TEST(SoakWorker, DoesEachPieceOfWorkRightly) {
  const World world;
  Worker worker(world, 1);
  for (int i = 0; i < 5 * kPieces; ++i) {
    worker.work();
  }
  EXPECT_EQ(worker.wrong(), 0U);
  EXPECT_GT(worker.calls(), 5U * kPieces);
}

TEST(SoakWorker, NoticesThatNobodyIsThere) {
  const World world;
  {
    const test::ProviderFolder nobodys;
    EXPECT_GT(wrongAnswers(world, 1, 5 * kPieces), 0U);
  }
}

TEST(SoakWorkers, DoAllOperationsAtOnceWhileStoresChange) {
  const World world;
  std::atomic<unsigned> busy = kThreads;
  std::atomic<std::uint64_t> wrong = 0;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      wrong += wrongAnswers(world, i, 2 * kPieces);
      --busy;
    });
  }
  for (unsigned change = 0; busy > 0; ++change) {
    world.change(0, change);
    std::this_thread::yield();
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0U);
}

// A child that hangs is ended by its alarm.
pid_t startChild(const World& world, std::uint64_t seed) {
  constexpr unsigned kHangs = 120;
  std::unique_lock ownCalls(world.ownLibcrypto());
  const pid_t child = fork();
  ownCalls.unlock();
  if (child == 0) {
    alarm(kHangs);
    _exit(wrongAnswers(world, seed, kPieces) == 0 ? 0 : 1);
  }
  return child;
}

// Not for the thread sanitizer, which does not follow a threaded process into a child.
TEST(SoakFork, ChildrenDoAllOperationsWhileTheParentsThreadsDo) {
  constexpr std::uint64_t kChildren = 6;
  const World world;
  std::atomic<bool> stop = false;
  std::atomic<std::uint64_t> wrong = 0;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (std::uint64_t seed = i; !stop; seed += kThreads) {
        wrong += wrongAnswers(world, seed, 1);
      }
    });
  }
  for (std::uint64_t i = 0; i < kChildren; ++i) {
    const pid_t child = startChild(world, 1000 + i);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "child " << i;
  }
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0U);
}

}  // namespace
}  // namespace qx::soak
