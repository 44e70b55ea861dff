#include "tools/common/times.h"

#include <gtest/gtest.h>

namespace qx::tools {
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

TEST(IsoTime, LeavesPartsOfASecondOut) {
  EXPECT_EQ(isoTime(kUnixEpoch + 1'794'762'221 * kSecond + kSecond - 1), "2026-11-15T17:03:41Z");
}

}  // namespace
}  // namespace qx::tools
