#ifndef QX_TOOLS_COMMON_TIMES_H_
#define QX_TOOLS_COMMON_TIMES_H_

#include <cstdint>
#include <string>

namespace qx::tools {

/// isoTime writes a time as people and programs read it, in UTC: "2026-11-15T17:03:41Z". `ticks`
/// counts 100 ns from 1601-01-01.
std::string isoTime(std::uint64_t ticks);

}  // namespace qx::tools

#endif
