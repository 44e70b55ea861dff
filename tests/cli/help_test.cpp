#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

// Whoever asks for help reads it on one screen: 80 columns, 24 lines for the tool, 40 for a command.

namespace qx::test::help_test {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kToolLines = 24;
constexpr std::size_t kCommandLines = 40;

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// The first words of the rows below "Subcommands:".
std::vector<std::string> commandsIn(const std::vector<std::string>& help) {
  std::vector<std::string> commands;
  auto row = std::ranges::find(help, "Subcommands:");
  for (; row != help.end() && !row->empty(); ++row) {
    if (row->starts_with("  ") && !row->starts_with("   ")) {
      commands.push_back(row->substr(2, row->find(' ', 2) - 2));
    }
  }
  return commands;
}

class ToolHelp : public CliTest, public ::testing::WithParamInterface<const char*> {
 protected:
  /// expectToFit looks at the help of a command and gives the commands below it.
  std::vector<Arguments> expectToFit(const Arguments& command) const {
    Arguments arguments = command;
    arguments.emplace_back("--help");
    const CommandResult told = start(arguments);
    EXPECT_EQ(told.exitCode, 0) << told.err;
    const std::vector<std::string> help = linesOf(told.out);
    EXPECT_LE(help.size(), command.size() == 1 ? kToolLines : kCommandLines) << told.out;
    for (const std::string& line : help) {
      EXPECT_LE(line.size(), kColumns) << line;
    }
    std::vector<Arguments> below;
    for (const std::string& name : commandsIn(help)) {
      below.push_back(command);
      below.back().push_back(name);
    }
    return below;
  }
};

INSTANTIATE_TEST_SUITE_P(Tools, ToolHelp, ::testing::Values("qxssf", "qxprovider"));

TEST_P(ToolHelp, OfEachCommandFitsAScreen) {
  std::vector<Arguments> commands = {{tool(GetParam())}};
  for (std::size_t i = 0; i < commands.size(); ++i) {
    for (const Arguments& below : expectToFit(commands[i])) {
      commands.push_back(below);
    }
  }
  EXPECT_GT(commands.size(), 10U);
}

}  // namespace
}  // namespace qx::test::help_test
