#include "tools/common/report.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::tools {
namespace {

using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

std::string printed(const Report& report) {
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

TEST(Hex, WritesLowerCase) {
  const std::uint8_t bytes[] = {0x00, 0x0A, 0xFF};
  EXPECT_EQ(hex(bytes), "000aff");
}

TEST(ErrnoText, IsTheSystemsText) {
  EXPECT_THAT(errnoText(2), HasSubstr("No such file"));
}

}  // namespace
}  // namespace qx::tools
