#include "tools/qxssf/batch/journal.h"

#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::ssf::journal_test {
namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;
using tools::ExitCode;

/// What was printed: on standard output and on standard error.
using Printed = std::pair<std::string, std::string>;

Printed printed(tools::Report& whole, const std::function<void(Journal&)>& work) {
  CaptureStdout();
  CaptureStderr();
  {
    Journal journal(whole, "signed", 3);
    work(journal);
  }
  static_cast<void>(std::fflush(stdout));
  static_cast<void>(std::fflush(stderr));
  return {GetCapturedStdout(), GetCapturedStderr()};
}

tools::Report good(const std::string& line) {
  tools::Report one("qxssf");
  one.collect();
  one.facts()["code"] = 0;
  one.line(line);
  return one;
}

tools::Report bad(ExitCode code, const std::string& text) {
  tools::Report one("qxssf");
  one.collect();
  one.error(code, text);
  return one;
}

TEST(Journal, SaysALineForEachFileAndASummary) {
  tools::Report whole("qxssf");
  ExitCode worst = ExitCode::Good;
  const auto [out, err] = printed(whole, [&](Journal& journal) {
    journal.tell("a", good("a: signed"));
    journal.tell("b", bad(ExitCode::Key, "b: no key"));
    journal.tell("c", bad(ExitCode::Input, "c: is empty"));
    worst = journal.summarize(/*leftOut=*/0);
  });
  EXPECT_EQ(out, "a: signed\n3 files: 1 signed, 2 failed\n");
  EXPECT_EQ(err, "qxssf: b: no key\nqxssf: c: is empty\n");
  EXPECT_EQ(worst, ExitCode::Key);
}

TEST(Journal, SaysWhatWasNotWorkedOn) {
  tools::Report whole("qxssf");
  ExitCode worst = ExitCode::Good;
  const auto [out, err] = printed(whole, [&](Journal& journal) {
    journal.skip({.input = "link", .why = "is a link"});
    journal.refuse({.input = "a", .why = "a.p7m is there already"});
    worst = journal.summarize(/*leftOut=*/2);
  });
  EXPECT_EQ(out, "3 files: 0 signed, 1 failed, 1 skipped, 2 left out by their names\n");
  EXPECT_EQ(err, "qxssf: link: skipped: is a link\nqxssf: a: a.p7m is there already\n");
  EXPECT_EQ(worst, ExitCode::Input);
}

TEST(Journal, PutsEachFileIntoALineOfJson) {
  tools::Report whole("qxssf");
  whole.asJson();
  const auto [out, err] = printed(whole, [&](Journal& journal) {
    journal.skip({.input = "link", .why = "is a link"});
    journal.tell("a\nb", good("not printed"));
    journal.tell("b", bad(ExitCode::Changed, "b: was changed"));
    journal.summarize(/*leftOut=*/1);
  });
  EXPECT_EQ(out,
            R"({"file":"link","skipped":"is a link"}
{"file":"a\nb","exitCode":0,"code":0}
{"file":"b","exitCode":3,"error":{"exitCode":3,"message":"b: was changed"}}
{"summary":{"files":3,"signed":1,"failed":1,"skipped":1,"leftOut":1,"exitCode":3}}
)");
  EXPECT_EQ(err, "");
}

TEST(Journal, KeepsBytesThatAreNoTextOutOfItsJson) {
  tools::Report whole("qxssf");
  whole.asJson();
  const auto [out, err] =
      printed(whole, [&](Journal& journal) { journal.tell("\xff.txt", good("not printed")); });
  EXPECT_TRUE(nlohmann::json::accept(out)) << out;
}

TEST(Journal, SaysAWarningOnce) {
  tools::Report whole("qxssf");
  tools::Report one = good("a: enveloped");
  one.warn("recipient CN=A: the certificate is revoked");
  const auto [out, err] = printed(whole, [&](Journal& journal) {
    journal.tell("a", one);
    journal.tell("b", one);
  });
  EXPECT_EQ(err, "qxssf: warning: recipient CN=A: the certificate is revoked\n");
}

TEST(Journal, KeepsANameFromSteeringTheTerminal) {
  tools::Report whole("qxssf");
  const auto [out, err] = printed(whole, [&](Journal& journal) {
    journal.tell("a", good("\x1b[2J\nb: signed"));
    journal.skip({.input = "\x1b[2J", .why = "is a link"});
  });
  EXPECT_EQ(out, "\\x1b[2J\\x0ab: signed\n");
  EXPECT_EQ(err, "qxssf: \\x1b[2J: skipped: is a link\n");
}

}  // namespace
}  // namespace qx::ssf::journal_test
