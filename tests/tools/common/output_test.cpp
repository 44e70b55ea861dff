#include "tools/common/output.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"

namespace qx::tools::output_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::size_t filesIn(const test::TempDir& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
}

mode_t modeOf(const std::string& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

class Output : public ::testing::Test {
 protected:
  void SetUp() override { before_ = umask(022); }

  void TearDown() override { umask(before_); }

  test::TempDir folder_;
  mode_t before_ = 0;
};

TEST_F(Output, MakesAFileAndNothingElse) {
  writeOutput(folder_.file("new"), std::string_view("content"));
  EXPECT_EQ(test::readFile(folder_.file("new")), "content");
  EXPECT_EQ(filesIn(folder_), 1U);
}

TEST_F(Output, GivesANewFileTheRightsThatTheUmaskAllows) {
  writeOutput(folder_.file("new"), std::string_view("content"));
  EXPECT_EQ(modeOf(folder_.file("new")), 0644U);
}

TEST_F(Output, GivesANewFileTheRightsThatWereAsked) {
  writeOutput(folder_.file("new"), std::string_view("content"), 0600);
  EXPECT_EQ(modeOf(folder_.file("new")), 0600U);
}

TEST_F(Output, KeepsTheRightsOfAFileThatItReplaces) {
  const std::string path = folder_.write("old", "a much longer content");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  writeOutput(path, std::string_view("new"));
  EXPECT_EQ(test::readFile(path), "new");
  EXPECT_EQ(modeOf(path), 0640U);
}

TEST_F(Output, GivesAPrivateFileToItsOwnerAlone) {
  writePrivateOutput(folder_.file("new"), std::string_view("content"));
  EXPECT_EQ(test::readFile(folder_.file("new")), "content");
  EXPECT_EQ(modeOf(folder_.file("new")), 0600U);
}

TEST_F(Output, TakesTheRightsFromAFileThatAPrivateOneReplaces) {
  const std::string path = folder_.write("old", "a much longer content");
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  writePrivateOutput(path, std::string_view("new"));
  EXPECT_EQ(test::readFile(path), "new");
  EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(Output, ReplacesTheFileSoThatWhoReadsTheOldOneKeepsIt) {
  const std::string path = folder_.write("old", "old");
  ASSERT_EQ(link(path.c_str(), folder_.file("same").c_str()), 0);
  writeOutput(path, std::string_view("new"));
  EXPECT_EQ(test::readFile(folder_.file("same")), "old");
}

TEST_F(Output, FollowsALinkAndKeepsIt) {
  const std::string path = folder_.write("target", "old");
  ASSERT_EQ(symlink("target", folder_.file("link").c_str()), 0);
  writeOutput(folder_.file("link"), std::string_view("new"));
  EXPECT_TRUE(fs::is_symlink(folder_.file("link")));
  EXPECT_EQ(test::readFile(path), "new");
}

TEST_F(Output, WritesToADeviceInsteadOfReplacingIt) {
  writeOutput("/dev/null", std::string_view("content"));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(Output, NamesAFileThatCannotBeMade) {
  const std::string path = folder_.file("missing/file");
  expectRefusal(
      [&] { writeOutput(path, std::string_view("x")); }, ExitCode::Input, StartsWith(path));
  EXPECT_EQ(filesIn(folder_), 0U);
}

TEST_F(Output, NamesADeviceThatTakesNothing) {
  expectRefusal([] { writeOutput("/dev/full", std::string_view("x")); },
                ExitCode::Input,
                StartsWith("/dev/full: No space"));
}

// The longest file that the process may write, and no signal when it wants more.
class FileLimit {
 public:
  explicit FileLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{.rlim_cur = bytes, .rlim_max = before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }

  ~FileLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    static_cast<void>(std::signal(SIGXFSZ, handler_));
  }

  FileLimit(const FileLimit&) = delete;
  FileLimit& operator=(const FileLimit&) = delete;
  FileLimit(FileLimit&&) = delete;
  FileLimit& operator=(FileLimit&&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int) = nullptr;
};

TEST_F(Output, LeavesTheOldFileAndNothingElseWhenTheWritingFails) {
  const std::string path = folder_.write("old", "old");
  const FileLimit limit(1000);
  expectRefusal(
      [&] { writeOutput(path, std::string(2000, 'x')); }, ExitCode::Input, StartsWith(path));
  EXPECT_EQ(test::readFile(path), "old");
  EXPECT_EQ(filesIn(folder_), 1U);
}

TEST_F(Output, GivesAFileTheLongestNameThatThereIs) {
  const std::string longest(255, 'n');
  writeOutput(folder_.file(longest), std::string_view("content"));
  EXPECT_EQ(test::readFile(folder_.file(longest)), "content");
  expectRefusal([&] { writeOutput(folder_.file(longest + "n"), std::string_view("x")); },
                ExitCode::Input,
                HasSubstr("File name too long"));
  EXPECT_EQ(filesIn(folder_), 1U);
}

TEST_F(Output, WantsAName) {
  expectRefusal(
      [] { writeOutput("", std::string_view("x")); }, ExitCode::Usage, HasSubstr("empty"));
}

TEST_F(Output, TakesANameInTheWorkingFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_.path());
  writeOutput("plain", std::string_view("content"));
  fs::current_path(before);
  EXPECT_EQ(test::readFile(folder_.file("plain")), "content");
  EXPECT_EQ(filesIn(folder_), 1U);
}

TEST_F(Output, WritesIntoAPipeThatSomebodyReads) {
  const std::string path = folder_.file("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const std::string bytes(200'000, 'x');
  const pid_t child = fork();
  if (child == 0) {
    writeOutput(path, bytes);
    _exit(0);
  }
  EXPECT_EQ(test::readFile(path), bytes);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(fs::is_fifo(path));
}

TEST_F(Output, PutsAFileWhereALinkLeadsNowhere) {
  ASSERT_EQ(symlink("nowhere", folder_.file("link").c_str()), 0);
  writeOutput(folder_.file("link"), std::string_view("new"));
  EXPECT_EQ(test::readFile(folder_.file("link")), "new");
  EXPECT_FALSE(fs::exists(folder_.file("nowhere")));
  EXPECT_EQ(filesIn(folder_), 1U);
}

TEST_F(Output, ReplacesTheEndOfAChainOfLinksInAnotherFolder) {
  const std::string path = folder_.write("other/target", "old");
  ASSERT_EQ(symlink("other/target", folder_.file("second").c_str()), 0);
  ASSERT_EQ(symlink("second", folder_.file("first").c_str()), 0);
  writeOutput(folder_.file("first"), std::string_view("new"));
  EXPECT_TRUE(fs::is_symlink(folder_.file("first")));
  EXPECT_TRUE(fs::is_symlink(folder_.file("second")));
  EXPECT_EQ(test::readFile(path), "new");
  EXPECT_EQ(filesIn(folder_), 3U);
}

TEST_F(Output, KeepsTheRightsOfAFileThatNobodyMayWrite) {
  const std::string path = folder_.write("old", "old");
  ASSERT_EQ(chmod(path.c_str(), 0400), 0);
  writeOutput(path, std::string_view("new"));
  EXPECT_EQ(test::readFile(path), "new");
  EXPECT_EQ(modeOf(path), 0400U);
}

TEST_F(Output, HasNoRightsForOthersBeforeItIsWhole) {
  // The temporary file is made for its owner alone, whatever the umask is.
  umask(0);
  const FileLimit limit(1000);
  const std::string path = folder_.file("secret");
  expectRefusal(
      [&] { writeOutput(path, std::string(2000, 'x'), 0600); }, ExitCode::Input, StartsWith(path));
  EXPECT_EQ(filesIn(folder_), 0U);
  writeOutput(path, std::string(500, 'x'), 0600);
  EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(Output, IsSeenOldOrNewByWhoReadsItMeanwhile) {
  const std::string path = folder_.write("file", std::string(50'000, 'a'));
  const pid_t child = fork();
  if (child == 0) {
    for (int round = 0; round < 30; ++round) {
      writeOutput(path, std::string(50'000, round % 2 == 0 ? 'b' : 'a'));
    }
    _exit(0);
  }
  int status = -1;
  while (waitpid(child, &status, WNOHANG) == 0) {
    const std::string seen = test::readFile(path);
    ASSERT_EQ(seen.size(), 50'000U);
    ASSERT_EQ(seen.find_first_not_of(seen.front()), std::string::npos);
  }
  EXPECT_EQ(status, 0);
}

TEST_F(Output, SaysThatStandardOutputIsClosed) {
  const pid_t child = fork();
  if (child == 0) {
    close(STDOUT_FILENO);
    try {
      writeOutput("-", std::string_view("x"));
    } catch (const ToolError& error) {
      _exit(std::string(error.what()) == "standard output: Bad file descriptor" ? 42 : 1);
    }
    _exit(2);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST_F(Output, RefusesAFolder) {
  expectRefusal([&] { writeOutput(folder_.path(), std::string_view("x")); },
                ExitCode::Input,
                StartsWith(folder_.path()));
}

}  // namespace
}  // namespace qx::tools::output_test
