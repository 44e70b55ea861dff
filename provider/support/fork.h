#ifndef QX_PROVIDER_SUPPORT_FORK_H_
#define QX_PROVIDER_SUPPORT_FORK_H_

#include <mutex>

namespace qx {

/// ForkSafeMutex is a mutex for state that a child goes on using after fork(): all live ones are taken
/// before the fork and released on both sides, so the child never sees half a change nor a lock that
/// nobody holds. A fork waits until it can take all of them at once and holds none while it waits, so
/// it adds no rule about the order in which they are nested.
///
/// Nobody forks while holding one; posix_spawn is allowed. Meets the Lockable requirements
/// (std::scoped_lock, std::unique_lock).
class ForkSafeMutex {
 public:
  ForkSafeMutex();
  ~ForkSafeMutex();
  ForkSafeMutex(const ForkSafeMutex&) = delete;
  ForkSafeMutex& operator=(const ForkSafeMutex&) = delete;
  ForkSafeMutex(ForkSafeMutex&&) = delete;
  ForkSafeMutex& operator=(ForkSafeMutex&&) = delete;

  void lock() { mutex_.lock(); }

  void unlock() { mutex_.unlock(); }

  bool try_lock() { return mutex_.try_lock(); }

 private:
  friend struct ForkRegistry;

  std::mutex mutex_;
  ForkSafeMutex* earlier_ = nullptr;
  ForkSafeMutex* later_ = nullptr;
};

/// forkGeneration is a number that is another one in every child made by fork().
unsigned forkGeneration();

}  // namespace qx

#endif
