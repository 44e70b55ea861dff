#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_commands_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::StrEq;

/// One of the commands that read a file and write one.
struct CommandCase {
  const char* name;
  /// What it needs besides its files.
  Arguments more;
  /// The command that makes its input from the document; empty: it takes the document itself.
  Arguments maker;
  /// How it calls its input in JSON.
  const char* inputFact;
};

const Arguments kAnna = {"--signer", "CN=Anna Orlova"};

class SsfCommand : public LabTest, public ::testing::WithParamInterface<CommandCase> {
 protected:
  // The command over an input, with its own arguments and more.
  Arguments command(const std::string& input, const Arguments& more) const {
    Arguments arguments = {GetParam().name, input};
    arguments.insert(arguments.end(), GetParam().more.begin(), GetParam().more.end());
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  CommandResult into(const std::string& output,
                     const std::string& input,
                     Arguments more = {}) const {
    more.insert(more.end(), {"--output", output});
    return ssf(command(input, more));
  }

  // An input that the command takes.
  std::string goodInput() const {
    std::string document = write("document", "what it is about\n");
    Arguments maker = GetParam().maker;
    if (maker.empty()) {
      return document;
    }
    maker.insert(maker.begin() + 1, {document, "-o", file("input")});
    const CommandResult made = ssf(maker);
    EXPECT_EQ(made.exitCode, 0) << made.err;
    return file("input");
  }

  std::size_t filesIn(const std::string& folder) const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
  }
};

