#ifndef QX_PROVIDER_SUPPORT_DEADLINE_H_
#define QX_PROVIDER_SUPPORT_DEADLINE_H_

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>

#include "provider/support/fork_gate.h"

namespace qx {

/// Deadline is a point in time until which something may wait.
class Deadline {
 public:
  explicit Deadline(std::chrono::milliseconds timeout)
      : end_(std::chrono::steady_clock::now() + timeout) {}

  std::chrono::milliseconds left() const {
    const auto rest = end_ - std::chrono::steady_clock::now();
    // Rounded up: a wait of 0 ms would turn the last millisecond into a busy loop.
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(rest),
                    std::chrono::milliseconds::zero());
  }

  bool passed() const { return left() == std::chrono::milliseconds::zero(); }

  /// waitFor tells whether `events` of poll() came in time. Forks go on meanwhile: the caller holds no
  /// lock.
  bool waitFor(int fd, short events) const {
    const ForkMayPass noLockIsHeld;
    for (;;) {
      const auto wait = std::min<std::int64_t>(left().count(), std::numeric_limits<int>::max());
      pollfd entry{.fd = fd, .events = events, .revents = 0};
      const int count = poll(&entry, 1, static_cast<int>(wait));
      if (count > 0) {
        return true;
      }
      if ((count == 0 && passed()) || (count < 0 && errno != EINTR)) {
        return false;
      }
    }
  }

 private:
  std::chrono::steady_clock::time_point end_;
};

}  // namespace qx

#endif
