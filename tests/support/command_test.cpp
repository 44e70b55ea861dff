#include "tests/support/command.h"

#include <csignal>
#include <string>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace qx::test::command_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(RunCommand, KeepsOutputAndErrorApartAndGivesTheExitCode) {
  const CommandResult result = run({"sh", "-c", "echo good; echo bad >&2; exit 7"});
  EXPECT_EQ(result.out, "good\n");
  EXPECT_EQ(result.err, "bad\n");
  EXPECT_EQ(result.exitCode, 7);
}

TEST(RunCommand, GivesASignalAsAShellDoes) {
  EXPECT_EQ(run({"sh", "-c", "kill -TERM $$"}).exitCode, 128 + SIGTERM);
}

TEST(RunCommand, HandsArgumentsOnUnchanged) {
  const CommandResult result = run({"printf", "%s|", "two words", "$HOME", "*", ""});
  EXPECT_EQ(result.out, "two words|$HOME|*||");
}

TEST(RunCommand, FeedsMoreInputThanAPipeHolds) {
  const Command command{.arguments = {"wc", "-c"}, .input = std::string(3'000'000, 'x')};
  EXPECT_THAT(run(command).out, HasSubstr("3000000"));
}

TEST(RunCommand, OutlivesAProgramThatDoesNotReadItsInput) {
  const Command command{.arguments = {"true"}, .input = std::string(3'000'000, 'x')};
  EXPECT_EQ(run(command).exitCode, 0);
}

TEST(RunCommand, KeepsBinaryOutputWhole) {
  const std::string bytes("\0\1\n\xff", 4);
  const Command command{.arguments = {"cat"}, .input = bytes};
  EXPECT_EQ(run(command).out, bytes);
}

TEST(RunCommand, SetsAndRemovesEnvironmentVariables) {
  ASSERT_EQ(setenv("QX_COMMAND_TEST", "inherited", 1), 0);
  Command command{.arguments = {"sh", "-c", "echo ${QX_COMMAND_TEST-none} $QX_COMMAND_MORE"}};
  EXPECT_EQ(run(command).out, "inherited\n");
  command.environment = {{"QX_COMMAND_TEST", ""}, {"QX_COMMAND_MORE", "more"}};
  EXPECT_EQ(run(command).out, "none more\n");
  unsetenv("QX_COMMAND_TEST");
}

TEST(RunCommand, RunsInTheFolderThatItIsGiven) {
  const TempDir folder;
  const Command command{.arguments = {"pwd"}, .folder = folder.path()};
  EXPECT_EQ(run(command).out, folder.path() + "\n");
}

TEST(RunCommand, PassesFurtherDescriptors) {
  const Command command{.arguments = {"sh", "-c", "cat <&5; cat <&7"},
                        .descriptors = {{5, "five"}, {7, "seven"}}};
  EXPECT_EQ(run(command).out, "fiveseven");
}

TEST(RunCommand, GivesNoTerminalUnlessAsked) {
  EXPECT_NE(run({"sh", "-c", "exec 2>/dev/null; : </dev/tty"}).exitCode, 0);
}

TEST(RunCommand, TypesAtAControllingTerminal) {
  const Command command{
      .arguments = {"sh", "-c", "printf 'Name: ' >/dev/tty; read n </dev/tty; echo got $n"},
      .dialog = {{"Name: ", "somebody\n"}}};
  const CommandResult result = run(command);
  EXPECT_EQ(result.out, "got somebody\n");
  EXPECT_THAT(result.terminal, HasSubstr("Name: "));
}

TEST(RunCommand, ShowsWhatTheTerminalEchoed) {
  const Command command{.arguments = {"sh",
                                      "-c",
                                      "stty -echo </dev/tty; printf 'PIN: ' >/dev/tty;"
                                      "read n </dev/tty; echo $n"},
                        .dialog = {{"PIN: ", "4711\n"}}};
  const CommandResult result = run(command);
  EXPECT_EQ(result.out, "4711\n");
  EXPECT_THAT(result.terminal, Not(HasSubstr("4711")));
}

TEST(RunCommand, ThrowsWhenAnAwaitedTextNeverComes) {
  const Command command{.arguments = {"true"}, .dialog = {{"Name: ", "x\n"}}};
  EXPECT_THROW(run(command), std::runtime_error);
}

TEST(RunCommand, ThrowsWhenThereIsNoSuchProgram) {
  EXPECT_THROW(run({"/nonexistent/program"}), std::system_error);
}

}  // namespace
}  // namespace qx::test::command_test
