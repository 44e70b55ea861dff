#include "tests/soak/worker.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

// All operations at once, and children that come from the midst of them.

namespace qx::soak::worker_test {
namespace {

constexpr unsigned kThreads = 8;
constexpr int kPieces = 18;

// The one of this process.
const World& theWorld() {
  static const World kWorld;
  return kWorld;
}

std::uint64_t wrongAnswers(const World& world, std::uint64_t seed, int pieces) {
  Worker worker(world, seed);
  for (int i = 0; i < pieces; ++i) {
    worker.work();
  }
  return worker.wrong();
}

// The time-stamp server has its good and its bad moments: so many pieces that it had both.
TEST(SoakWorker, DoesEachPieceOfWorkRightly) {
  constexpr int kMost = 20'000;
  Worker worker(theWorld(), 1);
  for (int i = 0;
       i < 5 * kPieces || (i < kMost && (worker.stamped() == 0 || worker.unstamped() == 0));
       ++i) {
    worker.work();
  }
  EXPECT_EQ(worker.wrong(), 0U);
  EXPECT_GT(worker.calls(), 5U * kPieces);
  EXPECT_GT(worker.stamped(), 0U);
  EXPECT_GT(worker.unstamped(), 0U);
}

TEST(SoakWorker, NoticesThatNobodyIsThere) {
  theWorld();
  const test::ProviderFolder nobodys;
  EXPECT_GT(wrongAnswers(theWorld(), 1, 5 * kPieces), 0U);
}

TEST(SoakWorld, HasASignerOfWhomOnlyAServiceTellsThatHeIsNotRevoked) {
  const World& world = theWorld();
  const Identity& signer = world.askedAbout();
  const test::SsfOutcome made =
      test::ssfSign("content", {{.id = signer.thumbprint, .password = signer.pin}});
  for (const unsigned time : {1U, 2U}) {
    // Over another list no verdict is remembered.
    world.change(0, World::kRenews + (time * World::kChanges));
    world.change(0, World::kForgets);
    ASSERT_EQ(world.keptAnswers().size(), 0U);
    EXPECT_EQ(test::ssfVerify(made.output).code, SSF_API_OK);
    EXPECT_EQ(world.keptAnswers().size(), 1U);
  }
}

TEST(SoakWorkers, DoAllOperationsAtOnceWhileStoresChange) {
  const World& world = theWorld();
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
  const World& world = theWorld();
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
}  // namespace qx::soak::worker_test
