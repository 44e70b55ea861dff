#include "provider/chain/time_window.h"

#include <ctime>
#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace qx::time_window_test {
namespace {

constexpr std::time_t kNow = 1'000'000;
constexpr std::time_t kFirst = std::numeric_limits<std::time_t>::min();
constexpr std::time_t kLast = std::numeric_limits<std::time_t>::max();

TimeWindow windowOf(const std::vector<std::time_t>& boundaries) {
  TimeWindow window(kNow);
  for (const std::time_t boundary : boundaries) {
    window.narrow(boundary);
  }
  return window;
}

TEST(TimeWindow, IsAllOfTimeWithoutBoundaries) {
  for (const std::time_t moment : {kFirst, std::time_t{0}, kNow, kLast - 1}) {
    EXPECT_TRUE(windowOf({}).contains(moment)) << moment;
  }
}

TEST(TimeWindow, BeginsAtABoundaryOfThePast) {
  const TimeWindow window = windowOf({kNow - 10});
  EXPECT_FALSE(window.contains(kNow - 11));
  EXPECT_TRUE(window.contains(kNow - 10));
  EXPECT_TRUE(window.contains(kLast - 1));
}

TEST(TimeWindow, EndsBeforeABoundaryOfTheFuture) {
  const TimeWindow window = windowOf({kNow + 10});
  EXPECT_TRUE(window.contains(kFirst));
  EXPECT_TRUE(window.contains(kNow + 9));
  EXPECT_FALSE(window.contains(kNow + 10));
}

// What begins to hold at this very second holds now.
TEST(TimeWindow, CountsABoundaryOfThisMomentAsPast) {
  const TimeWindow window = windowOf({kNow});
  EXPECT_TRUE(window.contains(kNow));
  EXPECT_FALSE(window.contains(kNow - 1));
  EXPECT_TRUE(window.contains(kNow + 1));
}

TEST(TimeWindow, KeepsTheNearestBoundaryOfEachSideInAnyOrder) {
  const std::vector<std::vector<std::time_t>> orders = {
      {kNow - 5, kNow - 50, kNow + 7, kNow + 70},
      {kNow - 50, kNow - 5, kNow + 70, kNow + 7},
      {kNow + 70, kNow - 5, kNow + 7, kNow - 50},
  };
  for (const std::vector<std::time_t>& order : orders) {
    const TimeWindow window = windowOf(order);
    EXPECT_FALSE(window.contains(kNow - 6));
    EXPECT_TRUE(window.contains(kNow - 5));
    EXPECT_TRUE(window.contains(kNow + 6));
    EXPECT_FALSE(window.contains(kNow + 7));
  }
}

TEST(TimeWindow, AlwaysContainsTheMomentThatItIsAround) {
  for (std::time_t boundary = kNow - 100; boundary <= kNow + 100; ++boundary) {
    EXPECT_TRUE(windowOf({boundary}).contains(kNow)) << boundary;
  }
  EXPECT_TRUE(windowOf({kFirst, kLast, kNow, kNow + 1}).contains(kNow));
}

TEST(TimeWindow, MayBeASingleSecond) {
  const TimeWindow window = windowOf({kNow, kNow + 1});
  EXPECT_FALSE(window.contains(kNow - 1));
  EXPECT_TRUE(window.contains(kNow));
  EXPECT_FALSE(window.contains(kNow + 1));
}

}  // namespace
}  // namespace qx::time_window_test
