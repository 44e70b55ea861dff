#include "tools/common/tool.h"

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/common/throws.h"

namespace qx::tools {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

class AnyTool : public ::testing::Test {
 protected:
  // Runs the command "work", whose work this is, and keeps what was printed.
  int run(const std::function<void()>& work, std::vector<const char*> arguments = {"work"}) {
    tool_.app.add_subcommand("work", "Work hard")->callback(work);
    arguments.insert(arguments.begin(), "tool");
    CaptureStdout();
    CaptureStderr();
    const int code = tool_.run(static_cast<int>(arguments.size()), arguments.data());
    static_cast<void>(std::fflush(stdout));
    out_ = GetCapturedStdout();
    err_ = GetCapturedStderr();
    return code;
  }

  Tool tool_{"tool", "A tool"};
  std::string out_;
  std::string err_;
};

TEST_F(AnyTool, RunsItsCommandAndReports) {
  EXPECT_EQ(run([this] { tool_.report.line("done"); }), 0);
  EXPECT_EQ(out_, "done\n");
  EXPECT_EQ(err_, "");
}

TEST_F(AnyTool, EndsWithTheCodeThatTheCommandSets) {
  EXPECT_EQ(run([this] { tool_.exit = ExitCode::NotTrusted; }), 4);
}

TEST_F(AnyTool, TakesJsonInFrontOfTheCommand) {
  EXPECT_EQ(run([] {}, {"--json", "work"}), 0);
  EXPECT_EQ(out_, "{}\n");
}

TEST_F(AnyTool, TakesJsonBehindTheCommand) {
  EXPECT_EQ(run([] {}, {"work", "--json"}), 0);
  EXPECT_EQ(out_, "{}\n");
}

TEST_F(AnyTool, TurnsARefusalIntoALineAndItsCode) {
  EXPECT_EQ(run([] { throw ToolError(ExitCode::Changed, "file: changed"); }), 3);
  EXPECT_EQ(err_, "tool: file: changed\n");
}

TEST_F(AnyTool, TellsARefusalInJsonToo) {
  EXPECT_EQ(run([] { throw ToolError(ExitCode::Key, "no key"); }, {"work", "--json"}), 5);
  EXPECT_EQ(nlohmann::json::parse(out_)["error"]["exitCode"], 5);
}

TEST_F(AnyTool, TurnsWantOfMemoryIntoAnInternalFault) {
  EXPECT_EQ(run([] { throw std::bad_alloc(); }), 7);
  EXPECT_THAT(err_, HasSubstr("memory"));
}

TEST_F(AnyTool, TurnsAnythingElseIntoAnInternalFault) {
  EXPECT_EQ(run([] { throw std::runtime_error("odd"); }), 7);
  EXPECT_EQ(err_, "tool: odd\n");
}

TEST_F(AnyTool, RefusesUnknownWordsWithAHint) {
  EXPECT_EQ(run([] {}, {"work", "--nonsense"}), 1);
  EXPECT_THAT(err_, AllOf(HasSubstr("--nonsense"), HasSubstr("tool work --help")));
}

TEST_F(AnyTool, NamesAWordThatIsNoCommand) {
  EXPECT_EQ(run([] {}, {"wrok"}), 1);
  EXPECT_EQ(err_, "tool: there is no command wrok (tool --help tells more)\n");
}

TEST_F(AnyTool, WantsACommand) {
  EXPECT_EQ(run([] {}, {}), 1);
  EXPECT_THAT(err_, HasSubstr("tool --help"));
}

TEST_F(AnyTool, Helps) {
  EXPECT_EQ(run([] {}, {"--help"}), 0);
  EXPECT_THAT(out_, HasSubstr("Work hard"));
  EXPECT_EQ(err_, "");
}

TEST_F(AnyTool, WritesContentToAFileWithoutFurtherAdo) {
  EXPECT_NO_THROW(tool_.claimOutput("file", Tool::Content::Binary));
}

TEST_F(AnyTool, RefusesContentAndJsonOnOneStream) {
  tool_.report.asJson();
  expectRefusal([&] { tool_.claimOutput("-", Tool::Content::Binary); },
                ExitCode::Usage,
                HasSubstr("--output"));
}

TEST_F(AnyTool, ReportsOnStandardErrorWhenContentGoesToStandardOutput) {
  EXPECT_EQ(run([this] {
              tool_.claimOutput("-", Tool::Content::Text);
              tool_.report.line("done");
            }),
            0);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_, "done\n");
}

}  // namespace
}  // namespace qx::tools
