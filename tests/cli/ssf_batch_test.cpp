#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

// Many files in one call of a tool.

namespace qx::test::ssf_batch_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

class SsfBatch : public LabTest {
 protected:
  SsfBatch() {
    for (const char* name : {"in/a.txt", "in/b.txt", "in/deep/c.txt"}) {
      write(name, textOf(name));
    }
  }

  static std::string textOf(const std::string& name) { return "what " + name + " holds\n"; }

  CommandResult sign(Arguments more, Command command = {}) const {
    more.insert(more.begin(), {"sign", "-s", "CN=Anna Orlova"});
    return ssf(more, std::move(command));
  }

  std::string content(const std::string& name) const { return readFile(file(name)); }

  /// The names of all files below a folder of the test, with `end`.
  std::vector<std::string> filesIn(const std::string& folder, const std::string& end = "") const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(file(folder))) {
      if (entry.is_regular_file() && entry.path().string().ends_with(end)) {
        names.push_back(entry.path().lexically_relative(file(folder)));
      }
    }
    std::ranges::sort(names);
    return names;
  }

  static std::vector<nlohmann::json> jsonLines(const std::string& out) {
    std::vector<nlohmann::json> objects;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      objects.push_back(nlohmann::json::parse(line));
    }
    return objects;
  }
};

