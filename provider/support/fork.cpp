#include "provider/support/fork.h"

#include <pthread.h>

#include <atomic>

namespace qx {

/// The live mutexes in the order of their construction. Its members are constant-initialised and need
/// no destructor, so it serves mutexes of static storage whenever they come and go.
struct ForkRegistry {
  std::mutex guard;
  ForkSafeMutex* first = nullptr;
  ForkSafeMutex* last = nullptr;
  bool handlersInstalled = false;
  std::atomic<unsigned> generation = 0;

  void add(ForkSafeMutex& mutex);
  void remove(ForkSafeMutex& mutex);
  void lockAll();
  void unlockAll();
  void installHandlers();
};

namespace {

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): fork handlers take no argument
constinit ForkRegistry registry;

void beforeFork() {
  registry.lockAll();
}

void afterForkInParent() {
  registry.unlockAll();
}

void afterForkInChild() {
  registry.generation.fetch_add(1, std::memory_order_relaxed);
  registry.unlockAll();
}

}  // namespace

// The caller holds the guard.
void ForkRegistry::installHandlers() {
  if (!handlersInstalled) {
    handlersInstalled = pthread_atfork(beforeFork, afterForkInParent, afterForkInChild) == 0;
  }
}

void ForkRegistry::add(ForkSafeMutex& mutex) {
  const std::scoped_lock lock(guard);
  installHandlers();
  mutex.earlier_ = last;
  (last != nullptr ? last->later_ : first) = &mutex;
  last = &mutex;
}

void ForkRegistry::remove(ForkSafeMutex& mutex) {
  const std::scoped_lock lock(guard);
  (mutex.earlier_ != nullptr ? mutex.earlier_->later_ : first) = mutex.later_;
  (mutex.later_ != nullptr ? mutex.later_->earlier_ : last) = mutex.earlier_;
}

void ForkRegistry::lockAll() {
  guard.lock();
  for (ForkSafeMutex* mutex = first; mutex != nullptr; mutex = mutex->later_) {
    mutex->mutex_.lock();
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
}

unsigned forkGeneration() {
  {
    const std::scoped_lock lock(registry.guard);
    registry.installHandlers();
  }
  return registry.generation.load(std::memory_order_relaxed);
}

}  // namespace qx
