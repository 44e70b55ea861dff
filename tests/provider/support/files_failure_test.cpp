// Files on a system that fails: full disks, no descriptors, writers that die.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/support/files.h"
#include "tests/support/temp_dir.h"

namespace qx::test::files_failure_test {
namespace {

using qx::Fd;
using qx::Result;
using testing::ElementsAre;
using testing::StartsWith;

std::vector<std::uint8_t> manyBytes() {
  return std::vector<std::uint8_t>(100'000, 'n');
}

/// A limit of this process that holds while the object lives.
class Limit {
 public:
  Limit(__rlimit_resource_t resource, rlim_t value) : resource_(resource) {
    EXPECT_EQ(getrlimit(resource, &before_), 0);
    const rlimit limit = {.rlim_cur = value, .rlim_max = before_.rlim_max};
    EXPECT_EQ(setrlimit(resource, &limit), 0);
  }

  ~Limit() { setrlimit(resource_, &before_); }

  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  Limit(Limit&&) = delete;
  Limit& operator=(Limit&&) = delete;

 private:
  __rlimit_resource_t resource_;
  rlimit before_{};
};

class FailingFiles : public testing::Test {
 protected:
  void SetUp() override {
    Result<Fd> folder = qx::openFolder(dir_.path());
    ASSERT_TRUE(folder);
    folder_ = *std::move(folder);
    dir_.write("a", "old");
  }

  int folder() const { return folder_.get(); }

  std::string content() const { return qx::test::readFile(dir_.file("a")); }

  std::vector<std::string> names() const { return *qx::namesIn(folder()); }

  qx::test::TempDir dir_;

 private:
  Fd folder_;
};

TEST_F(FailingFiles, StayAsTheyWereWhenTheDiskIsFull) {
  // The size limit stands for the disk: part of the bytes is written, then no more.
  void (*const before)(int) = std::signal(SIGXFSZ, SIG_IGN);
  DWORD error = ERROR_SUCCESS;
  {
    const Limit limit(RLIMIT_FSIZE, 50'000);
    error = qx::writeFileIn(folder(), "a", manyBytes(), 0600).error();
  }
  static_cast<void>(std::signal(SIGXFSZ, before));
  EXPECT_EQ(error, CRYPT_E_FILE_ERROR);
  EXPECT_EQ(content(), "old");
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(FailingFiles, StayAsTheyWereWhenTheWriterDies) {
  const pid_t child = fork();
  if (child == 0) {
    // Ends the process in the middle of the file.
    const rlimit noCore = {.rlim_cur = 0, .rlim_max = 0};
    const rlimit size = {.rlim_cur = 50'000, .rlim_max = 50'000};
    static_cast<void>(std::signal(SIGXFSZ, SIG_DFL));
    setrlimit(RLIMIT_CORE, &noCore);
    setrlimit(RLIMIT_FSIZE, &size);
    static_cast<void>(qx::writeFileIn(folder(), "a", manyBytes(), 0600));
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGXFSZ);
  EXPECT_EQ(content(), "old");
  // What the dead writer leaves is hidden, and in nobody's way.
  EXPECT_THAT(names(), ElementsAre(StartsWith(".tmp-"), "a"));
  EXPECT_TRUE(qx::writeFileIn(folder(), "a", manyBytes(), 0600));
  EXPECT_EQ(content().size(), manyBytes().size());
}

TEST_F(FailingFiles, TellThatThereAreNoDescriptors) {
  const Limit limit(RLIMIT_NOFILE, 0);
  EXPECT_EQ(qx::readFileIn(folder(), "a", 100).error(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::readSecretIn(folder(), "a", 100).error(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::namesIn(folder()).error(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::openFolder(dir_.path()).error(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::openFolderIn(folder(), "b").error(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::makeFolder(dir_.path(), 0700).error(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::writeFileIn(folder(), "a", {}, 0600).error(), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::FolderLock::acquire(folder()).error(), ERROR_TOO_MANY_OPEN_FILES);
  // What needs none goes on.
  EXPECT_TRUE(qx::stampIn(folder(), "a"));
  EXPECT_TRUE(qx::stampOf(folder()));
}

TEST_F(FailingFiles, LeakNoDescriptorsOnAnyPath) {
  const Fd before(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int next = before.get() + 1;
  ASSERT_EQ(mkfifo(dir_.file("pipe").c_str(), 0600), 0);
  for (int i = 0; i < 50; ++i) {
    static_cast<void>(qx::readFileIn(folder(), "a", 1));
    static_cast<void>(qx::readFileIn(folder(), "a", 100));
    static_cast<void>(qx::readFileIn(folder(), "pipe", 100));
    static_cast<void>(qx::namesIn(folder()));
    static_cast<void>(qx::openFolderIn(folder(), "a"));
    static_cast<void>(qx::writeFileIn(folder(), "b", manyBytes(), 0600));
    static_cast<void>(qx::FolderLock::acquire(folder()));
  }
  const Fd after(open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_LE(after.get(), next);
}

// A file of the kernel tells a size of 0 and has more, as one does that grows while it is read.
TEST_F(FailingFiles, ThatGrowWhileTheyAreReadAreRefused) {
  const Result<Fd> kernel = qx::openFolder("/proc/sys/kernel");
  ASSERT_TRUE(kernel);
  ASSERT_EQ(qx::stampIn(kernel->get(), "ostype")->size, 0U);
  EXPECT_EQ(qx::readFileIn(kernel->get(), "ostype", 100).error(), ERROR_INVALID_DATA);
  EXPECT_EQ(qx::readSecretIn(kernel->get(), "ostype", 100).error(), ERROR_INVALID_DATA);
}

TEST_F(FailingFiles, CannotBeHadThroughWhatIsNoFolder) {
  const Fd file(open(dir_.file("a").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(qx::readFileIn(file.get(), "a", 100).error(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(qx::stampIn(file.get(), "a").error(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(qx::namesIn(file.get()).error(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(qx::writeFileIn(file.get(), "a", {}, 0600).error(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(qx::removeFileIn(file.get(), "a").error(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(qx::readFileIn(-1, "a", 100).error(), CRYPT_E_FILE_ERROR);
}

TEST_F(FailingFiles, HaveNamesOfAtMost255Bytes) {
  const std::string longest(255, 'x');
  const std::string tooLong(256, 'x');
  EXPECT_TRUE(qx::writeFileIn(folder(), longest.c_str(), {}, 0600));
  EXPECT_TRUE(qx::readFileIn(folder(), longest.c_str(), 1));
  EXPECT_EQ(qx::writeFileIn(folder(), tooLong.c_str(), {}, 0600).error(), ERROR_INVALID_NAME);
  EXPECT_EQ(qx::readFileIn(folder(), tooLong.c_str(), 1).error(), ERROR_INVALID_NAME);
  EXPECT_EQ(names().size(), 2U);
}

TEST_F(FailingFiles, AreSeenOldOrNewByWhoReadsThemMeanwhile) {
  const std::string first(20'000, '1');
  const std::string second(30'000, '2');
  dir_.write("a", first);
  const pid_t child = fork();
  if (child == 0) {
    for (int i = 0; i < 100; ++i) {
      const std::string& text = i % 2 == 0 ? second : first;
      const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
      if (!qx::writeFileIn(folder(), "a", {bytes, text.size()}, 0600)) {
        _exit(1);
      }
    }
    _exit(0);
  }
  int status = 0;
  unsigned reads = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    const Result<std::vector<std::uint8_t>> bytes = qx::readFileIn(folder(), "a", 100'000);
    ASSERT_TRUE(bytes) << bytes.error();
    const std::string text(bytes->begin(), bytes->end());
    ASSERT_TRUE(text == first || text == second) << text.size();
    ++reads;
  }
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_GT(reads, 0U);
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(FailingFiles, LoseTheirLockWithItsHolder) {
  const pid_t child = fork();
  if (child == 0) {
    const Result<qx::FolderLock> lock = qx::FolderLock::acquire(folder());
    _exit(lock ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  // Nobody waits for the dead.
  EXPECT_TRUE(qx::FolderLock::acquire(folder()));
}

}  // namespace
}  // namespace qx::test::files_failure_test
