#include "tools/common/times.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace qx::tools {
namespace {

constexpr std::int64_t kUnixEpochSeconds = 11'644'473'600;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;

}  // namespace

std::uint64_t ticksOf(std::time_t seconds) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(seconds + kUnixEpochSeconds, 0)) *
         kTicksPerSecond;
}

std::uint64_t ticksNow() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  return ticksOf(std::chrono::system_clock::to_time_t(now));
}

std::string isoTime(std::uint64_t ticks) {
  using std::chrono::days;
  const auto seconds = static_cast<std::int64_t>(ticks / kTicksPerSecond) - kUnixEpochSeconds;
  const std::chrono::sys_seconds point{std::chrono::seconds(seconds)};
  const auto midnight = std::chrono::floor<days>(point);
  const std::chrono::year_month_day date(midnight);
  const std::chrono::hh_mm_ss clock(point - midnight);
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(),
                                  text.size(),
                                  "%04d-%02u-%02uT%02ld:%02ld:%02ldZ",
                                  static_cast<int>(date.year()),
                                  static_cast<unsigned>(date.month()),
                                  static_cast<unsigned>(date.day()),
                                  clock.hours().count(),
                                  clock.minutes().count(),
                                  clock.seconds().count()));
  return text.data();
}

}  // namespace qx::tools
