#include "tools/qxssf/arguments.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"

namespace qx::ssf::arguments_test {
namespace {

using ::testing::HasSubstr;
using tools::ExitCode;
using tools::expectRefusal;

FileArguments parse(std::vector<std::string> words) {
  CLI::App app;
  FileArguments arguments;
  addFiles(app, arguments, "The result");
  addFormat(app, arguments);
  std::ranges::reverse(words);
  app.parse(std::move(words));
  return arguments;
}

TEST(FileOptions, AreTheStandardStreamsAndPkcs7WhenNothingIsSaid) {
  const FileArguments arguments = parse({});
  EXPECT_EQ(arguments.input, "-");
  EXPECT_EQ(arguments.output, "-");
  EXPECT_EQ(arguments.format, "PKCS7");
}

TEST(FileOptions, NameTheFiles) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"in", "-o", "out", "--format", "CADES"},
        {"-o", "out", "--format", "CADES", "in"},
        {"--output", "out", "in", "--format", "CADES"},
        {"--output=out", "--format=CADES", "--", "in"}}) {
    const FileArguments arguments = parse(words);
    EXPECT_EQ(arguments.input, "in");
    EXPECT_EQ(arguments.output, "out");
    EXPECT_EQ(arguments.format, "CADES");
  }
}

TEST(FileOptions, TakeAFileWhoseNameIsLikeAnOption) {
  EXPECT_EQ(parse({"--", "-o"}).input, "-o");
  EXPECT_EQ(parse({"./-o"}).input, "./-o");
}

TEST(FileOptions, NameOneOfEach) {
  EXPECT_THROW(parse({"in", "second"}), CLI::ParseError);
  EXPECT_THROW(parse({"-o", "a", "-o", "b"}), CLI::ParseError);
  EXPECT_THROW(parse({"-o"}), CLI::ParseError);
  EXPECT_THROW(parse({"--format", "CADES", "--format", "PKCS7"}), CLI::ParseError);
}

TEST(Formats, AreTheFourOfTheInterface) {
  for (const char* format : {"PKCS7", "CADES", "PKCS7_CADES", "PKCS7_ANY"}) {
    EXPECT_EQ(parse({"--format", format}).format, format);
  }
  for (const char* format : {"", "pkcs7", "CAdES", "PKCS7 ", "PKCS7,CADES", "CMS"}) {
    EXPECT_THROW(parse({"--format", format}), CLI::ValidationError) << format;
  }
}

TEST(Formats, ThatMakeCadesMessagesAreToldFromTheOthers) {
  EXPECT_TRUE(isCades(parse({"--format", "CADES"})));
  EXPECT_TRUE(isCades(parse({"--format", "PKCS7_CADES"})));
  EXPECT_FALSE(isCades(parse({"--format", "PKCS7"})));
  EXPECT_FALSE(isCades(parse({"--format", "PKCS7_ANY"})));
}

TEST(Content, IsAtLeastOneByte) {
  const test::TempDir folder;
  const std::string path = folder.write("empty", "");
  expectRefusal(
      [&] { requireContent(tools::Input(path)); }, ExitCode::Input, HasSubstr(path + ": is empty"));
  expectRefusal(
      [] { requireContent(tools::Input("/dev/null")); }, ExitCode::Input, HasSubstr("/dev/null"));
  EXPECT_NO_THROW(requireContent(tools::Input(folder.write("one", std::string(1, '\0')))));
}

TEST(Delivery, WritesTheFileAndSaysSo) {
  const test::TempDir folder;
  tools::Report report("qxssf");
  const std::uint8_t bytes[] = {0, 1, 2};
  deliver(report, folder.file("out"), bytes);
  EXPECT_EQ(test::readFile(folder.file("out")), std::string("\0\1\2", 3));
  EXPECT_EQ(report.facts()["output"], folder.file("out"));
  EXPECT_EQ(report.facts()["bytes"], 3);
}

TEST(Delivery, SaysNothingOfAFileThatCannotBeWritten) {
  tools::Report report("qxssf");
  expectRefusal([&] { deliver(report, "/nonexistent/out", {}); },
                ExitCode::Input,
                HasSubstr("/nonexistent/out"));
  EXPECT_TRUE(report.facts().empty());
}

}  // namespace
}  // namespace qx::ssf::arguments_test
