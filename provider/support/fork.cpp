#include "provider/support/fork.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "provider/support/fork_gate.h"

namespace qx {

/// The live mutexes. Its members are constant-initialised and need
/// no destructor, so it serves mutexes of static storage whenever they come and go.
struct ForkRegistry {
  std::mutex guard;
  ForkSafeMutex* first = nullptr;
  ForkSafeMutex* last = nullptr;
  std::atomic<unsigned> generation = 0;

  void add(ForkSafeMutex& mutex);
  void remove(ForkSafeMutex& mutex);
  void lockAll();
  void unlockAll();
  bool tryLockAll() const;
};

namespace {

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): fork handlers take no argument
constinit ForkRegistry registry;

// In this order: a call may need any lock to come to its end.
void beforeFork() {
  closeForkGate();
  registry.lockAll();
}

void afterForkInParent() {
  registry.unlockAll();
  openForkGate();
}

void afterForkInChild() {
  registry.generation.fetch_add(1, std::memory_order_relaxed);
  registry.unlockAll();
  forgetOtherThreads();
  openForkGate();
}

// At load: before any call, and before any lock is taken.
[[maybe_unused]] const int installed =
    pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);

}  // namespace

void ForkRegistry::add(ForkSafeMutex& mutex) {
  const std::scoped_lock lock(guard);
  mutex.earlier_ = last;
  (last != nullptr ? last->later_ : first) = &mutex;
  last = &mutex;
}

void ForkRegistry::remove(ForkSafeMutex& mutex) {
  const std::scoped_lock lock(guard);
  (mutex.earlier_ != nullptr ? mutex.earlier_->later_ : first) = mutex.later_;
  (mutex.later_ != nullptr ? mutex.later_->earlier_ : last) = mutex.earlier_;
}

// The caller holds the guard. On failure none is held.
bool ForkRegistry::tryLockAll() const {
  for (ForkSafeMutex* mutex = first; mutex != nullptr; mutex = mutex->later_) {
    if (!mutex->mutex_.try_lock()) {
      for (mutex = mutex->earlier_; mutex != nullptr; mutex = mutex->earlier_) {
        mutex->mutex_.unlock();
      }
      return false;
    }
  }
  return true;
}

// Waiting for one mutex while holding others, or the guard, would meet a thread that holds it and
// waits for one of them, or is about to make or drop a mutex.
void ForkRegistry::lockAll() {
  constexpr std::chrono::microseconds kPause(50);
  for (;;) {
    guard.lock();
    if (tryLockAll()) {
      return;
    }
    guard.unlock();
    std::this_thread::sleep_for(kPause);
  }
}

void ForkRegistry::unlockAll() {
  for (ForkSafeMutex* mutex = last; mutex != nullptr; mutex = mutex->earlier_) {
    mutex->mutex_.unlock();
  }
  guard.unlock();
}

ForkSafeMutex::ForkSafeMutex() {
  registry.add(*this);
}

ForkSafeMutex::~ForkSafeMutex() {
  registry.remove(*this);
  // The standard mutex ends without a word; the thread checker must not take a later one at the same
  // address for this one.
  static_cast<void>(pthread_mutex_destroy(mutex_.native_handle()));
}

unsigned forkGeneration() {
  return registry.generation.load(std::memory_order_relaxed);
}

}  // namespace qx
