#include "provider/key/prompt.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/support/files.h"
#include "tests/provider/key/key_environment.h"
#include "tests/support/temp_dir.h"

namespace qx::prompt_test {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr milliseconds kLong{20000};

std::string textOf(const Result<SecretBytes>& pin) {
  return pin ? std::string(pin->text()) : "failed with " + std::to_string(pin.error());
}

class ProgramPrompt : public ::testing::Test {
 protected:
  Result<SecretBytes> ask(const std::string& script, milliseconds timeout = kLong) const {
    const std::string program = folder_.file("program");
    test::writeProgram(program, script);
    return askProgram(program, "CN=Somebody", timeout);
  }

  test::TempDir folder_;
};

TEST_F(ProgramPrompt, GivesThePinOfAPinentry) {
  test::writePinentry("D 1234");
  EXPECT_EQ(textOf(askProgram(test::pinentryPath(), "CN=Somebody", kLong)), "1234");
}

TEST_F(ProgramPrompt, TellsTheProgramWhichKeyIsMeant) {
  test::writePinentry("D 1234");
  ASSERT_TRUE(askProgram(test::pinentryPath(), "CN=100% \nSomebody\x1b[2J", kLong));
  const std::string log = test::readFile(test::pinentryPath() + ".log");
  EXPECT_THAT(log, HasSubstr("SETDESC CN=100%25 "));
  EXPECT_THAT(log, HasSubstr("Somebody"));
  EXPECT_THAT(log, Not(HasSubstr("\x1b")));
  EXPECT_THAT(log, Not(HasSubstr("\nSomebody")));
  EXPECT_THAT(log, HasSubstr("\nGETPIN\n"));
}

TEST_F(ProgramPrompt, DecodesThePin) {
  test::writePinentry("D a%25b%0Ac%zz%4");
  EXPECT_EQ(textOf(askProgram(test::pinentryPath(), "key", kLong)), "a%b\nc%zz%4");
}

TEST_F(ProgramPrompt, IsCancelledByTheUser) {
  test::writePinentry("ERR 83886179 Operation cancelled");
  EXPECT_EQ(askProgram(test::pinentryPath(), "key", kLong).error(), SCARD_W_CANCELLED_BY_USER);
}

TEST_F(ProgramPrompt, WithoutAPinIsCancelled) {
  test::writePinentry("S nothing");
  EXPECT_EQ(askProgram(test::pinentryPath(), "key", kLong).error(), SCARD_W_CANCELLED_BY_USER);
  test::writePinentry("D ");
  EXPECT_EQ(askProgram(test::pinentryPath(), "key", kLong).error(), SCARD_W_CANCELLED_BY_USER);
}

TEST_F(ProgramPrompt, EndsWhenItsTimeIsOver) {
  EXPECT_EQ(ask("echo OK; exec sleep 1000", milliseconds(50)).error(), SCARD_W_CANCELLED_BY_USER);
}

TEST_F(ProgramPrompt, EndsAProgramThatDoesNotGo) {
  const std::string pidFile = folder_.file("pid");
  const auto pin = ask("trap '' TERM HUP\necho $$ > " + pidFile + "\necho OK\n" +
                           "while read -r line; do case $line in GETPIN) echo D 1;; esac; echo OK; "
                           "done\nexec sleep 1000\n",
                       kLong);
  EXPECT_EQ(textOf(pin), "1");
  const int pid = std::stoi(test::readFile(pidFile));
  EXPECT_EQ(kill(pid, 0), -1);
}

TEST_F(ProgramPrompt, SurvivesAProgramThatGoesAtOnce) {
  EXPECT_EQ(ask("exit 0").error(), SCARD_W_CANCELLED_BY_USER);
  EXPECT_EQ(ask("echo OK; exec 0<&-; sleep 0.2; exit 1").error(), SCARD_W_CANCELLED_BY_USER);
}

TEST_F(ProgramPrompt, SurvivesALineWithoutEnd) {
  EXPECT_EQ(ask("echo OK; head -c 100000 /dev/zero | tr '\\0' x; sleep 1000").error(),
            SCARD_W_CANCELLED_BY_USER);
}

TEST_F(ProgramPrompt, IsImpossibleWithoutAProgram) {
  EXPECT_EQ(askProgram("/nowhere/pinentry", "key", kLong).error(), NTE_SILENT_CONTEXT);
  EXPECT_EQ(askProgram("sh", "key", kLong).error(), NTE_SILENT_CONTEXT);
  EXPECT_EQ(askProgram("", "key", kLong).error(), NTE_SILENT_CONTEXT);
  EXPECT_EQ(askProgram(folder_.write("not executable", "x"), "key", kLong).error(),
            NTE_SILENT_CONTEXT);
}

TEST_F(ProgramPrompt, LetsTheProgramInheritNothing) {
  const Fd open(::open("/dev/null", O_RDONLY));
  const Fd high(fcntl(open.get(), F_DUPFD, 300));
  ASSERT_TRUE(high);
  const std::string list = folder_.file("list");
  ASSERT_TRUE(
      ask("ls /proc/$$/fd > " + list +
          "\necho OK\nwhile read -r line; do case $line in GETPIN) echo D 1;; esac; echo OK; "
          "done\n"));
  EXPECT_THAT(test::readFile(list), Not(HasSubstr("300")));
}

TEST(Prompt, TakesTheConfiguredWay) {
  test::writePinentry("D from the program");
  EXPECT_EQ(textOf(askPin("key")), "from the program");
}

/// What became of a question on a terminal where a user typed something.
struct TerminalAnswer {
  std::string pin;
  std::string shown;
  bool echoRestored = false;
};

/// The child asks on a terminal of its own; the parent plays the user.
class TerminalPrompt : public ::testing::Test {
 protected:
  static TerminalAnswer ask(const std::string& typed, milliseconds timeout = kLong) {
    int master = -1;
    int pipeEnds[2] = {-1, -1};
    EXPECT_EQ(pipe(pipeEnds), 0);
    const pid_t child = forkpty(&master, nullptr, nullptr, nullptr);
    if (child == 0) {
      const auto pin = askOnTerminal("/dev/tty", "CN=Somebody", timeout);
      termios settings{};
      tcgetattr(STDIN_FILENO, &settings);
      const std::string report =
          ((settings.c_lflag & (ECHO | ISIG)) == (ECHO | ISIG) ? "+" : "-") + textOf(pin);
      _exit(write(pipeEnds[1], report.data(), report.size()) < 0 ? 1 : 0);
    }
    close(pipeEnds[1]);
    TerminalAnswer answer;
    const Fd user(master);
    const Fd report(pipeEnds[0]);
    if (!typed.empty()) {
      readUntil(user.get(), "): ", answer.shown);
      EXPECT_EQ(write(user.get(), typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    }
    std::string text;
    readUntil(report.get(), "", text);
    readUntil(user.get(), "", answer.shown);
    waitpid(child, nullptr, 0);
    answer.echoRestored = text.starts_with("+");
    answer.pin = text.empty() ? text : text.substr(1);
    return answer;
  }

 private:
  /// Reads until the text comes, or to the end when it is empty.
  static void readUntil(int fd, const std::string& end, std::string& into) {
    char buffer[256];
    while (end.empty() || into.find(end) == std::string::npos) {
      const ssize_t count = read(fd, buffer, sizeof buffer);
      if (count <= 0) {
        return;
      }
      into.append(buffer, static_cast<std::size_t>(count));
    }
  }
};

TEST_F(TerminalPrompt, ReadsALineWithoutEcho) {
  const auto answer = ask("12 34\n");
  EXPECT_EQ(answer.pin, "12 34");
  EXPECT_EQ(answer.shown, "PIN (CN=Somebody): \r\n");
  EXPECT_TRUE(answer.echoRestored);
}

TEST_F(TerminalPrompt, LetsTheUserCorrect) {
  EXPECT_EQ(ask("12\x7f"
                "34\n")
                .pin,
            "134");
}

TEST_F(TerminalPrompt, IsCancelledByAnEmptyLineAndByControlKeys) {
  const std::string cancelled = "failed with " + std::to_string(SCARD_W_CANCELLED_BY_USER);
  for (const char* typed : {"\n", "\x03", "12\x03", "\x04"}) {
    const auto answer = ask(typed);
    EXPECT_EQ(answer.pin, cancelled);
    EXPECT_TRUE(answer.echoRestored);
  }
}

TEST_F(TerminalPrompt, EndsWhenItsTimeIsOver) {
  const auto answer = ask("", milliseconds(30));
  EXPECT_EQ(answer.pin, "failed with " + std::to_string(SCARD_W_CANCELLED_BY_USER));
  EXPECT_TRUE(answer.echoRestored);
}

TEST_F(TerminalPrompt, IsImpossibleWithoutATerminal) {
  EXPECT_EQ(askOnTerminal("/dev/null", "key", kLong).error(), NTE_SILENT_CONTEXT);
  EXPECT_EQ(askOnTerminal("/nowhere", "key", kLong).error(), NTE_SILENT_CONTEXT);
}

}  // namespace
}  // namespace qx::prompt_test
