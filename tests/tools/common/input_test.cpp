#include "tools/common/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"
#include "tools/common/descriptor.h"

namespace qx::tools::input_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string textOf(const Input& input) {
  return {input.bytes().begin(), input.bytes().end()};
}

// Standard input is this descriptor while the object lives.
class StandardInput {
 public:
  explicit StandardInput(int fd) : before_(dup(STDIN_FILENO)) { dup2(fd, STDIN_FILENO); }

  ~StandardInput() { dup2(before_.get(), STDIN_FILENO); }

  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;
  StandardInput(StandardInput&&) = delete;
  StandardInput& operator=(StandardInput&&) = delete;

 private:
  Descriptor before_;
};

TEST(Input, HoldsTheBytesOfAFile) {
  const test::TempDir folder;
  const std::string bytes("a\0b\xff\n", 5);
  const Input input(folder.write("file", bytes));
  EXPECT_EQ(textOf(input), bytes);
  EXPECT_EQ(input.name(), folder.file("file"));
}

TEST(Input, MayBeEmpty) {
  const test::TempDir folder;
  EXPECT_TRUE(Input(folder.write("file", "")).bytes().empty());
}

TEST(Input, NamesAFileThatIsMissing) {
  expectRefusal([] { Input("/nonexistent/file"); },
                ExitCode::Input,
                StartsWith("/nonexistent/file: No such file"));
}

TEST(Input, RefusesAFolder) {
  const test::TempDir folder;
  expectRefusal(
      [&] { Input const input(folder.path()); }, ExitCode::Input, HasSubstr("is a folder"));
}

TEST(Input, OfAFileIsCopied) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "content");
  const Input input(path, InputKind::File);
  ASSERT_EQ(truncate(path.c_str(), 0), 0);
  EXPECT_EQ(std::string(input.bytes().begin(), input.bytes().end()), "content");
  EXPECT_TRUE(Input(path, InputKind::File).bytes().empty());
}

TEST(Input, OfAFileIsNeitherPipeNorDevice) {
  const test::TempDir folder;
  ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder.file("pipe"), std::string("/dev/null")}) {
    expectRefusal([&] { Input const input(path, InputKind::File); },
                  ExitCode::Input,
                  AllOf(StartsWith(path), HasSubstr("is no regular file")));
  }
  expectRefusal([] { Input const input("-", InputKind::File); },
                ExitCode::Input,
                HasSubstr("-: No such file"));
}

TEST(Input, ThatWasFoundIsNoLink) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "content");
  const std::string link = folder.file("link");
  ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
  EXPECT_EQ(Input(link, InputKind::File).bytes().size(), 7U);
  EXPECT_EQ(Input(path, InputKind::FoundFile).bytes().size(), 7U);
  expectRefusal(
      [&] { Input const input(link, InputKind::FoundFile); }, ExitCode::Input, StartsWith(link));
}

TEST(Input, RefusesMoreThanALengthCanTell) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "");
  ASSERT_EQ(truncate(path.c_str(), 2'147'483'648), 0);
  expectRefusal([&] { Input const input(path); },
                ExitCode::Input,
                AllOf(StartsWith(path), HasSubstr("2147483647")));
}

TEST(Input, TakesTheMostThatALengthCanTell) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "");
  ASSERT_EQ(truncate(path.c_str(), 2'147'483'647), 0);
  EXPECT_EQ(Input(path).bytes().size(), 2'147'483'647U);
}

TEST(Input, ReadsAPipeToItsEnd) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Descriptor reading(ends[0]);
  if (fork() == 0) {
    const std::string bytes(200'000, 'x');
    _exit(write(ends[1], bytes.data(), bytes.size()) == 200'000 ? 0 : 1);
  }
  close(ends[1]);
  const StandardInput standard(reading.get());
  EXPECT_EQ(Input("-").bytes().size(), 200'000U);
}

TEST(Input, ReadsStandardInputFromWhereItStands) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "abcdef");
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(lseek(file.get(), 2, SEEK_SET), 2);
  const StandardInput standard(file.get());
  const Input input("-");
  EXPECT_EQ(textOf(input), "cdef");
  EXPECT_EQ(input.name(), "standard input");
}

TEST(Input, ReadsANamedPipe) {
  const test::TempDir folder;
  const std::string path = folder.file("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const pid_t child = fork();
  if (child == 0) {
    const std::string bytes(100'000, 'y');
    const Descriptor pipe(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    _exit(write(pipe.get(), bytes.data(), bytes.size()) == 100'000 ? 0 : 1);
  }
  EXPECT_EQ(textOf(Input(path)), std::string(100'000, 'y'));
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(Input, ReadsAFileWhoseSizeTheSystemDoesNotTell) {
  EXPECT_THAT(textOf(Input("/proc/self/status")), HasSubstr("Pid:"));
}

TEST(Input, MayBeTheEmptyDevice) {
  EXPECT_TRUE(Input("/dev/null").bytes().empty());
}

TEST(Input, NamesAFileThatCannotBeRead) {
  // Nothing is mapped at the address 0, where the reading begins.
  expectRefusal([] { const Input input("/proc/self/mem"); },
                ExitCode::Input,
                ::testing::StrEq("/proc/self/mem: Input/output error"));
}

TEST(Input, NamesTheStandardInputThatIsClosedOrAFolder) {
  const Descriptor folder(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  {
    const StandardInput standard(folder.get());
    expectRefusal([] { const Input input("-"); },
                  ExitCode::Input,
                  ::testing::StrEq("standard input: is a folder; name a file in it"));
  }
  const StandardInput standard(folder.get());
  close(STDIN_FILENO);
  expectRefusal([] { const Input input("-"); },
                ExitCode::Input,
                ::testing::StrEq("standard input: Bad file descriptor"));
}

TEST(Input, LeavesStandardInputOpen) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "abc");
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const StandardInput standard(file.get());
  EXPECT_EQ(textOf(Input("-")), "abc");
  EXPECT_GE(fcntl(STDIN_FILENO, F_GETFD), 0);
}

TEST(Input, LeaksNoDescriptors) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "abc");
  const int before = dup(STDIN_FILENO);
  close(before);
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(textOf(Input(path)), "abc");
    EXPECT_THROW(Input const input(folder.path()), ToolError);
    EXPECT_THROW(Input const input("/proc/self/mem"), ToolError);
  }
  const Descriptor after(dup(STDIN_FILENO));
  EXPECT_EQ(after.get(), before);
}

TEST(Input, KeepsWhatItReadWhenTheFileIsReplaced) {
  const test::TempDir folder;
  const std::string path = folder.write("file", "old");
  const Input input(path);
  ASSERT_EQ(rename(folder.write("other", "new").c_str(), path.c_str()), 0);
  EXPECT_EQ(textOf(input), "old");
}

TEST(InputDeathTest, EndsWithAWordWhenItsFileBecomesShorter) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const test::TempDir folder;
  const std::string path = folder.write("file", std::string(100'000, 'x'));
  EXPECT_EXIT(
      {
        const Input input(path);
        static_cast<void>(!truncate(path.c_str(), 0));
        const volatile std::uint8_t* bytes = input.bytes().data();
        _exit(bytes[50'000] == 'x' ? 0 : 99);
      },
      ::testing::ExitedWithCode(static_cast<int>(ExitCode::Input)),
      "became shorter");
}

}  // namespace
}  // namespace qx::tools::input_test
