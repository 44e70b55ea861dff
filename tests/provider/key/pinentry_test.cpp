// Pinentry programs that keep to the Assuan protocol in their own way, or do not keep to it.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/prompt.h"
#include "tests/provider/key/key_environment.h"
#include "tests/support/temp_dir.h"

namespace qx::pinentry_test {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr milliseconds kLong{20000};

class Pinentry : public ::testing::Test {
 protected:
  /// Asks a program that greets with a line, answers GETPIN with lines, and OK to all else.
  Result<SecretBytes> ask(const std::string& getPin, const std::string& greeting = "OK ready") {
    return askScript("echo '" + greeting + "'\n" + answering(getPin, "echo OK"));
  }

  Result<SecretBytes> askScript(const std::string& script, milliseconds timeout = kLong) const {
    const std::string program = folder_.file("program");
    test::writeProgram(program, script);
    return askProgram(program, "CN=Somebody", timeout);
  }

  std::string answering(const std::string& getPin, const std::string& other) const {
    return "while read -r line; do\n  printf '%s\\n' \"$line\" >> " + folder_.file("log") +
           "\n  case $line in\n  GETPIN) " + getPin + ";;\n  *) " + other + ";;\n  esac\ndone\n";
  }

  static std::string textOf(const Result<SecretBytes>& pin) {
    return pin ? std::string(pin->text()) : "failed with " + std::to_string(pin.error());
  }

  void expectCancelled(const std::string& getPin, const std::string& greeting = "OK ready") {
    EXPECT_EQ(ask(getPin, greeting).error(), SCARD_W_CANCELLED_BY_USER) << getPin << greeting;
  }

