#include "provider/support/fork_gate.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

namespace qx {
namespace {

constexpr unsigned kGateShards = 32;
constexpr std::size_t kCacheLine = 64;

/// The calls at work in some of the threads.
struct alignas(kCacheLine) GateShard {
  std::atomic<unsigned> calls = 0;
};

struct Gate {
  std::array<GateShard, kGateShards> shards;
  std::atomic<unsigned> threads = 0;
  alignas(kCacheLine) std::atomic<bool> closed = false;
  std::mutex forking;  ///< held as long as it is closed
};

/// What a thread knows of itself. Without constructor and destructor, so that the library can be unloaded
/// while the thread goes on.
struct Thread {
  GateShard* shard = nullptr;
  unsigned depth = 0;
  unsigned depthAtFork = 0;
};

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): one gate for the process
constinit Gate gate;
constinit thread_local Thread self;

// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

bool isAnyCallAtWork() {
  return std::ranges::any_of(gate.shards, [](const GateShard& shard) { return shard.calls != 0; });
}

// The call is counted before it looks at the gate, the gate is closed before the calls are counted: one of
// the two sees the other.
void begin() {
  if (self.shard == nullptr) {
    self.shard =
        &gate.shards.at(gate.threads.fetch_add(1, std::memory_order_relaxed) % kGateShards);
  }
  for (;;) {
    ++self.shard->calls;
    if (!gate.closed) {
      return;
    }
    --self.shard->calls;
    const std::scoped_lock untilItIsOpen(gate.forking);
  }
}

void end() {
  self.shard->calls.fetch_sub(1, std::memory_order_release);
}

}  // namespace

ForkWaits::ForkWaits() {
  if (self.depth == 0) {
    begin();
  }
  ++self.depth;
}

ForkWaits::~ForkWaits() {
  --self.depth;
  if (self.depth == 0) {
    end();
  }
}

ForkMayPass::ForkMayPass() : depth_(std::exchange(self.depth, 0)) {
  if (depth_ != 0) {
    end();
  }
}

ForkMayPass::~ForkMayPass() {
  if (depth_ != 0) {
    begin();
    self.depth = depth_;
  }
}

void closeForkGate() {
  constexpr std::chrono::microseconds kPause(50);
  // Before it waits for another fork: that one waits for all calls.
  self.depthAtFork = std::exchange(self.depth, 0);
  if (self.depthAtFork != 0) {
    end();
  }
  gate.forking.lock();
  gate.closed = true;
  while (isAnyCallAtWork()) {
    std::this_thread::sleep_for(kPause);
  }
}

void forgetOtherThreads() {
  for (GateShard& shard : gate.shards) {
    shard.calls = 0;
  }
}

void openForkGate() {
  self.depth = std::exchange(self.depthAtFork, 0);
  if (self.depth != 0) {
    ++self.shard->calls;
  }
  gate.closed = false;
  gate.forking.unlock();
}

}  // namespace qx
