#include "tools/qxssf/message_files.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"

namespace qx::ssf::message_files_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using tools::ExitCode;
using tools::expectRefusal;

class MessageFilesTest : public ::testing::Test {
 protected:
  static std::string textOf(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
  }

  test::TempDir folder_;
  std::string message_ = folder_.write("message", "a message");
};

TEST_F(MessageFilesTest, HoldMessageAndContent) {
  const MessageFiles files(message_, folder_.write("content", "its content"));
  EXPECT_EQ(files.message().name(), message_);
  EXPECT_EQ(textOf(files.message().bytes()), "a message");
  EXPECT_EQ(textOf(files.contentBytes()), "its content");
}

TEST_F(MessageFilesTest, HoldNoContentThatWasNotNamed) {
  const MessageFiles files(message_, "");
  EXPECT_THAT(files.contentBytes(), IsEmpty());
}

TEST_F(MessageFilesTest, AreRefusedWhenEmptyOrMissing) {
  const std::string empty = folder_.write("empty", "");
  expectRefusal([&] { const MessageFiles files(empty, ""); }, ExitCode::Input, HasSubstr(empty));
  expectRefusal(
      [&] { const MessageFiles files(message_, empty); }, ExitCode::Input, HasSubstr(empty));
  expectRefusal([&] { const MessageFiles files(message_, "/nonexistent/file"); },
                ExitCode::Input,
                HasSubstr("/nonexistent/file"));
}

TEST_F(MessageFilesTest, DoNotBothComeFromStandardInput) {
  expectRefusal(
      [] { const MessageFiles files("-", "-"); }, ExitCode::Usage, HasSubstr("standard input"));
}

TEST_F(MessageFilesTest, TellWhatTheLibraryRefused) {
  const MessageFiles detached(message_, "");
  expectRefusal([&] { detached.refuseInput(); },
                ExitCode::Input,
                AllOf(HasSubstr(message_), HasSubstr("name the signed file with --content")));
  const MessageFiles different(message_, folder_.write("content", "another content"));
  expectRefusal([&] { different.refuseInput(); },
                ExitCode::Changed,
                AllOf(HasSubstr("content"), HasSubstr("is not the content")));
}

}  // namespace
}  // namespace qx::ssf::message_files_test