  test::TempDir folder_;
};

TEST_F(Pinentry, MayGreetAsItLikes) {
  EXPECT_EQ(textOf(ask("echo D 1; echo OK", "OK")), "1");
  EXPECT_EQ(textOf(ask("echo D 1; echo OK", "OK Pleased to meet you, process 1")), "1");
  EXPECT_EQ(textOf(ask("echo D 1; echo OK", "# a comment\nS PROGRESS 1\nOK")), "1");
}

TEST_F(Pinentry, ThatDoesNotGreetIsRefused) {
  for (const char* greeting : {"ERR 1 not now", "ERR", "ERR 67108922 No tty <Pinentry>"}) {
    expectCancelled("echo D 1; echo OK", greeting);
  }
}

TEST_F(Pinentry, MayTellOfItsStateBeforeThePin) {
  EXPECT_EQ(textOf(ask("echo '# comment'; echo 'S PASSWORD_FROM_CACHE'; echo D 77; echo OK")),
            "77");
  EXPECT_EQ(textOf(ask("echo D 77; echo 'S BUTTON_INFO close'; echo OK")), "77");
}

TEST_F(Pinentry, MayKnowNoneOfTheOptions) {
  const std::string script =
      "echo OK\n" + answering("echo D 1; echo OK", "echo 'ERR 83886254 Unknown option'");
  EXPECT_EQ(textOf(askScript(script)), "1");
}

TEST_F(Pinentry, IsToldWhatToShowBeforeItIsAsked) {
  ASSERT_TRUE(ask("echo D 1; echo OK"));
  const std::string log = test::readFile(folder_.file("log"));
  const std::vector<std::size_t> places = {log.find("SETTITLE "),
                                           log.find("SETDESC CN=Somebody\n"),
                                           log.find("SETPROMPT "),
                                           log.find("GETPIN\n")};
  for (const std::size_t place : places) {
    EXPECT_NE(place, std::string::npos) << log;
  }
  EXPECT_TRUE(std::ranges::is_sorted(places)) << log;
  EXPECT_EQ(log.find("GETPIN"), log.rfind("GETPIN")) << "asked once only";
}

TEST_F(Pinentry, ThatRefusesIsCancelled) {
  expectCancelled("echo ERR 83886179 Operation cancelled");
  expectCancelled("echo D 1; echo ERR 83886179 Operation cancelled");
  expectCancelled("echo 'ERR'");
}

TEST_F(Pinentry, ThatGivesNoPinIsCancelled) {
  expectCancelled("echo OK");
  expectCancelled("echo D; echo OK");
  expectCancelled("echo 'D '; echo OK");
  expectCancelled("echo d 1; echo OK");
}

TEST_F(Pinentry, ThatGoesBeforeItsAnswerIsCancelled) {
  expectCancelled("exit 0");
  expectCancelled("echo D 1; exit 0");
  expectCancelled("printf 'D 1'; exit 0");
  expectCancelled("kill -9 $$");
}

TEST_F(Pinentry, EncodesWhatALineCannotHold) {
  EXPECT_EQ(textOf(ask("echo D a%0Ab%0Dc%25d; echo OK")), "a\nb\rc%d");
  EXPECT_EQ(textOf(ask("echo 'D  leading and trailing '; echo OK")), " leading and trailing ");
  EXPECT_EQ(textOf(ask("echo D %d0%BA; echo OK")), "\xD0\xBA");
  EXPECT_EQ(textOf(ask("echo D %; echo OK")), "%");
  EXPECT_EQ(textOf(ask("echo D %4; echo OK")), "%4");
  EXPECT_EQ(textOf(ask("echo D %4G; echo OK")), "%4G");
}

TEST_F(Pinentry, GivesALongPinWhole) {
  const std::string pin(1000, 'p');
  EXPECT_EQ(textOf(ask("echo D " + pin + "; echo OK")), pin);
}

TEST_F(Pinentry, MayGiveThePinInSeveralLines) {
  EXPECT_EQ(textOf(ask("echo D 12; echo D 34; echo OK")), "1234");
  const std::string half(900, 'p');
  EXPECT_EQ(textOf(ask("echo D " + half + "; echo D " + half + "; echo OK")), half + half);
}

TEST_F(Pinentry, MayAnswerInPieces) {
  EXPECT_EQ(textOf(ask("printf 'D 1'; printf '23'; printf '4\\nO'; printf 'K\\n'")), "1234");
}

TEST_F(Pinentry, ThatAsksBackIsEndedByTheDeadline) {
  // INQUIRE wants an answer that nobody gives.
  const std::string script =
      "echo OK\n" + answering("echo INQUIRE QUALITY; exec sleep 1000", "echo OK");
  EXPECT_EQ(askScript(script, milliseconds(200)).error(), SCARD_W_CANCELLED_BY_USER);
}

TEST_F(Pinentry, ThatTalksWithoutEndIsEndedByTheDeadline) {
  EXPECT_EQ(askScript("exec yes S talking", milliseconds(200)).error(), SCARD_W_CANCELLED_BY_USER);
}

TEST_F(Pinentry, ThatSendsNulsAndOtherBytesDoesNoHarm) {
  EXPECT_EQ(askScript("head -c 3000 /dev/zero; echo; head -c 3000 /dev/urandom; exit 0").error(),
            SCARD_W_CANCELLED_BY_USER);
  expectCancelled("printf 'ERR \\000\\377\\n'");
}

TEST_F(Pinentry, IsNotStartedFromAFolderOrWithoutTheRight) {
  EXPECT_EQ(askProgram(folder_.path(), "key", kLong).error(), NTE_SILENT_CONTEXT);
  const std::string program = folder_.file("program");
  test::writeProgram(program, "echo OK");
  ASSERT_EQ(chmod(program.c_str(), 0600), 0);
  EXPECT_EQ(askProgram(program, "key", kLong).error(), NTE_SILENT_CONTEXT);
}

TEST_F(Pinentry, LeavesNoTraceOfThePin) {
  const test::TraceSince trace;
  EXPECT_EQ(textOf(ask("echo D 47114711; echo OK")), "47114711");
  expectCancelled("echo D 47114712; echo ERR 1");
  EXPECT_THAT(trace.lines(), HasSubstr("gave no PIN"));
  EXPECT_THAT(trace.lines(), Not(HasSubstr("4711471")));
}

}  // namespace
}  // namespace qx::pinentry_test
