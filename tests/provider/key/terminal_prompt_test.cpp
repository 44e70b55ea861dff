#include <fcntl.h>
#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/prompt.h"
#include "provider/support/files.h"
#include "tests/provider/key/key_environment.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/common/terminal_user.h"

namespace qx::terminal_prompt_test {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::Not;
using tools::TerminalUser;

constexpr milliseconds kLong{20000};

std::string outcome(const Result<SecretBytes>& pin) {
  return pin ? "pin " + std::string(pin->text()) : "failed " + std::to_string(pin.error());
}

const std::string kCancelled = "failed " + std::to_string(SCARD_W_CANCELLED_BY_USER);
const std::string kImpossible = "failed " + std::to_string(NTE_SILENT_CONTEXT);

// A process of the host asks; the test is the user.
class TerminalQuestion : public ::testing::Test {
 protected:
  void ask(const std::string& what = "CN=Somebody", milliseconds timeout = kLong) {
    user_.start([what, timeout] { return outcome(askOnTerminal("/dev/tty", what, timeout)); });
  }

  // Asks and gives the outcome of these keys.
  std::string answered(const std::string& keys) {
    ask();
    EXPECT_TRUE(user_.sees("PIN (CN=Somebody): "));
    user_.types(keys);
    return user_.end();
  }

