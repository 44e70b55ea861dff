#include "qxsapssf/ssfxxmain_signing_time.h"

#include <cstdint>
#include <cstdio>
#include <ctime>

#include "platform/strings.h"

#include "qxsapssf/qxsapssf_errors.h"

namespace qx {
namespace {

constexpr std::int64_t kUnitsPerSecond = 10'000'000;

bool toCalendar(const FILETIME& time, SYSTEMTIME& calendar) noexcept {
  if (FileTimeToSystemTime(&time, &calendar) == FALSE) {
    reportFailedCall("addToSignerResultList");
    return false;
  }
  return true;
}

}  // namespace

SigningTimeText::SigningTimeText(const FILETIME* signingTime,
                                 const FILETIME* timeStampTime) noexcept {
  if (signingTime != nullptr) {
    append(*signingTime, "");
  }
  if (timeStampTime != nullptr) {
    append(*timeStampTime, " extracted from timestamp");
  }
}

void SigningTimeText::append(const FILETIME& time, const char* suffix) noexcept {
  SYSTEMTIME utc{};
  SYSTEMTIME local{};
  FILETIME localTime{};
  if (!toCalendar(time, utc) || FileTimeToLocalFileTime(&time, &localTime) == FALSE ||
      !toCalendar(localTime, local)) {
    return;
  }
  // The NUL behind the first text parts it from the second, and counts.
  const std::size_t start = length_ == 0 ? 0 : length_ + 1;
  const int written = std::snprintf(
      text_.data() + start,
      text_.size() - start,
      "SigningTime= %02d/%02d/%04d %02d:%02d:%02d (UTCTime: %02d%02d%02d%02d%02d%02dZ)%s",
      local.wDay,
      local.wMonth,
      local.wYear,
      local.wHour,
      local.wMinute,
      local.wSecond,
      utc.wYear - 2000,
      utc.wMonth,
      utc.wDay,
      utc.wHour,
      utc.wMinute,
      utc.wSecond,
      suffix);
  length_ = start + static_cast<std::size_t>(written);
}

BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local) noexcept {
  const std::time_t now = std::time(nullptr);
  std::tm today{};
  static_cast<void>(localtime_r(&now, &today));
  tzset();
  std::int64_t secondsWest = timezone;
  if (today.tm_isdst > 0) {
    secondsWest -= 3600;
  }
  const std::uint64_t units = (std::uint64_t{utc->dwHighDateTime} << 32U | utc->dwLowDateTime) -
                              static_cast<std::uint64_t>(secondsWest * kUnitsPerSecond);
  local->dwLowDateTime = static_cast<DWORD>(units);
  local->dwHighDateTime = static_cast<DWORD>(units >> 32U);
  return TRUE;
}

}  // namespace qx
