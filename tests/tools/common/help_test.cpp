#include "tools/common/help.h"

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::tools::help_test {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(folded(text));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string words(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text.append(i == 0 ? "" : " ").append("word");
  }
  return text;
}

TEST(Help, LeavesAloneWhatFits) {
  const std::string fits(kHelpWidth, 'x');
  EXPECT_EQ(folded(fits + "\n\n  row\n"), fits + "\n\n  row\n");
  EXPECT_EQ(folded(""), "");
}

TEST(Help, FoldsALineBetweenWords) {
  // Sixteen words of four letters with blanks between them take 79 columns.
  EXPECT_THAT(linesOf(words(40)), ElementsAre(words(16), words(16), words(8)));
}

TEST(Help, GoesOnInTheSecondColumnOfAList) {
  const std::string row = "  --option TEXT               ";
  const std::string blanks(30, ' ');
  EXPECT_THAT(linesOf(row + words(15)), ElementsAre(row + words(10), blanks + words(5)));
}

TEST(Help, FoldsAListOfChoicesBetweenThem) {
  const std::string option =
      "  --which TEXT:{" + std::string(40, 'a') + "," + std::string(20, 'b') + ",";
  const std::string last = std::string(20, 'c') + "}";
  EXPECT_THAT(linesOf(option + last), ElementsAre(option, std::string(30, ' ') + last));
}

TEST(Help, DoesNotBreakWords) {
  const std::string word(3 * kHelpWidth, 'x');
  EXPECT_THAT(linesOf(word), ElementsAre(word));
  EXPECT_THAT(linesOf("  " + word), ElementsAre("  " + word));
  EXPECT_THAT(linesOf(word + " y"), ElementsAre(word + " y"));
}

}  // namespace
}  // namespace qx::tools::help_test