  TerminalUser user_;
};

TEST_F(TerminalQuestion, TakesAPinOfAnyScriptAndBlanks) {
  EXPECT_EQ(answered(" пин 4711 \n"), "pin  пин 4711 ");
}

TEST_F(TerminalQuestion, TakesALongPinWhole) {
  EXPECT_EQ(answered(std::string(1000, '7') + "\n"), "pin " + std::string(1000, '7'));
}

TEST_F(TerminalQuestion, IsCancelledByALineThatNoPinIsAsLongAs) {
  EXPECT_EQ(answered(std::string(1100, '7') + "\n"), kCancelled);
  EXPECT_TRUE(user_.hasLocalFlags(ECHO | ISIG));
  EXPECT_THAT(user_.shown(), Not(HasSubstr("777")));
}

TEST_F(TerminalQuestion, DoesNotTakeWhatWasTypedBeforeIt) {
  user_.types("early\n");
  ASSERT_TRUE(user_.sees("early\r\n"));
  EXPECT_EQ(answered("4711\n"), "pin 4711");
}

TEST_F(TerminalQuestion, IsAskedInLinesWhereTheTerminalGaveSingleKeys) {
  user_.clearLocalFlags(ICANON | ECHO);
  EXPECT_EQ(answered("4712\x7f\x31\n"), "pin 4711");
  EXPECT_FALSE(user_.hasLocalFlags(ICANON));
  EXPECT_FALSE(user_.hasLocalFlags(ECHO));
}

TEST_F(TerminalQuestion, TakesQuitAndStopForLettersAndNotForSignals) {
  EXPECT_EQ(answered("a\x1c"
                     "b\x1a"
                     "c\n"),
            "pin a\x1c"
            "b\x1a"
            "c");
}

TEST_F(TerminalQuestion, ShowsNoControlCharactersOfASubject) {
  ask("CN=a\x1b[2J\nroot password: \r\xc2\x9b");
  ASSERT_TRUE(user_.sees("): "));
  user_.types("\n");
  EXPECT_EQ(user_.end(), kCancelled);
  EXPECT_THAT(user_.shown(), HasSubstr("PIN (CN=a\\x1B[2J\\nroot password: \\r\\xC2\\x9B): "));
  EXPECT_THAT(user_.shown(), Not(HasSubstr("\x1b")));
}

TEST_F(TerminalQuestion, WaitsForWhoeverAsksAlreadyAndEndsInTime) {
  ASSERT_EQ(flock(user_.terminal(), LOCK_EX), 0);
  ask("CN=Second", milliseconds(20));
  EXPECT_EQ(user_.end(), kCancelled);
  EXPECT_THAT(user_.shown(), Not(HasSubstr("CN=Second"))) << "two questions stood on one terminal";
}

TEST_F(TerminalQuestion, ComesWhenTheOneBeforeItIsAnswered) {
  ASSERT_EQ(flock(user_.terminal(), LOCK_EX), 0);
  ask();
  ASSERT_EQ(flock(user_.terminal(), LOCK_UN), 0);
  ASSERT_TRUE(user_.sees("PIN (CN=Somebody): "));
  user_.types("4711\n");
  EXPECT_EQ(user_.end(), "pin 4711");
  EXPECT_EQ(flock(user_.terminal(), LOCK_EX | LOCK_NB), 0) << "the terminal is still locked";
}

TEST_F(TerminalQuestion, OnOneTerminalDoesNotWaitForOneOnAnother) {
  ask("CN=Absent");
  ASSERT_TRUE(user_.sees("PIN (CN=Absent): "));
  TerminalUser other;
  other.start([] { return outcome(askOnTerminal("/dev/tty", "CN=Present", kLong)); });
  ASSERT_TRUE(other.sees("PIN (CN=Present): "));
  other.types("4711\n");
  EXPECT_EQ(other.end(), "pin 4711");
  user_.types("\n");
  EXPECT_EQ(user_.end(), kCancelled);
}

TEST_F(TerminalQuestion, IsAskedThoughSomebodyHoldsTheFileOfAllTerminals) {
  // A process that has a terminal holds the lock of "/dev/tty" all the time.
  TerminalUser holder;
  holder.start([] {
    const Fd tty(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    const bool held = tty && flock(tty.get(), LOCK_EX) == 0;
    char byte = 0;
    static_cast<void>(write(tty.get(), "held", 4) == 4 && read(tty.get(), &byte, 1) == 1);
    return std::string(held ? "held" : "not held");
  });
  ASSERT_TRUE(holder.sees("held"));
  EXPECT_EQ(answered("4711\n"), "pin 4711");
  holder.types("\n");
  EXPECT_EQ(holder.end(), "held");
}

TEST_F(TerminalQuestion, IsNotAskedFromTheBackground) {
  user_.start([] {
    int told[2];
    if (pipe(told) != 0) {
      return std::string("no pipe");
    }
    if (fork() == 0) {
      setpgid(0, 0);
      const std::string result = outcome(askOnTerminal("/dev/tty", "CN=Somebody", kLong));
      _exit(write(told[1], result.data(), result.size()) < 0 ? 1 : 0);
    }
    close(told[1]);
    char buffer[128];
    const ssize_t got = read(told[0], buffer, sizeof buffer);
    return std::string(buffer, static_cast<std::size_t>(got > 0 ? got : 0));
  });
  EXPECT_EQ(user_.end(), kImpossible) << "who asks from the background is stopped by the system";
  EXPECT_EQ(user_.shown(), "");
}

TEST_F(TerminalQuestion, LeavesNoTraceOfThePin) {
  const test::TraceSince trace;
  EXPECT_EQ(answered("secret-4711\n"), "pin secret-4711");
  EXPECT_THAT(trace.lines(), Not(HasSubstr("4711")));
}

// What a pinentry program is told of the terminal that it may ask on.
class PinentryTerminal : public ::testing::Test {
 protected:
  // The commands that a program gets from a host with these standard streams.
  static std::string commands(int input) {
    test::writePinentry("D 1234");
    unlink((test::pinentryPath() + ".log").c_str());
    TerminalUser host;
    host.start([input] {
      const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
      dup2(input >= 0 ? input : null, STDIN_FILENO);
      dup2(null, STDOUT_FILENO);
      dup2(null, STDERR_FILENO);
      return outcome(askPin("CN=Somebody"));
    });
    EXPECT_EQ(host.end(), "pin 1234");
    return test::readFile(test::pinentryPath() + ".log");
  }
};

TEST_F(PinentryTerminal, IsTheOneThatTheHostTalksTo) {
  const TerminalUser user;
  setenv("TERM", "vt100", 1);
  const std::string told = commands(user.terminal());
  char name[128];
  ASSERT_EQ(ttyname_r(user.terminal(), name, sizeof name), 0);
  EXPECT_THAT(told, HasSubstr("OPTION ttyname=" + std::string(name) + "\nOPTION ttytype=vt100\n"));
}

TEST_F(PinentryTerminal, IsElseTheOneThatTheEnvironmentNames) {
  setenv("GPG_TTY", "/dev/pts/4711", 1);
  EXPECT_THAT(commands(-1), HasSubstr("OPTION ttyname=/dev/pts/4711\n"));
}

TEST_F(PinentryTerminal, IsNotNamedWhereThereIsNone) {
  unsetenv("GPG_TTY");
  EXPECT_THAT(commands(-1), Not(HasSubstr("ttyname")));
}

}  // namespace
}  // namespace qx::terminal_prompt_test
