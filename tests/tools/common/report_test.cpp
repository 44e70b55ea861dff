#include "tools/common/report.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::tools::report_test {
namespace {

using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

std::string printed(Report& report) {
  CaptureStdout();
  report.print();
  static_cast<void>(std::fflush(stdout));
  return GetCapturedStdout();
}

TEST(Report, PrintsItsLines) {
  Report report("tool");
  report.line("one");
  report.line("two");
  report.facts()["key"] = 1;
  EXPECT_EQ(printed(report), "one\ntwo\n");
}

TEST(Report, PrintsOnce) {
  Report report("tool");
  report.line("one");
  EXPECT_EQ(printed(report), "one\n");
  report.line("two");
  EXPECT_EQ(printed(report), "");
}

TEST(Report, PrintsItsFactsInsteadWhenAsked) {
  Report report("tool");
  report.asJson();
  report.line("one");
  report.facts()["key"] = "value";
  const auto parsed = nlohmann::json::parse(printed(report));
  EXPECT_EQ(parsed["key"], "value");
  EXPECT_EQ(parsed.size(), 1U);
}

TEST(Report, PrintsAnEmptyObjectWhenThereIsNothing) {
  Report report("tool");
  report.asJson();
  EXPECT_EQ(printed(report), "{}\n");
}

TEST(Report, GetsOutOfTheWayOfContent) {
  Report report("tool");
  report.toStandardError();
  report.line("one");
  CaptureStderr();
  EXPECT_EQ(printed(report), "");
  EXPECT_EQ(GetCapturedStderr(), "one\n");
}

TEST(Report, WarnsAtOnceAndInItsFacts) {
  Report report("tool");
  CaptureStderr();
  report.warn("take care");
  EXPECT_EQ(GetCapturedStderr(), "tool: warning: take care\n");
  EXPECT_EQ(report.facts()["warnings"][0], "take care");
}

TEST(Report, TellsAnErrorAtOnceAndInItsFacts) {
  Report report("tool");
  CaptureStderr();
  report.error(ExitCode::Key, "wrong");
  EXPECT_EQ(GetCapturedStderr(), "tool: wrong\n");
  EXPECT_EQ(report.facts()["error"]["exitCode"], 5);
  EXPECT_EQ(report.facts()["error"]["message"], "wrong");
}

TEST(Report, KeepsEachLineOneLine) {
  Report report("tool");
  report.line("one\ntwo\x1b[2J");
  EXPECT_EQ(printed(report), "one\\x0atwo\\x1b[2J\n");
}

TEST(Report, WritesJsonOfBytesThatAreNoText) {
  Report report("tool");
  report.asJson();
  report.facts()["key"] = "a\xff";
  EXPECT_TRUE(nlohmann::json::accept(printed(report)));
}

TEST(Printable, LeavesTextInAnyLanguageAsItIs) {
  EXPECT_EQ(printable("CN=Иван Петров, Ü € 𝄞"), "CN=Иван Петров, Ü € 𝄞");
}

TEST(Printable, ShowsControlCharactersAsNumbers) {
  EXPECT_EQ(printable(std::string("a\0b\x07\x7f", 5)), "a\\x00b\\x07\\x7f");
  EXPECT_EQ(printable("\xc2\x9b"), "\\xc2\\x9b");
}

TEST(Printable, ShowsMarksThatTurnTheDirectionOfWriting) {
  EXPECT_EQ(printable("a\u202eb"), "a\\xe2\\x80\\xaeb");
  EXPECT_EQ(printable("a\u2067b"), "a\\xe2\\x81\\xa7b");
}

TEST(Printable, ShowsWhatIsNoUtf8) {
  EXPECT_EQ(printable("\xff\xfe"), "\\xff\\xfe");
  EXPECT_EQ(printable("\xc3"), "\\xc3");
  EXPECT_EQ(printable("\xc3("), "\\xc3(");
  EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf");
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(printable("\xe0\x80\xaf"), "\\xe0\\x80\\xaf");
  EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

// A conversion of the C library, which knows what is UTF-8.
class Utf8Of {
 public:
  explicit Utf8Of(const char* charset) : handle_(iconv_open("UTF-8", charset)) {}

  ~Utf8Of() { iconv_close(handle_); }

  Utf8Of(const Utf8Of&) = delete;
  Utf8Of& operator=(const Utf8Of&) = delete;
  Utf8Of(Utf8Of&&) = delete;
  Utf8Of& operator=(Utf8Of&&) = delete;

  // Empty for what is no text.
  std::string operator()(std::string bytes) const {
    std::string text(bytes.size() * 4, '\0');
    char* from = bytes.data();
    std::size_t left = bytes.size();
    char* to = text.data();
    std::size_t room = text.size();
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(handle_, &from, &left, &to, &room) == static_cast<std::size_t>(-1)) {
      return "";
    }
    text.resize(text.size() - room);
    return text;
  }

 private:
  iconv_t handle_;
};

// What a terminal must not get raw though it is text: it steers the terminal or turns the writing.
bool steers(char32_t point) {
  return point < 0x20 || (point >= 0x7F && point < 0xA0) || (point >= 0x202A && point <= 0x202E) ||
         (point >= 0x2066 && point <= 0x2069);
}

TEST(Printable, LeavesEveryOtherCharacterOfUnicodeAsItIs) {
  const Utf8Of utf8("UTF-32LE");
  int left = 0;
  for (char32_t point = 0; point < 0x110000; ++point) {
    const std::string text = utf8(std::string(reinterpret_cast<const char*>(&point), sizeof point));
    if (!text.empty()) {
      ASSERT_EQ(printable(text) == text, !steers(point)) << std::hex << std::uint32_t{point};
      left += steers(point) ? 0 : 1;
    }
  }
  EXPECT_EQ(left, 0x110000 - 0x800 - 0x20 - 0x21 - 5 - 4);
}

// What begins with these two bytes and is no text must not be shown as it is. (Some text is escaped,
// too, for other reasons.)
bool escapesWhatIsNoText(const Utf8Of& utf8, unsigned first, unsigned second) {
  const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
  return std::ranges::all_of(
      std::array<std::string, 4>{"", "\x80", "\x80\x80", "\xbf\xbf"}, [&](const std::string& tail) {
        return !utf8(bytes + tail).empty() || printable(bytes + tail) != bytes + tail;
      });
}

TEST(Printable, KnowsUtf8AsTheCLibraryDoes) {
  const Utf8Of utf8("UTF-8");
  for (unsigned first = 0xA0; first < 0x100; ++first) {
    for (unsigned second = 0; second < 0x100; ++second) {
      ASSERT_TRUE(escapesWhatIsNoText(utf8, first, second)) << std::hex << first << " " << second;
    }
  }
}

TEST(Printable, EscapesByteForByte) {
  for (unsigned byte = 0x80; byte < 0x100; ++byte) {
    const std::string shown = printable(std::string(1, static_cast<char>(byte)));
    ASSERT_EQ(shown.size(), 4U);
    EXPECT_EQ(std::stoul(shown.substr(2), nullptr, 16), byte);
  }
}

TEST(Printable, GoesOnBehindWhatItEscapes) {
  EXPECT_EQ(printable("a\xff"
                      "b\xd0\xb6"
                      "c\xd0"),
            "a\\xffb\xd0\xb6"
            "c\\xd0");
  EXPECT_EQ(printable(""), "");
}

TEST(Report, LeavesItToOthersToTellWhatItCollects) {
  Report report("tool");
  report.collect();
  CaptureStderr();
  report.warn("take care");
  report.error(ExitCode::Key, "no key");
  EXPECT_EQ(GetCapturedStderr(), "");
  EXPECT_EQ(report.facts()["warnings"][0], "take care");
  EXPECT_EQ(report.facts()["error"]["message"], "no key");
}

TEST(Report, SaysNothingOnceAllIsTold) {
  Report report("tool");
  report.line("a line");
  EXPECT_EQ(report.lines().size(), 1U);
  report.told();
  CaptureStdout();
  report.print();
  static_cast<void>(std::fflush(stdout));
  EXPECT_EQ(GetCapturedStdout(), "");
}

TEST(Report, CollectsItsWarnings) {
  Report report("tool");
  CaptureStderr();
  report.warn("first");
  report.warn("second\nline");
  EXPECT_EQ(GetCapturedStderr(), "tool: warning: first\ntool: warning: second\\x0aline\n");
  EXPECT_EQ(report.facts()["warnings"], nlohmann::json({"first", "second\\x0aline"}));
}

TEST(Report, PrintsJsonOnStandardErrorWhereContentGoesToStandardOutput) {
  Report report("tool");
  report.asJson();
  report.toStandardError();
  report.facts()["key"] = 1;
  CaptureStderr();
  EXPECT_EQ(printed(report), "");
  EXPECT_EQ(nlohmann::json::parse(GetCapturedStderr())["key"], 1);
}

TEST(Report, KeepsTheOrderOfItsFacts) {
  Report report("tool");
  report.asJson();
  for (const char* key : {"z", "a", "m"}) {
    report.facts()[key] = key;
  }
  EXPECT_EQ(printed(report), "{\n  \"z\": \"z\",\n  \"a\": \"a\",\n  \"m\": \"m\"\n}\n");
}

TEST(Report, PrintsNoLineThatSteersATerminal) {
  Report report("tool");
  report.line("\x1b[31mred\x1b[0m \xc2\x9b 2J");
  const std::string text = printed(report);
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
  EXPECT_EQ(text.find('\x9b'), std::string::npos);
}

TEST(Hex, WritesEveryByteWithTwoDigits) {
  for (unsigned value = 0; value < 256; ++value) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(value)};
    const std::string text = hex(bytes);
    ASSERT_EQ(text.size(), 2U);
    EXPECT_EQ(std::stoul(text, nullptr, 16), value);
  }
  EXPECT_EQ(hex({}), "");
}

TEST(Hex, WritesLowerCase) {
  const std::uint8_t bytes[] = {0x00, 0x0A, 0xFF};
  EXPECT_EQ(hex(bytes), "000aff");
}

TEST(ErrnoText, IsTheSystemsText) {
  EXPECT_THAT(errnoText(2), HasSubstr("No such file"));
}

}  // namespace
}  // namespace qx::tools::report_test
