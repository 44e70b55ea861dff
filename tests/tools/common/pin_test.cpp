#include "tools/common/pin.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"

namespace qx::tools::pin_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using Kind = PinSource::Kind;

class Pin : public ::testing::Test {
 protected:
  std::string pinFile(const std::string& content, mode_t mode = 0600) {
    const std::string path = folder_.write("pin", content);
    chmod(path.c_str(), mode);
    return path;
  }

  std::string read(Kind kind, const std::string& value) {
    return std::string(readPin({.kind = kind, .value = value}, "PIN", report_).text());
  }

  test::TempDir folder_;
  Report report_{"tool"};
};

TEST_F(Pin, IsEmptyWithoutASource) {
  EXPECT_EQ(read(Kind::None, ""), "");
}

TEST_F(Pin, IsTheFirstLineOfAFile) {
  EXPECT_EQ(read(Kind::File, pinFile("4711\nsecond\n")), "4711");
  EXPECT_EQ(read(Kind::File, pinFile("4711")), "4711");
}

TEST_F(Pin, KeepsBlanksAndLosesOnlyTheLineEnd) {
  EXPECT_EQ(read(Kind::File, pinFile(" 47 11 \r\n")), " 47 11 ");
  EXPECT_EQ(read(Kind::File, pinFile("47\r11\n")), "47\r11");
}

TEST_F(Pin, MayBeEmptyInAFile) {
  EXPECT_EQ(read(Kind::File, pinFile("\n4711\n")), "");
  EXPECT_EQ(read(Kind::File, pinFile("")), "");
}

TEST_F(Pin, FileThatOthersCanReadIsWarnedOf) {
  const std::string path = pinFile("4711\n", 0644);
  EXPECT_EQ(read(Kind::File, path), "4711");
  EXPECT_THAT(report_.facts()["warnings"].dump(), AllOf(HasSubstr(path), Not(HasSubstr("4711"))));
}

TEST_F(Pin, PrivateFileIsNotWarnedOf) {
  read(Kind::File, pinFile("4711\n"));
  EXPECT_FALSE(report_.facts().contains("warnings"));
}

TEST_F(Pin, NamesAFileThatIsMissing) {
  expectRefusal([&] { read(Kind::File, "/nonexistent/pin"); },
                ExitCode::Key,
                HasSubstr("/nonexistent/pin: No such file"));
}

TEST_F(Pin, HasAtMost1024Bytes) {
  EXPECT_EQ(read(Kind::File, pinFile(std::string(1024, '1') + "\n")).size(), 1024U);
  expectRefusal([&] { read(Kind::File, pinFile(std::string(1025, '1'))); },
                ExitCode::Key,
                AllOf(HasSubstr("1024"), Not(HasSubstr("111"))));
}

TEST_F(Pin, ComesFromADescriptorOneLineAtATime) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "first\nsecond\n", 13), 13);
  close(ends[1]);
  EXPECT_EQ(read(Kind::Descriptor, std::to_string(ends[0])), "first");
  EXPECT_EQ(read(Kind::Descriptor, std::to_string(ends[0])), "second");
  close(ends[0]);
}

TEST_F(Pin, RefusesWhatIsNoDescriptor) {
  for (const char* value : {"", "x", "3x", "-1", "99999999999"}) {
    expectRefusal([&] { read(Kind::Descriptor, value); }, ExitCode::Usage, HasSubstr(value));
  }
  expectRefusal([&] { read(Kind::Descriptor, "987"); }, ExitCode::Key, HasSubstr("descriptor 987"));
}

TEST_F(Pin, ComesFromTheEnvironment) {
  setenv("QX_PIN_TEST", "47 11", 1);
  EXPECT_EQ(read(Kind::Environment, "QX_PIN_TEST"), "47 11");
  unsetenv("QX_PIN_TEST");
  expectRefusal(
      [&] { read(Kind::Environment, "QX_PIN_TEST"); }, ExitCode::Key, HasSubstr("QX_PIN_TEST"));
}

// A command with PIN options for whoever was named last.
class PinOptions : public ::testing::Test {
 protected:
  PinOptions() {
    app_.add_option_function<std::string>("--for",
                                          [this](const std::string&) { sources_.emplace_back(); })
        ->trigger_on_parse();
    addPinOptions(app_, "pin", "a PIN", [this]() -> PinSource& { return sources_.back(); });
  }

  void parse(const std::string& line) { app_.parse(line); }

  CLI::App app_;
  std::vector<PinSource> sources_;
};

TEST_F(PinOptions, BelongToTheOptionInFrontOfThem) {
  parse("--for a --pin-file f --for b --pin-env E --for c --for d --pin-prompt --for e --pin-fd 3");
  ASSERT_EQ(sources_.size(), 5U);
  EXPECT_EQ(sources_[0].kind, Kind::File);
  EXPECT_EQ(sources_[0].value, "f");
  EXPECT_EQ(sources_[1].kind, Kind::Environment);
  EXPECT_EQ(sources_[1].value, "E");
  EXPECT_EQ(sources_[2].kind, Kind::None);
  EXPECT_EQ(sources_[3].kind, Kind::Prompt);
  EXPECT_EQ(sources_[4].kind, Kind::Descriptor);
  EXPECT_EQ(sources_[4].value, "3");
}

TEST_F(PinOptions, TakeOneSourceOnly) {
  expectRefusal(
      [&] { parse("--for a --pin-file f --pin-env E"); }, ExitCode::Usage, HasSubstr("one source"));
}

TEST_F(PinOptions, RefuseAPinOnTheCommandLineWithoutRepeatingIt) {
  expectRefusal([&] { parse("--for a --pin 4711"); },
                ExitCode::Usage,
                AllOf(HasSubstr("--pin-file"), Not(HasSubstr("4711"))));
}

}  // namespace
}  // namespace qx::tools::pin_test
