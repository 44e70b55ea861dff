#include "tools/qxprovider/period.h"

#include <charconv>
#include <cstdint>
#include <string_view>

#include "tools/common/error.h"

namespace qx::admin {
namespace {

using std::chrono::hours;

// The length of a unit, nothing for what is none.
hours unitOf(std::string_view name) {
  if (name == "h") {
    return hours(1);
  }
  if (name == "d") {
    return std::chrono::days(1);
  }
  return name == "w" ? hours(std::chrono::weeks(1)) : hours(0);
}

}  // namespace

hours readPeriod(const std::string& text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  const hours unit = unitOf({stop, end});
  if (error != std::errc() || unit == hours(0)) {
    throw tools::ToolError(tools::ExitCode::Usage,
                           "'" + text + "' is no period; write 30d, 2w or 12h");
  }
  if (number > hours(kMaxPeriod) / unit) {
    throw tools::ToolError(tools::ExitCode::Usage, "'" + text + "' is more than a hundred years");
  }
  return unit * number;
}

}  // namespace qx::admin
