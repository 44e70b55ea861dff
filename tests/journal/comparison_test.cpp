#include <gtest/gtest.h>

#include "tests/journal/journal.h"

namespace qx::test::comparison_test {
namespace {

using Lines = std::vector<std::string>;

TEST(JournalComparison, FindsNothingBetweenEqualJournals) {
  EXPECT_EQ(difference({"a", "b"}, {"a", "b"}), "");
  EXPECT_EQ(difference({}, {}), "");
}

TEST(JournalComparison, TellsTheFirstLineThatDiffers) {
  const std::string text = difference({"a", "b"}, {"a", "c"});
  EXPECT_NE(text.find("line 2\n  expected: b\n  happened: c\n"), std::string::npos) << text;
}

TEST(JournalComparison, MissesALineAtTheEndOnEitherSide) {
  EXPECT_NE(difference({"a", "b"}, {"a"}).find("happened: (the end)"), std::string::npos);
  EXPECT_NE(difference({"a"}, {"a", "b"}).find("expected: (the end)"), std::string::npos);
}

TEST(JournalComparison, LetsAFloatingReleaseStandAnywhere) {
  EXPECT_EQ(difference({"~ Free(x)", "a"}, {"a", "Free(x)"}), "");
  EXPECT_EQ(difference({"a", "~ Free(x)"}, {"Free(x)", "a"}), "");
}

TEST(JournalComparison, WantsAFloatingReleaseExactlyOnce) {
  EXPECT_EQ(difference({"a", "~ Free(x)"}, {"a"}), "missing: ~ Free(x)\n");
  EXPECT_NE(difference({"a", "~ Free(x)"}, {"a", "Free(x)", "Free(x)"}), "");
}

TEST(JournalComparison, ShowsLineFeedsAndNuls) {
  EXPECT_EQ(visible(std::string("a\nb\0c", 5)), "a\\nb\\0c");
}

TEST(JournalFile, FillsInValuesAndTheirLengths) {
  EXPECT_EQ(expectedJournal("self"),
            (Lines{"ab 2 3 12", "second: a=b", "two of them: first and second"}));
}

}  // namespace
}  // namespace qx::test::comparison_test
