#include "provider/cades/stamp_check.h"

#include <deque>

#include <gtest/gtest.h>

#include "provider/chain/time_window.h"
#include "tests/provider/cades/verify_world.h"

namespace qx::test::stamp_check_test {
namespace {

using std::chrono::seconds;

const Octets kStamped = octets("what is stamped");

// Stamps of one authority over the same bytes.
class StampCheck : public ::testing::Test {
 protected:
  const TimeStampToken& stamp(seconds offset, int accuracy = 1) {
    const Octets& encoded = encoded_.emplace_back(world.firstAuthority().token(
        lab::imprintOf(NID_sha256, kStamped), {}, {.offset = offset, .accuracySeconds = accuracy}));
    stamps.push_back(*TimeStampToken::read(encoded));
    return stamps.back();
  }

  DWORD proveError() { return proveStamps(stamps, {kStamped}, {}).error(); }

  VerifyWorld world;
  std::vector<TimeStampToken> stamps;

 private:
  std::deque<Octets> encoded_;
};

TEST_F(StampCheck, ProvesAllOfThem) {
  stamps.reserve(2);
  stamp(seconds(0));
  stamp(seconds(1));
  const Result<ProvedStamps> proved = proveStamps(stamps, {kStamped}, {});
  ASSERT_TRUE(proved);
  ASSERT_EQ(proved->size(), 2U);
  EXPECT_EQ(proved->back().token, &stamps.back());
  EXPECT_EQ(
      lab::toDer(world.firstAuthority().certificate()),
      Octets(proved->front().authority->der().begin(), proved->front().authority->der().end()));
}

TEST_F(StampCheck, HasNothingAgainstNone) {
  const Result<ProvedStamps> proved = proveStamps({}, {kStamped}, {});
  ASSERT_TRUE(proved);
  EXPECT_TRUE(proved->empty());
}

TEST_F(StampCheck, RefusesAllForOneOverSomethingElse) {
  stamp(seconds(0));
  EXPECT_EQ(proveStamps(stamps, {kStamped, kStamped}, {}).error(), TRUST_E_TIME_STAMP);
  EXPECT_EQ(proveStamps(stamps, {}, {}).error(), TRUST_E_TIME_STAMP);
}

// Where one part ends and the next begins makes no difference to what was stamped.
TEST_F(StampCheck, HashesThePartsAsOne) {
  stamp(seconds(0));
  const der::Bytes whole(kStamped);
  EXPECT_TRUE(proveStamps(stamps, {whole.first(4), whole.subspan(4)}, {}));
}

TEST_F(StampCheck, RefusesATimeOutsideTheAuthoritysDates) {
  stamp(-11 * 365 * lab::kDay);
  EXPECT_EQ(proveError(), CERT_E_EXPIRED);
}

TEST_F(StampCheck, RefusesATimeThatHasNotCome) {
  stamp(seconds(kClockSkew - 60));
  EXPECT_EQ(proveError(), ERROR_SUCCESS);
  stamps.clear();
  stamp(seconds(kClockSkew + 60), 300);
  EXPECT_EQ(proveError(), ERROR_SUCCESS);
  stamps.clear();
  stamp(seconds(kClockSkew + 60));
  EXPECT_EQ(proveError(), TRUST_E_TIME_STAMP);
}

TEST_F(StampCheck, FindsTheEarliest) {
  stamps.reserve(3);
  stamp(seconds(20));
  stamp(seconds(10));
  stamp(seconds(30));
  const Result<ProvedStamps> proved = proveStamps(stamps, {kStamped}, {});
  ASSERT_TRUE(proved);
  EXPECT_EQ(earliest(*proved).token, &stamps[1]);
}

TEST_F(StampCheck, GivesTheClocksTheirAccuracy) {
  stamps.reserve(4);
  const TimeStampToken& noon = stamp(seconds(0), 1);
  const TimeStampToken& minutePast = stamp(seconds(60), 1);
  const TimeStampToken& roughly = stamp(seconds(60), 70);
  EXPECT_TRUE(canFollow(noon, noon));
  EXPECT_TRUE(canFollow(minutePast, noon));
  EXPECT_FALSE(canFollow(noon, minutePast));
  EXPECT_TRUE(canFollow(noon, roughly));
  EXPECT_TRUE(canFollow(roughly, noon));
}

}  // namespace
}  // namespace qx::test::stamp_check_test
