#include <cstdint>
#include <ctime>
#include <random>

#include <gtest/gtest.h>

#include "platform/errors.h"
#include "platform/strings.h"

namespace qx::test::times_test {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kSecondsTo1970 = 11'644'473'600;

FILETIME fileTime(std::uint64_t ticks) {
  return {.dwLowDateTime = static_cast<DWORD>(ticks),
          .dwHighDateTime = static_cast<DWORD>(ticks >> 32U)};
}

std::uint64_t ticksOf(const FILETIME& time) {
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32U | time.dwLowDateTime;
}

TEST(Times, AgreeWithTheCLibraryOverTheWholeRange) {
  std::mt19937_64 random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same samples each time
  std::uniform_int_distribution<std::uint64_t> anyTime(0, (std::uint64_t{1} << 63U) - 1);
  for (int i = 0; i < 20'000; ++i) {
    const std::uint64_t ticks = anyTime(random);
    const FILETIME file = fileTime(ticks);
    SYSTEMTIME shown{};
    ASSERT_EQ(FileTimeToSystemTime(&file, &shown), TRUE);
    const auto seconds = static_cast<std::time_t>((ticks / kTicksPerSecond) - kSecondsTo1970);
    std::tm calendar{};
    gmtime_r(&seconds, &calendar);
    ASSERT_EQ(shown.wYear, calendar.tm_year + 1900);
    ASSERT_EQ(shown.wMonth, calendar.tm_mon + 1);
    ASSERT_EQ(shown.wDay, calendar.tm_mday);
    ASSERT_EQ(shown.wDayOfWeek, calendar.tm_wday);
    ASSERT_EQ(shown.wHour, calendar.tm_hour);
    ASSERT_EQ(shown.wMinute, calendar.tm_min);
    ASSERT_EQ(shown.wSecond, calendar.tm_sec);
    ASSERT_EQ(shown.wMilliseconds, ticks / 10'000 % 1000);
  }
}

TEST(Times, ComeBackToTheMillisecond) {
  std::mt19937_64 random(2);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same samples each time
  // The last millisecond of 30827, the last year that both directions know.
  std::uniform_int_distribution<std::uint64_t> anyTime(0, 922'337'203'685'477);
  constexpr std::uint64_t kTicksPerMillisecond = 10'000;
  for (int i = 0; i < 20'000; ++i) {
    const std::uint64_t ticks = anyTime(random) * kTicksPerMillisecond / 2;
    const FILETIME file = fileTime(ticks);
    SYSTEMTIME shown{};
    FILETIME back{};
    ASSERT_EQ(FileTimeToSystemTime(&file, &shown), TRUE);
    shown.wDayOfWeek = 99;
    ASSERT_EQ(SystemTimeToFileTime(&shown, &back), TRUE);
    ASSERT_EQ(ticksOf(back), ticks / kTicksPerMillisecond * kTicksPerMillisecond);
  }
}

TEST(Times, BeginIn1601OnAMonday) {
  const FILETIME file{};
  SYSTEMTIME shown{};
  ASSERT_EQ(FileTimeToSystemTime(&file, &shown), TRUE);
  EXPECT_EQ(shown.wYear, 1601);
  EXPECT_EQ(shown.wMonth, 1);
  EXPECT_EQ(shown.wDay, 1);
  EXPECT_EQ(shown.wDayOfWeek, 1);
}

TEST(Times, EndWhereTheSignBitBegins) {
  FILETIME file = fileTime(std::uint64_t{1} << 63U);
  SYSTEMTIME shown{};
  EXPECT_EQ(FileTimeToSystemTime(&file, &shown), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  file = fileTime((std::uint64_t{1} << 63U) - 1);
  EXPECT_EQ(FileTimeToSystemTime(&file, &shown), TRUE);
  EXPECT_EQ(shown.wYear, 30828);
}

TEST(Times, RefuseDatesThatDoNotExist) {
  const SYSTEMTIME good = {
      .wYear = 2024, .wMonth = 2, .wDay = 29, .wHour = 23, .wMinute = 59, .wSecond = 59};
  FILETIME file{};
  EXPECT_EQ(SystemTimeToFileTime(&good, &file), TRUE);
  const auto refused = [&](auto change) {
    SYSTEMTIME bad = good;
    change(bad);
    SetLastError(ERROR_SUCCESS);
    return SystemTimeToFileTime(&bad, &file) == FALSE && GetLastError() == ERROR_INVALID_PARAMETER;
  };
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wDay = 30; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wYear = 2023; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wYear = 2100; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wYear = 1600; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wYear = 30828; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wMonth = 0; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wMonth = 13; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wDay = 0; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wHour = 24; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wMinute = 60; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wSecond = 60; }));
  EXPECT_TRUE(refused([](SYSTEMTIME& t) { t.wMilliseconds = 1000; }));
}

TEST(Times, RefuseNullPointers) {
  FILETIME file{};
  SYSTEMTIME shown{};
  EXPECT_EQ(FileTimeToSystemTime(nullptr, &shown), FALSE);
  EXPECT_EQ(FileTimeToSystemTime(&file, nullptr), FALSE);
  EXPECT_EQ(SystemTimeToFileTime(nullptr, &file), FALSE);
  EXPECT_EQ(SystemTimeToFileTime(&shown, nullptr), FALSE);
}

}  // namespace
}  // namespace qx::test::times_test
