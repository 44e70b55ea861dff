#include "provider/support/trace.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "tests/support/temp_dir.h"
#include "tests/support/trace_to_file.h"

namespace qx::test::trace_test {
namespace {

using qx::test::TraceToFile;

// This program has no other tests: the level holds for the whole process.
// NOLINTNEXTLINE(cppcoreguidelines-owning-memory): the framework owns it
const testing::Environment* const kEnvironment =
    testing::AddGlobalTestEnvironment(new TraceToFile("12"));

class Trace : public testing::Test {
 protected:
  void SetUp() override {
    qxsup_trace_register("test", &context_);
    ASSERT_NE(context_, nullptr);
    // Empty, but not another file: the sink has it open.
    ASSERT_EQ(truncate(TraceToFile::path().c_str(), 0), 0);
  }

  void TearDown() override { qxsup_trace_unregister(&context_); }

  QX_TRACE_CONTEXT* context() { return context_; }

  static std::vector<std::string> lines() {
    std::vector<std::string> out;
    std::string text = qx::test::readFile(TraceToFile::path());
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
      out.push_back(text.substr(0, end));
      text.erase(0, end + 1);
    }
    EXPECT_EQ(text, "") << "the last line has no end";
    return out;
  }

  QX_TRACE_CONTEXT* context_ = nullptr;
};

TEST_F(Trace, LinesTellWhenWhoAndWhere) {
  qxsup_trace_print(context(), "value %d of %s\n", "", 42, "SsfDigest", 7, "x");
  ASSERT_EQ(lines().size(), 1U);
  std::smatch match;
  const std::string line = lines().front();
  const std::regex form(
      R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z (\d+) (\d+) test SsfDigest:42 value 7 of x)");
  ASSERT_TRUE(std::regex_match(line, match, form)) << line;
  EXPECT_EQ(match[1], std::to_string(getpid()));
  EXPECT_EQ(match[2], std::to_string(syscall(SYS_gettid)));
}

TEST_F(Trace, LinesMayNameTheSourceFile) {
  qxsup_trace_print(context(), "x", "a.cpp", 1, nullptr);
  EXPECT_TRUE(lines().front().ends_with(" a.cpp:-:1 x")) << lines().front();
}

TEST_F(Trace, OneCallIsOneLineWhateverTheArguments) {
  qxsup_trace_print(context(), "%s\n", "", 1, "f", "a\nforged\r\x1B[2J\x7F\tb");
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_TRUE(lines().front().ends_with(R"(f:1 a\nforged\r\x1B[2J\x7F\x09b)")) << lines().front();
}

// What FormatMessage gives ends in CR LF, and hosts print it as it is.
TEST_F(Trace, LinesOfErrorTextsEndLikeOthers) {
  char* text = nullptr;
  ASSERT_NE(FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                               FORMAT_MESSAGE_IGNORE_INSERTS,
                           nullptr,
                           ERROR_ACCESS_DENIED,
                           0,
                           reinterpret_cast<char*>(&text),
                           0,
                           nullptr),
            0U);
  const std::string expected(text, std::strlen(text) - 2);
  EXPECT_STREQ(text + expected.size(), "\r\n");
  qxsup_trace_print(context(), "%s", "", 443, "PrintString", text);
  EXPECT_EQ(LocalFree(text), nullptr);
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_TRUE(lines().front().ends_with("PrintString:443 " + expected)) << lines().front();
}