TEST_F(SsfBatch, SignsAFolderBesideItsFiles) {
  const CommandResult result = sign({file("in")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(filesIn("in", ".p7m"), ElementsAre("a.txt.p7m", "b.txt.p7m"));
  EXPECT_THAT(result.out,
              AllOf(HasSubstr(file("in/a.txt") + ": signed by 1 signer, "),
                    HasSubstr(file("in/b.txt") + ": signed by 1 signer, "),
                    EndsWith("2 files: 2 signed, 0 failed, 1 skipped\n")));
  EXPECT_EQ(result.err,
            "qxssf: " + file("in/deep") + ": skipped: is a folder; --recursive goes into it\n");
}

TEST_F(SsfBatch, SignsAndVerifiesAWholeTree) {
  const std::string out = file("signed");
  ASSERT_EQ(sign({"--recursive", "--out-dir", out, file("in")}).exitCode, 0);
  EXPECT_THAT(filesIn("signed"), ElementsAre("a.txt.p7m", "b.txt.p7m", "deep/c.txt.p7m"));
  const CommandResult result =
      ssf({"verify", "--recursive", out, "--out-dir", file("back"), "--jobs", "3"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  for (const char* name : {"a.txt", "b.txt", "deep/c.txt"}) {
    EXPECT_EQ(content("back/" + std::string(name)), textOf("in/" + std::string(name)));
  }
  EXPECT_THAT(result.out, EndsWith("3 files: 3 verified, 0 failed\n"));
}

TEST_F(SsfBatch, VerifiesDetachedSignaturesAgainstTheFilesBesideThem) {
  ASSERT_EQ(sign({"--detached", "--recursive", file("in")}).exitCode, 0);
  EXPECT_THAT(filesIn("in", ".p7s"), ElementsAre("a.txt.p7s", "b.txt.p7s", "deep/c.txt.p7s"));
  EXPECT_EQ(ssf({"verify", "--recursive", file("in")}).exitCode, 0);
  write("in/b.txt", "what was put in its place\n");
  const CommandResult changed = ssf({"verify", "--recursive", file("in")});
  EXPECT_EQ(changed.exitCode, 3);
  EXPECT_THAT(changed.out, EndsWith("3 files: 2 verified, 1 failed, 3 left out by their names\n"));
  EXPECT_THAT(changed.err, AllOf(StartsWith("qxssf: "), HasSubstr("b.txt")));
}

TEST_F(SsfBatch, EncryptsAndDecrypts) {
  ASSERT_EQ(
      ssf({"envelope", "-r", "CN=Pavel Fedorov", "--recursive", file("in"), "--out-dir", file("e")})
          .exitCode,
      0);
  const CommandResult result = ssf(
      {"develope", "-r", "CN=Pavel Fedorov", "--recursive", file("e"), "--out-dir", file("back")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, EndsWith("3 files: 3 opened, 0 failed\n"));
  EXPECT_EQ(content("back/deep/c.txt"), textOf("in/deep/c.txt"));
}

TEST_F(SsfBatch, WarnsOfARecipientOnce) {
  const CommandResult result = ssf({"envelope", "-r", "CN=Igor Belov", "--recursive", file("in")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err.find("is revoked"), result.err.rfind("is revoked"));
  EXPECT_THAT(result.err, HasSubstr("is revoked"));
}

TEST_F(SsfBatch, GoesOnAfterAFileThatFails) {
  write("in/aa.txt", "");
  const CommandResult result =
      sign({file("in/a.txt"), file("gone"), file("in/aa.txt"), file("in/b.txt"), "--jobs", "1"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(filesIn("in", ".p7m"), ElementsAre("a.txt.p7m", "b.txt.p7m"));
  EXPECT_THAT(result.out, EndsWith("4 files: 2 signed, 2 failed\n"));
  EXPECT_EQ(result.err,
            "qxssf: " + file("gone") + ": No such file or directory\nqxssf: " + file("in/aa.txt") +
                ": is empty; an SSF call takes at least one byte\n");
}

TEST_F(SsfBatch, EndsWithTheWorstCodeOfAll) {
  write("bad.p7m", "no message");
  ASSERT_EQ(sign({file("in/a.txt"), file("in/b.txt")}).exitCode, 0);
  std::string changed = content("in/a.txt.p7m");
  changed.replace(changed.find("what"), 4, "WHAT");
  write("in/a.txt.p7m", changed);
  const CommandResult result =
      ssf({"verify", file("in/a.txt.p7m"), file("bad.p7m"), file("in/b.txt.p7m")});
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_THAT(result.out, EndsWith("3 files: 1 verified, 2 failed\n"));
}

TEST_F(SsfBatch, TellsEachFileInALineOfJson) {
  const CommandResult result = sign({"--json", file("in/a.txt"), file("gone")});
  EXPECT_EQ(result.exitCode, 2);
  std::vector<nlohmann::json> lines = jsonLines(result.out);
  ASSERT_EQ(lines.size(), 3U);
  std::ranges::sort(lines.begin(), lines.begin() + 2, {}, [](const auto& line) {
    return line["exitCode"].template get<int>();
  });
  EXPECT_EQ(lines[0]["file"], file("in/a.txt"));
  EXPECT_EQ(lines[0]["output"], file("in/a.txt.p7m"));
  EXPECT_EQ(lines[0]["signers"][0]["words"], "good");
  EXPECT_EQ(lines[1]["file"], file("gone"));
  EXPECT_EQ(lines[1]["error"]["exitCode"], 2);
  EXPECT_EQ(lines[2]["summary"]["files"], 2);
  EXPECT_EQ(lines[2]["summary"]["signed"], 1);
  EXPECT_EQ(lines[2]["summary"]["exitCode"], 2);
}

TEST_F(SsfBatch, ReadsThePinOnce) {
  const CommandResult result = ssf(
      {"sign", "-s", "CN=Ivan Petrov", "--pin-fd", "8", "--recursive", "--jobs", "2", file("in")},
      {.descriptors = {{8, "ivan-4711\n"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, EndsWith("3 files: 3 signed, 0 failed\n"));
}

TEST_F(SsfBatch, AsksForThePinOnce) {
  const CommandResult result =
      ssf({"sign", "-s", "CN=Ivan Petrov", "--pin-prompt", file("in/a.txt"), file("in/b.txt")},
          {.dialog = {{"PIN of CN=Ivan Petrov: ", "ivan-4711\n"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err << result.terminal;
}

TEST_F(SsfBatch, SignsAsOneFileAloneWouldBeSigned) {
  ASSERT_EQ(sign({file("in/a.txt"), file("in/b.txt")}).exitCode, 0);
  const CommandResult result = openssl({"cms",
                                        "-verify",
                                        "-binary",
                                        "-inform",
                                        "DER",
                                        "-in",
                                        file("in/a.txt.p7m"),
                                        "-noverify",
                                        "-out",
                                        file("out")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(content("out"), textOf("in/a.txt"));
}

TEST_F(SsfBatch, DoesNotReplaceWhatIsThere) {
  write("in/a.txt.p7m", "older");
  const CommandResult result = sign({file("in")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(content("in/a.txt.p7m"), "older");
  EXPECT_TRUE(exists("in/b.txt.p7m"));
  EXPECT_THAT(result.err, HasSubstr("is there already; --force replaces it\n"));
  EXPECT_EQ(sign({file("in"), "--force"}).exitCode, 0);
  EXPECT_THAT(content("in/a.txt.p7m"), Not("older"));
}

TEST_F(SsfBatch, SkipsLinks) {
  fs::create_symlink("/etc/passwd", file("in/link"));
  const CommandResult result = sign({file("in")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_FALSE(exists("in/link.p7m"));
  EXPECT_THAT(result.err, HasSubstr(file("in/link") + ": skipped: is a link\n"));
}

TEST_F(SsfBatch, LeavesNothingButItsOutputs) {
  ASSERT_EQ(sign({"--recursive", file("in"), "--jobs", "4"}).exitCode, 0);
  EXPECT_THAT(filesIn("in"),
              UnorderedElementsAre(
                  "a.txt", "a.txt.p7m", "b.txt", "b.txt.p7m", "deep/c.txt", "deep/c.txt.p7m"));
}

TEST_F(SsfBatch, SaysThatThereIsNothingToDo) {
  fs::create_directory(file("empty"));
  const CommandResult result = sign({file("empty")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxssf: " + file("empty") + ": there is no file here to work on\n");
  EXPECT_THAT(ssf({"verify", file("in/deep")}).err,
              HasSubstr("what is left out by its name is taken when"));
}

TEST_F(SsfBatch, ShowsHowFarItIsOnATerminal) {
  // The question for the PIN gives the tool a terminal, which is its standard error, too.
  const CommandResult quiet = sign({file("in")});
  EXPECT_THAT(quiet.err, Not(HasSubstr("of 2 files")));
  const CommandResult shown = start({"-c",
                                     R"("$0" sign -s "CN=Anna Orlova" "$1" "$2" 2>/dev/tty)",
                                     tool("qxssf"),
                                     file("in/deep/c.txt"),
                                     file("gone")},
                                    {.arguments = {"sh"}, .dialog = {{"1 of 2 files", ""}}});
  EXPECT_EQ(shown.exitCode, 2);
  EXPECT_THAT(shown.terminal, HasSubstr("\r\x1b[K2 of 2 files, 1 failed"));
}

class SsfBatchUsage : public SsfBatch,
                      public ::testing::WithParamInterface<std::pair<Arguments, const char*>> {};

INSTANTIATE_TEST_SUITE_P(
    Mistakes,
    SsfBatchUsage,
    ::testing::Values(
        std::pair{Arguments{"a", "b", "-o", "c"}, "--out-dir of many"},
        std::pair{Arguments{"a", "-"}, "standard input cannot be one of many"},
        std::pair{Arguments{"--out-dir", "x"}, "standard input cannot be one of many"},
        std::pair{Arguments{"a", "--jobs", "0"}, "--jobs"},
        std::pair{Arguments{"a", "--jobs", "many"}, "--jobs"},
        std::pair{Arguments{"a", "b", "--content", "c"}, "the content of FILE.p7s is FILE"}));

TEST_P(SsfBatchUsage, IsToldInOneLine) {
  Arguments arguments = GetParam().first;
  arguments.insert(arguments.begin(), "verify");
  const CommandResult result = ssf(arguments);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, AllOf(StartsWith("qxssf: "), HasSubstr(GetParam().second)));
  EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
}

}  // namespace
}  // namespace qx::test::ssf_batch_test
