#include "tools/common/times.h"

#include <ctime>

#include <gtest/gtest.h>

namespace qx::tools::times_test {
namespace {

constexpr std::uint64_t kUnixEpoch = 116'444'736'000'000'000;
constexpr std::uint64_t kSecond = 10'000'000;

TEST(IsoTime, BeginsIn1601) {
  EXPECT_EQ(isoTime(0), "1601-01-01T00:00:00Z");
}

TEST(IsoTime, KnowsTheBeginningOfUnix) {
  EXPECT_EQ(isoTime(kUnixEpoch), "1970-01-01T00:00:00Z");
}

TEST(IsoTime, KnowsLeapDays) {
  EXPECT_EQ(isoTime(kUnixEpoch + 951'782'399 * kSecond), "2000-02-28T23:59:59Z");
  EXPECT_EQ(isoTime(kUnixEpoch + 951'782'400 * kSecond), "2000-02-29T00:00:00Z");
}

TEST(Ticks, CountFromTheBeginningOfUnixToo) {
  EXPECT_EQ(ticksOf(std::time_t{0}), kUnixEpoch);
  EXPECT_EQ(ticksOf(std::time_t{1}), kUnixEpoch + kSecond);
  EXPECT_EQ(ticksOf(std::time_t{-1}), kUnixEpoch - kSecond);
  EXPECT_EQ(ticksOf(std::time_t{-20'000'000'000}), 0U);
}

TEST(IsoTime, LeavesPartsOfASecondOut) {
  EXPECT_EQ(isoTime(kUnixEpoch + 1'794'762'221 * kSecond + kSecond - 1), "2026-11-15T17:03:41Z");
}

TEST(IsoTime, AgreesWithTheCLibraryOverTheCenturies) {
  // A prime number of seconds, so that every hour, minute and second comes up.
  constexpr std::uint64_t kStep = 7'654'321;
  for (std::uint64_t seconds = 0; seconds < 400'000'000'000 / 30; seconds += kStep) {
    const auto when = static_cast<std::time_t>(seconds) - 11'644'473'600;
    std::tm parts{};
    ASSERT_NE(gmtime_r(&when, &parts), nullptr);
    char text[64];
    ASSERT_GT(std::strftime(text, sizeof text, "%FT%TZ", &parts), 0U);
    ASSERT_EQ(isoTime(seconds * kSecond), text) << seconds;
  }
}

TEST(IsoTime, ReachesTheLastDayOfCertificatesAndOfTheTicks) {
  EXPECT_EQ(isoTime(2'650'467'743'999'999'999), "9999-12-31T23:59:59Z");
  EXPECT_EQ(isoTime(0x7FFFFFFFFFFFFFFF), "30828-09-14T02:48:05Z");
}

}  // namespace
}  // namespace qx::tools::times_test
