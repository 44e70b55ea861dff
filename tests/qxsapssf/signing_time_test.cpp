#include <cstdlib>
#include <ctime>

#include "qxsapssf/ssfxxmain_signing_time.h"
#include "tests/qxsapssf/operation.h"

namespace qx::test::signing_time_test {
namespace {

using namespace std::string_view_literals;
using scripted::fileTime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A time zone for the lifetime of a test.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
};

class SigningTimeTextTest : public OperationTest {
 protected:
  FILETIME signing = fileTime(2026, 11, 15, 17, 3, 41);
  FILETIME stamp = fileTime(2026, 11, 15, 17, 4, 5);
};

TEST_F(SigningTimeTextTest, TellsLocalTimeAndUtc) {
  const TimeZone zone("ABC-1");
  EXPECT_EQ(SigningTimeText(&signing, nullptr).view(),
            "SigningTime= 15/11/2026 18:03:41 (UTCTime: 261115170341Z)");
}

TEST_F(SigningTimeTextTest, MovesTheDateWithTheZone) {
  const TimeZone zone("ABC+18");
  EXPECT_EQ(SigningTimeText(&signing, nullptr).view(),
            "SigningTime= 14/11/2026 23:03:41 (UTCTime: 261115170341Z)");
}

TEST_F(SigningTimeTextTest, WritesTwoDigitsOfEverything) {
  const TimeZone zone("UTC0");
  const FILETIME time = fileTime(2003, 2, 1, 4, 5, 6);
  EXPECT_EQ(SigningTimeText(&time, nullptr).view(),
            "SigningTime= 01/02/2003 04:05:06 (UTCTime: 030201040506Z)");
}

TEST_F(SigningTimeTextTest, PartsTheTimesByOneNul) {
  const TimeZone zone("UTC0");
  EXPECT_EQ(SigningTimeText(&signing, &stamp).view(),
            "SigningTime= 15/11/2026 17:03:41 (UTCTime: 261115170341Z)\0"
            "SigningTime= 15/11/2026 17:04:05 (UTCTime: 261115170405Z) extracted from timestamp"sv);
}

TEST_F(SigningTimeTextTest, BeginsWithTheStampWhenThereIsNoSigningTime) {
  const TimeZone zone("UTC0");
  EXPECT_EQ(SigningTimeText(nullptr, &stamp).view(),
            "SigningTime= 15/11/2026 17:04:05 (UTCTime: 261115170405Z) extracted from timestamp");
}

TEST_F(SigningTimeTextTest, IsEmptyWithoutTimes) {
  EXPECT_EQ(SigningTimeText(nullptr, nullptr).view(), "");
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(SigningTimeTextTest, LeavesOutATimeThatNoCalendarShows) {
  const TimeZone zone("UTC0");
  provider().failFirst("FileTimeToSystemTime", 87);
  EXPECT_EQ(SigningTimeText(&signing, &stamp).view(),
            "SigningTime= 15/11/2026 17:04:05 (UTCTime: 261115170405Z) extracted from timestamp");
  EXPECT_THAT(provider().traceTexts(), ElementsAre(errorLine(87), errorText(87)));
}

TEST_F(SigningTimeTextTest, LeavesOutATimeWithoutLocalForm) {
  const TimeZone zone("UTC0");
  provider().failNth("FileTimeToSystemTime", 2, 87);
  EXPECT_EQ(SigningTimeText(&signing, nullptr).view(), "");
}

TEST_F(SigningTimeTextTest, HasRoomForTheLongestTimes) {
  const TimeZone zone("UTC0");
  const FILETIME far = {0xFFFFFFFF, 0x7FFFFFFF};
  const SigningTimeText text(&far, &far);
  EXPECT_EQ(text.view().find('\0'),
            (text.view().size() - 1 - " extracted from timestamp"sv.size()) / 2);
  EXPECT_TRUE(text.view().ends_with("Z) extracted from timestamp"));
}

std::int64_t unitsOf(const FILETIME& time) {
  return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime);
}

std::int64_t shift(const char* zoneName) {
  const TimeZone zone(zoneName);
  const FILETIME utc = fileTime(2026, 1, 1, 0, 0, 0);
  FILETIME local{};
  EXPECT_EQ(FileTimeToLocalFileTime(&utc, &local), TRUE);
  return (unitsOf(local) - unitsOf(utc)) / 10'000'000;
}

TEST(FileTimeToLocalFileTimeTest, MovesByTheOffsetOfTheZone) {
  EXPECT_EQ(shift("UTC0"), 0);
  EXPECT_EQ(shift("ABC-3"), 3 * 3600);
  EXPECT_EQ(shift("ABC5:30"), -((5 * 3600) + 1800));
}

TEST(FileTimeToLocalFileTimeTest, CountsDaylightSavingWhenItIsInForceNow) {
  // One zone saves daylight all the year but for the last minutes of it, the other never does now.
  EXPECT_EQ(shift("ABC-3ABD,0/0,J365/23:59"), 4 * 3600);
}

}  // namespace
}  // namespace qx::test::signing_time_test
