#ifndef QX_TOOLS_COMMON_TIMES_H_
#define QX_TOOLS_COMMON_TIMES_H_

#include <cstdint>
#include <ctime>
#include <string>

namespace qx::tools {

// Times are counted as certificates tell them: in ticks of 100 ns from 1601-01-01.

/// ticksOf joins the two halves of such a count.
constexpr std::uint64_t ticksOf(std::uint32_t high, std::uint32_t low) {
  return (std::uint64_t{high} << 32U) | low;
}

/// ticksOf counts the seconds from 1970-01-01; what was before 1601 is 0.
std::uint64_t ticksOf(std::time_t seconds);

/// ticksNow is the present moment, in whole seconds.
std::uint64_t ticksNow();

/// isoTime writes a time as people and programs read it, in UTC: "2026-11-15T17:03:41Z".
std::string isoTime(std::uint64_t ticks);

}  // namespace qx::tools

#endif
