// qx_soak SECONDS [THREADS]: see scripts/soak.sh. It works in rounds: each starts its threads and ends
// with a look at the process when nobody works in it, so that what is still open then was left open.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/soak/measures.h"
#include "tests/soak/worker.h"
#include "tests/soak/world.h"

namespace qx::soak {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kProcesses = World::kGuests;
constexpr int kRounds = 40;
// In a shorter run memory is still warming up.
constexpr std::chrono::seconds kShortestForMemory{60};
constexpr std::chrono::milliseconds kBetweenChanges{50};

struct Plan {
  std::chrono::milliseconds length;
  unsigned threads;
};

/// One process of the run.
class Run {
 public:
  Run(const World& world, const Plan& plan, std::size_t process)
      : world_(&world), plan_(plan), process_(process) {}

  /// Works to the plan; true when everything was right.
  bool run() {
    const auto start = Clock::now();
    for (int round = 1; round <= kRounds; ++round) {
      workUntil(start + plan_.length * round / kRounds);
      report(Clock::now() - start);
    }
    return isGood();
  }

 private:
  void workUntil(Clock::time_point end) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < plan_.threads; ++i) {
      const std::uint64_t seed = process_ + kProcesses * ++workers_;
      threads.emplace_back([this, seed, end] { workAlone(seed, end); });
    }
    // This thread changes the stores meanwhile.
    while (Clock::now() < end) {
      world_->change(process_, changes_++);
      std::this_thread::sleep_for(kBetweenChanges);
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  void workAlone(std::uint64_t seed, Clock::time_point end) {
    Worker worker(*world_, seed);
    while (Clock::now() < end) {
      worker.work();
    }
    calls_ += worker.calls();
    wrong_ += worker.wrong();
    stamped_ += worker.stamped();
    unstamped_ += worker.unstamped();
  }

  void report(Clock::duration passed) {
    measures_.push_back(measureThisProcess());
    const double seconds = std::chrono::duration<double>(passed).count();
    std::printf(
        "process %zu: %.1f s, %.0f operations a second, %llu stamped, %llu unstamped, %ld KB, "
        "%ld descriptors, %llu wrong\n",
        process_,
        seconds,
        static_cast<double>(calls_) / seconds,
        static_cast<unsigned long long>(stamped_),
        static_cast<unsigned long long>(unstamped_),
        measures_.back().residentKb,
        measures_.back().descriptors,
        static_cast<unsigned long long>(wrong_));
  }

  bool isGood() const {
    std::vector<std::string> faults = {descriptorGrowth(measures_)};
    if (plan_.length >= kShortestForMemory) {
      faults.push_back(memoryGrowth(measures_));
    }
    if (wrong_ > 0) {
      faults.push_back(std::to_string(wrong_) + " wrong answers");
    }
    if (stamped_ == 0 || unstamped_ == 0) {
      faults.emplace_back("the time-stamp server was always the same");
    }
    std::erase(faults, std::string());
    for (const std::string& fault : faults) {
      std::printf("process %zu: %s\n", process_, fault.c_str());
    }
    return faults.empty();
  }

  const World* world_;
  Plan plan_;
  std::size_t process_;
  unsigned changes_ = 0;
  std::uint64_t workers_ = 0;
  std::atomic<std::uint64_t> calls_ = 0;
  std::atomic<std::uint64_t> wrong_ = 0;
  std::atomic<std::uint64_t> stamped_ = 0;
  std::atomic<std::uint64_t> unstamped_ = 0;
  std::vector<Measure> measures_;
};

// 0 when it is no number that makes sense.
int positiveNumber(const char* text) {
  constexpr long kMost = 1'000'000;
  char* end = nullptr;
  const long number = std::strtol(text, &end, 10);
  return *end == '\0' && number > 0 && number <= kMost ? static_cast<int>(number) : 0;
}

int runAll(const Plan& plan) {
  const World world;
  std::array<pid_t, kProcesses> children{};
  for (std::size_t process = 0; process < kProcesses; ++process) {
    children.at(process) = fork();
    if (children.at(process) == 0) {
      std::exit(Run(world, plan, process).run() ? EXIT_SUCCESS : EXIT_FAILURE);
    }
  }
  int code = EXIT_SUCCESS;
  for (const pid_t child : children) {
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) {
      code = EXIT_FAILURE;
    }
  }
  return code;
}

}  // namespace
}  // namespace qx::soak

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? qx::soak::positiveNumber(argv[1]) : 0;
  const int threads = argc > 2 ? qx::soak::positiveNumber(argv[2]) : 8;
  if (argc > 3 || seconds == 0 || threads == 0) {
    static_cast<void>(std::fputs("usage: qx_soak SECONDS [THREADS]\n", stderr));
    return 2;
  }
  // Both processes write whole lines, also into a file.
  static_cast<void>(std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ));
  return qx::soak::runAll(
      {.length = std::chrono::seconds(seconds), .threads = static_cast<unsigned>(threads)});
}
