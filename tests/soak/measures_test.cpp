#include "tests/soak/measures.h"

#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::soak::measures_test {
namespace {

using ::testing::IsEmpty;

// Forty measures, of which each is `step` more than the one before it.
std::vector<Measure> rising(Measure first, Measure step) {
  std::vector<Measure> measures(40, first);
  for (std::size_t i = 1; i < measures.size(); ++i) {
    measures[i].residentKb = measures[i - 1].residentKb + step.residentKb;
    measures[i].descriptors = measures[i - 1].descriptors + step.descriptors;
  }
  return measures;
}

TEST(SoakMeasures, FindNoGrowthWhereNothingChanges) {
  const auto flat = rising({.residentKb = 50'000, .descriptors = 9}, {});
  EXPECT_THAT(memoryGrowth(flat), IsEmpty());
  EXPECT_THAT(descriptorGrowth(flat), IsEmpty());
}

TEST(SoakMeasures, FindMemoryThatRisesSlowly) {
  const auto measures = rising({.residentKb = 50'000}, {.residentKb = 250});
  EXPECT_EQ(memoryGrowth(measures), "resident memory grew from 53750 to 58750 KB");
}

TEST(SoakMeasures, AllowMemoryBothLeeways) {
  // Twenty steps lie between the medians.
  EXPECT_THAT(memoryGrowth(rising({.residentKb = 10'000}, {.residentKb = 200})), IsEmpty());
  EXPECT_THAT(memoryGrowth(rising({.residentKb = 200'000}, {.residentKb = 500})), IsEmpty());
  EXPECT_EQ(memoryGrowth(rising({.residentKb = 100'000}, {.residentKb = 300})),
            "resident memory grew from 104500 to 110500 KB");
}

TEST(SoakMeasures, FindASingleDescriptorThatStays) {
  auto measures = rising({.descriptors = 9}, {});
  for (std::size_t i = 25; i < measures.size(); ++i) {
    measures[i].descriptors = 10;
  }
  EXPECT_EQ(descriptorGrowth(measures), "open descriptors grew from 9 to 10");
}

TEST(SoakMeasures, OverlookWarmUpAndSinglePeaks) {
  auto measures = rising({.residentKb = 50'000, .descriptors = 9}, {});
  for (std::size_t i = 0; i < 10; ++i) {
    measures[i] = {.residentKb = 1'000, .descriptors = 3};
  }
  measures.back() = {.residentKb = 90'000, .descriptors = 20};
  EXPECT_THAT(memoryGrowth(measures), IsEmpty());
  EXPECT_THAT(descriptorGrowth(measures), IsEmpty());
}

TEST(SoakMeasures, CountWhatThisProcessHolds) {
  constexpr std::size_t kBytes = 32U << 20U;
  const Measure before = measureThisProcess();
  const std::vector<char> memory(kBytes, 'x');
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const Measure after = measureThisProcess();
  close(descriptor);

  EXPECT_EQ(after.descriptors, before.descriptors + 1);
  EXPECT_GE(after.residentKb - before.residentKb, static_cast<long>(memory.size() / 1024) - 1024);
}

}  // namespace
}  // namespace qx::soak::measures_test
