#ifndef QX_TOOLS_QXPROVIDER_PERIOD_H_
#define QX_TOOLS_QXPROVIDER_PERIOD_H_

#include <chrono>
#include <string>

namespace qx::admin {

/// The longest period that readPeriod takes.
constexpr std::chrono::days kMaxPeriod{36'500};

/// readPeriod reads a number with its unit: "30d" days, "2w" weeks, "12h" hours. Throws ToolError
/// (Usage) for anything else and for more than kMaxPeriod.
std::chrono::hours readPeriod(const std::string& text);

}  // namespace qx::admin

#endif
