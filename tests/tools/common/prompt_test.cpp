#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/common/terminal_user.h"
#include "tests/tools/common/throws.h"
#include "tools/common/pin.h"
#include "tools/common/tool.h"

namespace qx::tools::prompt_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Kind = PinSource::Kind;
using Reader = Secret (*)(const PinSource&, const std::string&, Report&);

// What became of a question: "pin <what was typed>", or "refused <exit code> <text>".
std::string outcome(Reader read) {
  Report report("tool");
  try {
    const Secret pin = read({.kind = Kind::Prompt}, "PIN of X", report);
    return "pin " + std::string(pin.text());
  } catch (const ToolError& error) {
    return "refused " + std::to_string(static_cast<int>(error.code())) + " " + error.what();
  }
}

class PinPrompt : public ::testing::Test {
 protected:
  void ask(Reader read = readPin) {
    user_.start([read] { return outcome(read); });
    ASSERT_TRUE(user_.sees("PIN of X: ")) << user_.shown();
  }

  // Asks once and gives the outcome of these keys.
  std::string answered(const std::string& keys) {
    ask();
    user_.types(keys);
    return user_.end();
  }

  TerminalUser user_;
};

TEST_F(PinPrompt, TakesALineWithoutShowingIt) {
  EXPECT_EQ(answered("47 11\n"), "pin 47 11");
  EXPECT_EQ(user_.shown(), "PIN of X: \r\n");
}

TEST_F(PinPrompt, EchoesNothingWhileItAsksAndEverythingAfterwards) {
  ASSERT_TRUE(user_.hasLocalFlags(ECHO | ISIG));
  ask();
  EXPECT_FALSE(user_.hasLocalFlags(ECHO));
  user_.types("4711\n");
  EXPECT_EQ(user_.end(), "pin 4711");
  EXPECT_TRUE(user_.hasLocalFlags(ECHO | ISIG));
}

TEST_F(PinPrompt, LetsTheUserCorrect) {
  EXPECT_EQ(answered("4712\x7f\x31\n"), "pin 4711");
}

TEST_F(PinPrompt, LetsTheUserBeginAgain) {
  EXPECT_EQ(answered("wrong\x15right\n"), "pin right");
}

TEST_F(PinPrompt, TakesAnEmptyLineForAnEmptyPin) {
  EXPECT_EQ(answered("\n"), "pin ");
}

TEST_F(PinPrompt, TakesTheEndOfTheInputForAnEmptyPin) {
  EXPECT_EQ(answered("\x04"), "pin ");
}

TEST_F(PinPrompt, TakesTheReturnKeyForTheEndOfTheLine) {
  EXPECT_EQ(answered("4711\r"), "pin 4711");
}

TEST_F(PinPrompt, TakesLettersOfAnyScript) {
  EXPECT_EQ(answered("пин€\n"), "pin пин€");
}

TEST_F(PinPrompt, RefusesALineThatNoPinIsAsLongAs) {
  const std::string result = answered(std::string(1100, '7') + "\n");
  EXPECT_EQ(result, "refused 5 terminal: a PIN has at most 1024 bytes");
  EXPECT_TRUE(user_.hasLocalFlags(ECHO));
}

struct CancelCase {
  const char* name;
  const char* keys;
};

class PinPromptCancel : public PinPrompt, public ::testing::WithParamInterface<CancelCase> {};

INSTANTIATE_TEST_SUITE_P(Keys,
                         PinPromptCancel,
                         ::testing::Values(CancelCase{"AtOnce", "\x03"},
                                           CancelCase{"BehindDigits", "47\x03"},
                                           CancelCase{"BeforeMore", "47\x03rest\n"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(PinPromptCancel, ByControlCGivesNoPinAndLeavesTheTerminalInOrder) {
  EXPECT_EQ(answered(GetParam().keys), "refused 5 terminal: no PIN was given");
  EXPECT_TRUE(user_.hasLocalFlags(ECHO | ISIG | ICANON));
}

TEST_F(PinPrompt, AsksForALineWhereTheTerminalGaveSingleKeys) {
  user_.clearLocalFlags(ICANON);
  EXPECT_EQ(answered("4712\x7f\x31\n"), "pin 4711");
  EXPECT_FALSE(user_.hasLocalFlags(ICANON)) << "the settings are not what they were";
}

TEST_F(PinPrompt, StaysQuietWhereTheTerminalWasQuiet) {
  user_.clearLocalFlags(ECHO);
  EXPECT_EQ(answered("4711\n"), "pin 4711");
  EXPECT_FALSE(user_.hasLocalFlags(ECHO));
}

TEST_F(PinPrompt, DoesNotTakeWhatWasTypedBeforeItAsked) {
  user_.types("early\n");
  ASSERT_TRUE(user_.sees("early\r\n"));
  EXPECT_EQ(answered("4711\n"), "pin 4711");
}

TEST_F(PinPrompt, OfANewPinAsksTwice) {
  ask(readNewPin);
  user_.types("4711\n");
  ASSERT_TRUE(user_.sees("Once more, PIN of X: "));
  user_.types("4711\n");
  EXPECT_EQ(user_.end(), "pin 4711");
  EXPECT_THAT(user_.shown(), Not(HasSubstr("4711")));
}

TEST_F(PinPrompt, OfANewPinRefusesTwoThatDiffer) {
  ask(readNewPin);
  user_.types("4711\n");
  ASSERT_TRUE(user_.sees("Once more, "));
  user_.types("4712\n");
  EXPECT_EQ(user_.end(), "refused 1 the two PINs differ");
  EXPECT_TRUE(user_.hasLocalFlags(ECHO));
}

TEST_F(PinPrompt, OfANewPinIsQuietBetweenItsQuestions) {
  ask(readNewPin);
  user_.types("4711\n");
  ASSERT_TRUE(user_.sees("Once more, "));
  EXPECT_FALSE(user_.hasLocalFlags(ECHO));
  user_.types("\x03");
  EXPECT_EQ(user_.end(), "refused 5 terminal: no PIN was given");
}

TEST_F(PinPrompt, IsRefusedWithoutATerminal) {
  user_.start([this] {
    std::signal(SIGHUP, SIG_IGN);
    return ioctl(user_.terminal(), TIOCNOTTY) == 0 ? outcome(readPin)
                                                   : "has no terminal to give up";
  });
  EXPECT_EQ(user_.end(),
            "refused 5 PIN of X: there is no terminal to ask at; name a file or another source for "
            "it");
  EXPECT_EQ(user_.shown(), "");
}

// Standard output is a terminal while the object lives.
class StandardOutput {
 public:
  explicit StandardOutput(int fd) : before_(dup(STDOUT_FILENO)) { dup2(fd, STDOUT_FILENO); }

  ~StandardOutput() { dup2(before_.get(), STDOUT_FILENO); }

  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;
  StandardOutput(StandardOutput&&) = delete;
  StandardOutput& operator=(StandardOutput&&) = delete;

 private:
  Descriptor before_;
};

TEST(TerminalOutput, TakesTextButNoBytes) {
  const TerminalUser user;
  const StandardOutput output(user.terminal());
  Tool tool("tool", "A tool");
  expectRefusal([&] { tool.claimOutput("-", Tool::Content::Binary); },
                ExitCode::Usage,
                ::testing::StrEq("a terminal cannot show this; use --output FILE"));
  EXPECT_NO_THROW(tool.claimOutput("-", Tool::Content::Text));
  EXPECT_NO_THROW(tool.claimOutput("file", Tool::Content::Binary));
}

}  // namespace
}  // namespace qx::tools::prompt_test
