#include "tests/journal/journal.h"

#include "tests/journal/road.h"

namespace qx::test::journal_test {
namespace {

class Journal : public testing::TestWithParam<NamedRoad> {
 protected:
  void TearDown() override {
    gConfig = Config();
    provider().reset();
  }
};

TEST_P(Journal, IsAsWritten) {
  const auto road = prepared(GetParam());
  const SAPRETURN code = road->run();
  std::vector<std::string> actual = journalSoFar();
  for (std::string& line : outcome(*road, code)) {
    actual.push_back(std::move(line));
  }
  EXPECT_EQ(difference(expectedJournal(GetParam().name), actual), "");
  EXPECT_THAT(provider().leftovers(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EveryRoad,
                         Journal,
                         testing::ValuesIn(allRoads()),
                         [](const auto& instance) { return instance.param.name; });

INSTANTIATE_TEST_SUITE_P(EveryRefusal,
                         Journal,
                         testing::ValuesIn(allRefusals()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace qx::test::journal_test
