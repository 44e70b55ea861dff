#include <chrono>
#include <cstdint>
#include <ratio>

#include "platform/strings.h"

#include "provider/api.h"

namespace {

using qx::fail;
using qx::Result;
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

constexpr std::chrono::sys_days kEpoch = std::chrono::January / 1 / 1601;
constexpr WORD kLastYear = 30827;

Result<std::chrono::sys_days> dayOf(const SYSTEMTIME& time) {
  const std::chrono::year_month_day date{
      std::chrono::year(time.wYear), std::chrono::month(time.wMonth), std::chrono::day(time.wDay)};
  const bool badYear = time.wYear < 1601 || time.wYear > kLastYear;
  const bool badTime =
      time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999;
  if (badYear || badTime || !date.ok()) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return std::chrono::sys_days(date);
}

}  // namespace

BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, SYSTEMTIME* lpSystemTime) {
  return qx::apiBool([&]() -> Result<void> {
    constexpr DWORD kSignBit = 0x80000000U;
    if (lpFileTime == nullptr || lpSystemTime == nullptr ||
        (lpFileTime->dwHighDateTime & kSignBit) != 0) {
      return fail(ERROR_INVALID_PARAMETER);
    }
    const Ticks ticks(static_cast<std::int64_t>(lpFileTime->dwHighDateTime) << 32U |
                      lpFileTime->dwLowDateTime);
    const auto days = std::chrono::floor<std::chrono::days>(ticks);
    const std::chrono::year_month_day date(kEpoch + days);
    const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::milliseconds>(ticks - days));
    *lpSystemTime = {
        .wYear = static_cast<WORD>(static_cast<int>(date.year())),
        .wMonth = static_cast<WORD>(static_cast<unsigned>(date.month())),
        .wDayOfWeek = static_cast<WORD>(std::chrono::weekday(kEpoch + days).c_encoding()),
        .wDay = static_cast<WORD>(static_cast<unsigned>(date.day())),
        .wHour = static_cast<WORD>(clock.hours().count()),
        .wMinute = static_cast<WORD>(clock.minutes().count()),
        .wSecond = static_cast<WORD>(clock.seconds().count()),
        .wMilliseconds = static_cast<WORD>(clock.subseconds().count())};
    return {};
  });
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, FILETIME* lpFileTime) {
  return qx::apiBool([&]() -> Result<void> {
    if (lpSystemTime == nullptr || lpFileTime == nullptr) {
      return fail(ERROR_INVALID_PARAMETER);
    }
    const Result<std::chrono::sys_days> day = dayOf(*lpSystemTime);
    if (!day) {
      return day.failure();
    }
    const Ticks ticks = Ticks(*day - kEpoch) + std::chrono::hours(lpSystemTime->wHour) +
                        std::chrono::minutes(lpSystemTime->wMinute) +
                        std::chrono::seconds(lpSystemTime->wSecond) +
                        std::chrono::milliseconds(lpSystemTime->wMilliseconds);
    lpFileTime->dwLowDateTime = static_cast<DWORD>(ticks.count());
    lpFileTime->dwHighDateTime = static_cast<DWORD>(ticks.count() >> 32U);
    return {};
  });
}
