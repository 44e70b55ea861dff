#include "tools/common/tool.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/common/throws.h"
#include "tools/common/descriptor.h"

namespace qx::tools::tool_test {
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

TEST_F(AnyTool, TellsWhereMoreIsToldOfACommandThatWasMisused) {
  EXPECT_EQ(run([] { throw ToolError(ExitCode::Usage, "not so"); }), 1);
  EXPECT_EQ(err_, "tool: not so (tool work --help tells more)\n");
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

TEST_F(AnyTool, TellsAMistakeInTheArgumentsInJsonToo) {
  EXPECT_EQ(run([] {}, {"work", "--json", "--nonsense"}), 1);
  const nlohmann::json json = nlohmann::json::parse(out_);
  EXPECT_EQ(json["error"]["exitCode"], 1);
  EXPECT_THAT(json["error"]["message"].get<std::string>(), HasSubstr("--nonsense"));
  EXPECT_EQ(json.size(), 1U);
}

TEST_F(AnyTool, KeepsTheFactsOfACommandThatFailed) {
  EXPECT_EQ(run(
                [this] {
                  tool_.report.facts()["done"] = 1;
                  tool_.report.line("done 1");
                  throw ToolError(ExitCode::Service, "no answer");
                },
                {"work", "--json"}),
            6);
  const nlohmann::json json = nlohmann::json::parse(out_);
  EXPECT_EQ(json["done"], 1);
  EXPECT_EQ(json["error"]["message"], "no answer");
}

TEST_F(AnyTool, ShowsTheLinesOfACommandThatFailed) {
  EXPECT_EQ(run([this] {
              tool_.report.line("done 1");
              throw ToolError(ExitCode::Service, "no answer");
            }),
            6);
  EXPECT_EQ(out_, "done 1\n");
  EXPECT_EQ(err_, "tool: no answer\n");
}

TEST_F(AnyTool, RunsOneCommandOnly) {
  int runs = 0;
  tool_.app.add_subcommand("rest", "Rest")->callback([&] { ++runs; });
  EXPECT_EQ(run([&] { ++runs; }, {"work", "rest"}), 1);
  EXPECT_EQ(runs, 0);
}

TEST_F(AnyTool, HelpsWithACommandWithoutRunningIt) {
  bool ran = false;
  EXPECT_EQ(run([&] { ran = true; }, {"work", "--help"}), 0);
  EXPECT_THAT(out_, HasSubstr("Work hard"));
  EXPECT_FALSE(ran);
}

TEST_F(AnyTool, HelpsInWordsWhenJsonIsAskedForToo) {
  EXPECT_EQ(run([] {}, {"work", "--json", "-h"}), 0);
  EXPECT_THAT(out_, HasSubstr("Usage: tool work"));
}

TEST_F(AnyTool, ShowsNoControlCharacterOfARefusal) {
  EXPECT_EQ(run([] { throw ToolError(ExitCode::Input, "a\x1b[2J\nb"); }), 2);
  EXPECT_EQ(err_, "tool: a\\x1b[2J\\x0ab\n");
}

// What a tool prints goes to this device while the object lives.
class OutputTo {
 public:
  explicit OutputTo(const char* path) : before_(dup(STDOUT_FILENO)) {
    const Descriptor device(open(path, O_WRONLY | O_CLOEXEC));
    dup2(device.get(), STDOUT_FILENO);
  }

  ~OutputTo() {
    static_cast<void>(std::fflush(stdout));
    std::clearerr(stdout);
    dup2(before_.get(), STDOUT_FILENO);
  }

  OutputTo(const OutputTo&) = delete;
  OutputTo& operator=(const OutputTo&) = delete;
  OutputTo(OutputTo&&) = delete;
  OutputTo& operator=(OutputTo&&) = delete;

 private:
  Descriptor before_;
};

class LostReport : public ::testing::Test {
 protected:
  // The exit code when standard output takes nothing.
  int run(ExitCode exit, const std::string& line, std::vector<const char*> arguments) {
    Tool tool("tool", "A tool");
    tool.app.add_subcommand("work", "Work hard")->callback([&] {
      tool.exit = exit;
      if (!line.empty()) {
        tool.report.line(line);
      }
    });
    const OutputTo full("/dev/full");
    CaptureStderr();
    const int code = tool.run(static_cast<int>(arguments.size()), arguments.data());
    err_ = GetCapturedStderr();
    return code;
  }

  std::string err_;
};

TEST_F(LostReport, IsNoSuccess) {
  EXPECT_EQ(run(ExitCode::Good, "done", {"tool", "work"}), 2);
  EXPECT_EQ(err_, "tool: standard output: No space left on device\n");
}

TEST_F(LostReport, InJsonIsNoSuccess) {
  EXPECT_EQ(run(ExitCode::Good, "", {"tool", "work", "--json"}), 2);
}

TEST_F(LostReport, ThatIsLongerThanTheBufferIsNoSuccess) {
  EXPECT_EQ(run(ExitCode::Good, std::string(100'000, 'x'), {"tool", "work"}), 2);
  EXPECT_THAT(err_, HasSubstr("tool: standard output: "));
}

TEST_F(LostReport, OfHelpIsNoSuccess) {
  EXPECT_EQ(run(ExitCode::Good, "", {"tool", "--help"}), 2);
}

TEST_F(LostReport, LeavesTheCodeOfAFailure) {
  EXPECT_EQ(run(ExitCode::NotTrusted, "done", {"tool", "work"}), 4);
}

TEST_F(LostReport, ThatSaysNothingLosesNothing) {
  EXPECT_EQ(run(ExitCode::Good, "", {"tool", "work"}), 0);
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
}  // namespace qx::tools::tool_test
