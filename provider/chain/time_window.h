#ifndef QX_PROVIDER_CHAIN_TIME_WINDOW_H_
#define QX_PROVIDER_CHAIN_TIME_WINDOW_H_

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <limits>

#include "platform/types.h"

namespace qx {

/// How far the clocks of others may be ahead of ours, in seconds.
inline constexpr std::time_t kClockSkew = 300;

/// secondsOf gives a time of the published form in seconds since 1970, rounded down.
inline std::time_t secondsOf(const FILETIME& time) {
  constexpr std::uint64_t kTicksASecond = 10'000'000;
  constexpr std::time_t kFrom1601To1970 = 11'644'473'600;
  const std::uint64_t ticks = (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
  return static_cast<std::time_t>(ticks / kTicksASecond) - kFrom1601To1970;
}

/// TimeWindow is the span of time around a moment in which a verdict stays what it is: no validity
/// begins or ends in it. In seconds since 1970.
class TimeWindow {
 public:
  explicit TimeWindow(std::time_t now) : now_(now) {}

  /// narrow takes note of a moment at which something begins or ends to hold.
  void narrow(std::time_t boundary) {
    if (boundary <= now_) {
      begin_ = std::max(begin_, boundary);
    } else {
      end_ = std::min(end_, boundary);
    }
  }

  bool contains(std::time_t moment) const { return begin_ <= moment && moment < end_; }

 private:
  std::time_t now_;
  std::time_t begin_ = std::numeric_limits<std::time_t>::min();
  std::time_t end_ = std::numeric_limits<std::time_t>::max();
};

}  // namespace qx

#endif