INSTANTIATE_TEST_SUITE_P(
    All,
    SsfCommand,
    ::testing::Values(
        CommandCase{"digest", {}, {}, "input"},
        CommandCase{"encode", {}, {}, "input"},
        CommandCase{"decode", {}, {}, "input"},
        CommandCase{"sign", kAnna, {}, "input"},
        CommandCase{
            "addsign", {"-s", "CN=Boris Sokolov"}, {"sign", "-s", "CN=Anna Orlova"}, "message"},
        CommandCase{"verify", {}, {"sign", "-s", "CN=Anna Orlova"}, "message"},
        CommandCase{"envelope", {"-r", "CN=Pavel Fedorov"}, {}, "input"},
        CommandCase{
            "develope", {"-r", "CN=Anna Orlova"}, {"envelope", "-r", "CN=Anna Orlova"}, "message"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_P(SsfCommand, NamesAnInputThatItCannotTake) {
  const std::string big = write("big", "");
  ASSERT_EQ(truncate(big.c_str(), 2'147'483'648), 0);
  const std::pair<std::string, std::string> inputs[] = {
      {"/nonexistent/in", "No such file or directory"},
      {lab("pem"), "is a folder; name a file in it"},
      {write("empty", ""), "is empty; an SSF call takes at least one byte"},
      {big, "more than 2147483647 bytes, the most that one SSF call can take"}};
  for (const auto& [path, reason] : inputs) {
    const CommandResult result = into(file("out"), path);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "qxssf: " + path + ": " + reason + "\n");
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(exists("out"));
  }
}

TEST_P(SsfCommand, TellsAFaultOfItsInputInJsonAlone) {
  const CommandResult result = into(file("out"), "/nonexistent/in", {"--json"});
  const nlohmann::json json = nlohmann::json::parse(result.out);
  EXPECT_EQ(json["error"]["exitCode"], 2);
  EXPECT_EQ(json["error"]["message"], "/nonexistent/in: No such file or directory");
  EXPECT_EQ(json.size(), 1U);
  EXPECT_EQ(result.exitCode, 2);
}

TEST_P(SsfCommand, TellsInJsonWhatItReadAndWrote) {
  const std::string input = goodInput();
  const CommandResult result = into(file("out"), input, {"--json"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const nlohmann::json json = nlohmann::json::parse(result.out);
  EXPECT_EQ(json["code"], 0);
  EXPECT_EQ(json[GetParam().inputFact], input);
  EXPECT_EQ(json["output"], file("out"));
  EXPECT_FALSE(json.contains("error"));
  EXPECT_EQ(result.err, "");
}

TEST_P(SsfCommand, PassesBytesThroughPipes) {
  const std::string input = goodInput();
  ASSERT_EQ(into(file("out"), input).exitCode, 0);
  const CommandResult piped = ssf(command("-", {"-o", "-"}), {.input = readFile(input)});
  ASSERT_EQ(piped.exitCode, 0) << piped.err;
  EXPECT_THAT(piped.err, HasSubstr("standard input: "));
  // Signatures and keys are drawn anew each time; their sizes may differ by a few bytes.
  EXPECT_NEAR(
      static_cast<double>(piped.out.size()), static_cast<double>(readFile(file("out")).size()), 8);
}

TEST_P(SsfCommand, RefusesJsonAndBytesOnOneStream) {
  const CommandResult result = into("-", goodInput(), {"--json"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(nlohmann::json::parse(result.out)["error"]["exitCode"], 1);
  EXPECT_THAT(result.err, HasSubstr("--json needs --output FILE"));
}

TEST_P(SsfCommand, WritesNowhereWhereItCannot) {
  const std::string input = goodInput();
  const std::size_t before = filesIn(fs::path(input).parent_path());
  const std::pair<std::string, std::string> outputs[] = {
      {"/dev/full", "No space left on device"},
      {file("missing/out"), "No such file or directory"},
      {input + "/out", "Not a directory"},
      {userFolder(), "Is a directory"},
      {file(std::string(256, 'n')), "File name too long"}};
  for (const auto& [path, reason] : outputs) {
    const CommandResult result = into(path, input);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.err, AllOf(StartsWith("qxssf: " + path), HasSubstr(reason)));
  }
  EXPECT_EQ(filesIn(fs::path(input).parent_path()), before);
}

TEST_P(SsfCommand, KeepsTheRightsOfTheFileThatItReplaces) {
  const std::string out = write("out", "older");
  ASSERT_EQ(chmod(out.c_str(), 0600), 0);
  ASSERT_EQ(symlink("out", file("link").c_str()), 0);
  ASSERT_EQ(into(file("link"), goodInput()).exitCode, 0);
  EXPECT_NE(readFile(out), "older");
  EXPECT_TRUE(fs::is_symlink(file("link")));
  EXPECT_EQ(fs::status(out).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_P(SsfCommand, LeavesEverythingAloneWhenTheLibraryIsMissing) {
  write("out", "older");
  const CommandResult result = into(file("out"), goodInput(), {"--library", "/nonexistent/lib.so"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.err, StartsWith("qxssf: the SSF library cannot be loaded: "));
  EXPECT_EQ(readFile(file("out")), "older");
}

TEST_P(SsfCommand, TakesOneInputAndTheFormatsOfTheInterface) {
  const std::string input = goodInput();
  const CommandResult second = into(file("out"), input, {input});
  EXPECT_EQ(second.exitCode, 1);
  EXPECT_THAT(second.err, HasSubstr(std::string("qxssf ") + GetParam().name + " --help"));
  for (const char* format : {"", "PKCS1", "pkcs7", "PKCS7 ", "PKCS7_CADES_X"}) {
    const CommandResult result = into(file("out"), input, {"--format", format});
    EXPECT_EQ(result.exitCode, 1) << format;
    EXPECT_THAT(result.err, HasSubstr("PKCS7_ANY")) << format;
  }
  EXPECT_FALSE(exists("out"));
}

TEST_P(SsfCommand, ReportsNothingWhenItsReportIsLost) {
  const std::string input = goodInput();
  const Arguments whole = command(input, {"-o", file("out")});
  Arguments arguments = {"sh", "-c", "exec \"$@\" > /dev/full", "sh", tool("qxssf")};
  arguments.insert(arguments.end(), whole.begin(), whole.end());
  const CommandResult result = start(arguments);
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, StrEq("qxssf: standard output: No space left on device\n"));
}

TEST_P(SsfCommand, HelpsOnOneScreen) {
  const CommandResult result = ssf({GetParam().name, "--help"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_LE(std::ranges::count(result.out, '\n'), 40) << result.out;
  EXPECT_THAT(result.out, AllOf(HasSubstr("FILE"), HasSubstr("--output"), HasSubstr("--format")));
  EXPECT_EQ(ssf({GetParam().name, "-h"}).out, result.out);
}

TEST_P(SsfCommand, WantsItsInputWhenStandardInputIsClosed) {
  Arguments arguments = {"sh", "-c", "exec \"$@\" <&-", "sh", tool("qxssf")};
  const Arguments whole = command("-", {"-o", file("out")});
  arguments.insert(arguments.end(), whole.begin(), whole.end());
  const CommandResult result = start(arguments);
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxssf: standard input: Bad file descriptor\n");
  EXPECT_FALSE(exists("out"));
}

}  // namespace
}  // namespace qx::test::ssf_commands_test