TEST_F(Trace, LongTextsAreCutAndSaySo) {
  const std::string text(100'000, 'x');
  qxsup_trace_print(context(), "%s\n", "", 1, "f", text.c_str());
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_LT(lines().front().size(), 20'000U);
  EXPECT_TRUE(lines().front().ends_with("xxx..."));
}

TEST_F(Trace, LevelsAreThoseOfTheMask) {
  EXPECT_EQ(context()->bLevelMask, 12);
  EXPECT_NE(qxsup_trace_enabled(context(), 8), 0);
  EXPECT_NE(qxsup_trace_enabled(context(), 4), 0);
  EXPECT_EQ(qxsup_trace_enabled(context(), 1), 0);
  EXPECT_EQ(qxsup_trace_enabled(nullptr, 8), 0);
}

TEST_F(Trace, NullContextsAreAccepted) {
  qxsup_trace_print(nullptr, "x", "", 1, "f");
  qxsup_trace_register("x", nullptr);
  qxsup_trace_unregister(nullptr);
  QX_TRACE_CONTEXT* none = nullptr;
  qxsup_trace_unregister(&none);
  EXPECT_EQ(lines().size(), 0U);
}

TEST_F(Trace, UnregisteringClearsTheCallersPointer) {
  QX_TRACE_CONTEXT* other = nullptr;
  qxsup_trace_register(nullptr, &other);
  ASSERT_NE(other, nullptr);
  qxsup_trace_unregister(&other);
  EXPECT_EQ(other, nullptr);
}

TEST_F(Trace, LeavesLastErrorAndErrnoAlone) {
  SetLastError(NTE_FAIL);
  errno = ENOTDIR;
  qxsup_trace_print(context(), "x", "", 1, "f");
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(GetLastError(), NTE_FAIL);
}

TEST_F(Trace, FileIsForItsOwnerAlone) {
  qxsup_trace_print(context(), "x", "", 1, "f");
  struct stat status{};
  ASSERT_EQ(stat(TraceToFile::path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(Trace, LinesOfThreadsAndProcessesStayWhole) {
  const auto work = [this] {
    for (int i = 0; i < 200; ++i) {
      qxsup_trace_print(context(), "%s\n", "", 1, "f", std::string(300, 'y').c_str());
    }
  };
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  std::array<std::thread, 2> threads = {std::thread(work), std::thread(work)};
  for (std::thread& thread : threads) {
    thread.join();
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  const std::vector<std::string> all = lines();
  EXPECT_EQ(all.size(), 600U);
  const std::regex form("[^ ]+ \\d+ \\d+ test f:1 y{300}");
  for (const std::string& line : all) {
    ASSERT_TRUE(std::regex_match(line, form)) << line;
  }
}

TEST_F(Trace, OwnLinesTellOfTheConfigurationsProblemsFirst) {
  QX_TRACE("own %s", "line");
  QX_TRACE("plain");
  const std::vector<std::string> all = lines();
  ASSERT_GE(all.size(), 2U);
  EXPECT_TRUE(all[all.size() - 2].find(" qxprovider TestBody:") != std::string::npos) << all[0];
  EXPECT_TRUE(all[all.size() - 2].ends_with(" own line"));
  EXPECT_TRUE(all.back().ends_with(" plain"));
  // The first own line of the process is preceded by them.
  if (all.size() == 3) {
    EXPECT_TRUE(all[0].find("cannot read /nonexistent/provider.conf") != std::string::npos);
  }
}

TEST(EscapeControls, KeepsTextAndEscapesTheRest) {
  EXPECT_EQ(qx::escapeControls("plain text"), "plain text");
  EXPECT_EQ(qx::escapeControls("one line end is left out\n"), "one line end is left out");
  EXPECT_EQ(qx::escapeControls("\n\n"), "\\n");
  EXPECT_EQ(qx::escapeControls("one of two characters, too\r\n"), "one of two characters, too");
  EXPECT_EQ(qx::escapeControls("\r\n\r\n"), "\\r\\n");
  EXPECT_EQ(qx::escapeControls("a\r"), "a\\r");
  EXPECT_EQ(qx::escapeControls("\r\n"), "");
  EXPECT_EQ(qx::escapeControls("\xD0\x96"), "\xD0\x96");
  EXPECT_EQ(qx::escapeControls("\xC2\x9B"), "\\xC2\\x9B");           // CSI as one C1 character
  EXPECT_EQ(qx::escapeControls("\xE2\x80\xA8"), "\\xE2\\x80\\xA8");  // LINE SEPARATOR
  EXPECT_EQ(qx::escapeControls("\xFF\xD0"), "\\xFF\\xD0");           // no UTF-8
  EXPECT_EQ(qx::escapeControls(std::string("\0", 1)), "\\x00");
}

TEST(EscapeControls, ShowsMarksThatTurnTheDirectionOfWriting) {
  EXPECT_EQ(qx::escapeControls("CN=\u202Eetib a\u202C"), "CN=\\xE2\\x80\\xAEetib a\\xE2\\x80\\xAC");
  EXPECT_EQ(qx::escapeControls("\u2066a\u2069"), "\\xE2\\x81\\xA6a\\xE2\\x81\\xA9");
  EXPECT_EQ(qx::escapeControls("\u2027\u202F\u2065\u206A"), "\u2027\u202F\u2065\u206A");
}

// What no terminal obeys: no control character, alone or as one C1 character in two bytes.
bool isPlain(const std::string& shown) {
  const bool controls = std::ranges::any_of(
      shown, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
  const std::size_t lead = shown.find('\xC2');
  return !controls &&
         (lead == std::string::npos || static_cast<unsigned char>(shown[lead + 1]) >= 0xA0);
}

TEST(EscapeControls, LeavesNothingThatSteersATerminal) {
  for (unsigned first = 0; first < 0x100; ++first) {
    for (unsigned second = 0; second < 0x100; ++second) {
      const std::string shown = qx::escapeControls(
          std::string{'x', static_cast<char>(first), static_cast<char>(second), 'y'});
      ASSERT_TRUE(shown.starts_with("x") && shown.ends_with("y")) << first << " " << second;
      ASSERT_TRUE(isPlain(shown)) << first << " " << second;
    }
  }
}

}  // namespace
}  // namespace qx::test::trace_test
