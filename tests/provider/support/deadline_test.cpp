#include "provider/support/deadline.h"

#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include <gtest/gtest.h>

#include "provider/support/files.h"

namespace qx::deadline_test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

// Whoever waits for an end of this pipe waits for as long as the test wants.
class DeadlineTest : public ::testing::Test {
 protected:
  DeadlineTest() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    reading_ = Fd(ends[0]);
    writing_ = Fd(ends[1]);
  }

  void say() const { EXPECT_EQ(write(writing_.get(), "x", 1), 1); }

  Fd reading_;
  Fd writing_;
};

TEST_F(DeadlineTest, HasNothingLeftWhenItIsOver) {
  for (const milliseconds timeout : {milliseconds(0), milliseconds(-1), milliseconds(-100'000)}) {
    const Deadline over(timeout);
    EXPECT_TRUE(over.passed());
    EXPECT_EQ(over.left(), milliseconds(0));
  }
}

TEST_F(DeadlineTest, LeavesAtMostWhatItWasGiven) {
  const Deadline deadline(hours(1));
  const milliseconds first = deadline.left();
  const milliseconds second = deadline.left();
  EXPECT_FALSE(deadline.passed());
  EXPECT_LE(first, hours(1));
  EXPECT_LE(second, first);
  EXPECT_GT(second, milliseconds(0));
}

TEST_F(DeadlineTest, NeverLeavesAPartOfAMillisecond) {
  // Rounded down it would be a wait of none that is repeated until the time is over.
  const Deadline deadline(milliseconds(1));
  EXPECT_TRUE(deadline.left() == milliseconds(1) || deadline.passed());
}

TEST_F(DeadlineTest, SeesWhatIsThere) {
  say();
  EXPECT_TRUE(Deadline(hours(1)).waitFor(reading_.get(), POLLIN));
  EXPECT_TRUE(Deadline(hours(1)).waitFor(writing_.get(), POLLOUT));
}

TEST_F(DeadlineTest, SeesWhatIsThereEvenWhenItIsOver) {
  say();
  EXPECT_TRUE(Deadline(milliseconds(0)).waitFor(reading_.get(), POLLIN));
}

TEST_F(DeadlineTest, EndsWhenNothingComes) {
  EXPECT_FALSE(Deadline(milliseconds(0)).waitFor(reading_.get(), POLLIN));
  EXPECT_FALSE(Deadline(milliseconds(5)).waitFor(reading_.get(), POLLIN));
}

TEST_F(DeadlineTest, TakesTheEndOfTheOtherSideForNews) {
  writing_.reset();
  EXPECT_TRUE(Deadline(hours(1)).waitFor(reading_.get(), POLLIN));
}

TEST_F(DeadlineTest, DoesNotWaitForWhatIsClosed) {
  const int number = reading_.get();
  reading_.reset();
  EXPECT_TRUE(Deadline(hours(1)).waitFor(number, POLLIN)) << "whoever reads next sees the error";
}

TEST_F(DeadlineTest, WaitsLongerThanOneCallCan) {
  say();
  // Fifty days are more milliseconds than poll() counts.
  EXPECT_TRUE(Deadline(hours(24 * 50)).waitFor(reading_.get(), POLLIN));
  EXPECT_GT(Deadline(hours(24 * 50)).left().count(), std::numeric_limits<int>::max());
}

// The signal's handler takes no argument of ours.
volatile int signals = 0;
int writingEnd = -1;

void onAlarm(int /*signal*/) {
  signals = signals + 1;
  if (signals == 3) {
    static_cast<void>(write(writingEnd, "x", 1) == 1);
  }
}

TEST_F(DeadlineTest, GoesOnWaitingBehindASignal) {
  struct sigaction action{};
  action.sa_handler = onAlarm;
  ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
  writingEnd = writing_.get();
  const timeval millisecond{.tv_sec = 0, .tv_usec = 1000};
  const itimerval timer{.it_interval = millisecond, .it_value = millisecond};
  ASSERT_EQ(setitimer(ITIMER_REAL, &timer, nullptr), 0);
  EXPECT_TRUE(Deadline(hours(1)).waitFor(reading_.get(), POLLIN));
  const itimerval none{};
  ASSERT_EQ(setitimer(ITIMER_REAL, &none, nullptr), 0);
  EXPECT_GE(signals, 3);
}

}  // namespace
}  // namespace qx::deadline_test
