#include "tools/qxprovider/period.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/common/throws.h"

namespace qx::admin::period_test {
namespace {

using std::chrono::hours;
using ::testing::HasSubstr;
using tools::ExitCode;
using tools::expectRefusal;

TEST(Period, IsANumberWithItsUnit) {
  EXPECT_EQ(readPeriod("12h"), hours(12));
  EXPECT_EQ(readPeriod("30d"), hours(720));
  EXPECT_EQ(readPeriod("2w"), hours(336));
  EXPECT_EQ(readPeriod("0d"), hours(0));
}

TEST(Period, IsAtMostAHundredYears) {
  EXPECT_EQ(readPeriod("36500d"), kMaxPeriod);
  for (const char* text : {"36501d", "876001h", "5215w", "4294967295w"}) {
    expectRefusal([&] { readPeriod(text); }, ExitCode::Usage, HasSubstr("hundred years"));
  }
}

TEST(Period, IsNothingElse) {
  for (const char* text :
       {"", "d", "30", "30 d", "-1d", "+1d", "1.5d", "30dd", "30D", "4294967296d", "30m"}) {
    expectRefusal([&] { readPeriod(text); }, ExitCode::Usage, HasSubstr("is no period"));
  }
}

}  // namespace
}  // namespace qx::admin::period_test
