#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"

// Several threads at once, and a process that forks while others sign.

namespace qx::test::parallel_test {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 20;

void inThreads(const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back(work, i);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(SystemParallel, ThreadsSignAndVerifyAtOnce) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");
  std::atomic<int> good = 0;

  inThreads([&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      const std::string content = "document " + std::to_string(thread * kRounds + round);
      const SsfOutcome made = ssfSign(content, {{.id = ivan.thumbprint, .password = "plum-1234"}});
      const SsfOutcome verified = ssfVerify(made.output);
      good += verified.code == SSF_API_OK && verified.output == content ? 1 : 0;
    }
  });

  EXPECT_EQ(good, kThreads * kRounds);
}

TEST(SystemParallel, ThreadsWithAWrongPinAreRefusedWhileOthersSign) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");
  std::atomic<int> wrong = 0;

  inThreads([&](int thread) {
    const char* pins[] = {"plum-1234", "", "plum-4321"};
    const std::string pin = pins[thread % 3];
    const SAPRETURN expected = pin == "plum-1234" ? SSF_API_OK : SSF_API_SIGNER_ERROR;
    for (int round = 0; round < kRounds; ++round) {
      wrong += ssfSign("text", {{.id = ivan.thumbprint, .password = pin}}).code == expected ? 0 : 1;
    }
  });

  EXPECT_EQ(wrong, 0);
}

// The thread sanitizer does not follow a threaded process into a child: it leaves SystemFork out.
TEST(SystemFork, AChildSignsAndVerifiesWhileTheParentsThreadsSign) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");
  std::atomic<bool> stop = false;
  std::thread busy([&] {
    while (!stop) {
      ssfSign("text", {{.id = ivan.thumbprint, .password = "plum-1234"}});
    }
  });

  for (int child = 0; child < kThreads; ++child) {
    const pid_t pid = fork();
    if (pid == 0) {
      const SsfOutcome made = ssfSign("text", {{.id = ivan.thumbprint, .password = "plum-1234"}});
      const bool refused =
          ssfSign("text", {{.id = ivan.thumbprint, .password = "0"}}).code == SSF_API_SIGNER_ERROR;
      _exit(ssfVerify(made.output).code == SSF_API_OK && refused ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
  }
  stop = true;
  busy.join();
}

}  // namespace
}  // namespace qx::test::parallel_test
