#include "provider/support/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace qx::test::files_test {
namespace {

using qx::Fd;
using qx::Result;

constexpr std::size_t kLimit = 1024;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

mode_t modeOf(const std::string& path) {
  struct stat status{};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

class Files : public testing::Test {
 protected:
  void SetUp() override {
    Result<Fd> folder = qx::openFolder(dir_.path());
    ASSERT_TRUE(folder);
    folder_ = *std::move(folder);
  }

  int folder() const { return folder_.get(); }

  DWORD readError(const char* name, std::size_t limit = kLimit) const {
    return qx::readFileIn(folder(), name, limit).error();
  }

  qx::test::TempDir dir_;

 private:
  Fd folder_;
};

TEST_F(Files, AreReadWhole) {
  dir_.write("a", std::string("x\0y", 3));
  const Result<std::vector<std::uint8_t>> bytes = qx::readFileIn(folder(), "a", kLimit);
  ASSERT_TRUE(bytes);
  EXPECT_EQ(std::string(bytes->begin(), bytes->end()), std::string("x\0y", 3));
  dir_.write("empty", "");
  EXPECT_TRUE(qx::readFileIn(folder(), "empty", kLimit)->empty());
}

TEST_F(Files, AreReadUpToTheLimitAndNotAbove) {
  dir_.write("a", std::string(kLimit, 'x'));
  EXPECT_EQ(qx::readFileIn(folder(), "a", kLimit)->size(), kLimit);
  EXPECT_EQ(readError("a", kLimit - 1), ERROR_INVALID_DATA);
}

TEST_F(Files, AreReadIntoSecretMemoryToo) {
  dir_.write("key", "secret");
  const Result<qx::SecretBytes> secret = qx::readSecretIn(folder(), "key", kLimit);
  ASSERT_TRUE(secret);
  EXPECT_EQ(secret->text(), "secret");
  EXPECT_EQ(qx::readSecretIn(folder(), "none", kLimit).error(), ERROR_FILE_NOT_FOUND);
}

TEST_F(Files, AreReadOnlyWhenTheyAreRegular) {
  dir_.write("target", "x");
  ASSERT_EQ(symlink("target", dir_.file("link").c_str()), 0);
  ASSERT_EQ(mkfifo(dir_.file("pipe").c_str(), 0600), 0);
  ASSERT_EQ(mkdir(dir_.file("folder").c_str(), 0700), 0);
  EXPECT_EQ(readError("link"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(readError("pipe"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(readError("folder"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(readError("none"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Files, AreNamedByOneComponent) {
  dir_.write("folder/a", "x");
  for (const char* name : {"", ".", "..", "folder/a", "/etc/passwd", "../x"}) {
    EXPECT_EQ(readError(name), ERROR_INVALID_NAME) << name;
    EXPECT_EQ(qx::stampIn(folder(), name).error(), ERROR_INVALID_NAME);
    EXPECT_EQ(qx::writeFileIn(folder(), name, {}, 0600).error(), ERROR_INVALID_NAME);
    EXPECT_EQ(qx::removeFileIn(folder(), name).error(), ERROR_INVALID_NAME);
    EXPECT_EQ(qx::openFolderIn(folder(), name).error(), ERROR_INVALID_NAME);
  }
}

TEST_F(Files, AreWrittenWithTheirModeWhateverTheUmask) {
  const mode_t before = umask(0);
  EXPECT_TRUE(qx::writeFileIn(folder(), "key", bytesOf("k"), 0600));
  umask(0777);
  EXPECT_TRUE(qx::writeFileIn(folder(), "certificate", bytesOf("c"), 0644));
  umask(before);
  EXPECT_EQ(modeOf(dir_.file("key")), 0600U);
  EXPECT_EQ(modeOf(dir_.file("certificate")), 0644U);
  EXPECT_EQ(qx::test::readFile(dir_.file("key")), "k");
}

TEST_F(Files, AreReplacedAsAWhole) {
  dir_.write("a", "old and longer");
  const Fd reader(open(dir_.file("a").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(qx::writeFileIn(folder(), "a", bytesOf("new"), 0600));
  EXPECT_EQ(qx::test::readFile(dir_.file("a")), "new");
  // Who had the old file open still sees it unchanged.
  std::string old(14, '\0');
  EXPECT_EQ(read(reader.get(), old.data(), old.size()), 14);
  EXPECT_EQ(old, "old and longer");
}

TEST_F(Files, ReplaceALinkInsteadOfFollowingIt) {
  dir_.write("target", "untouched");
  ASSERT_EQ(symlink("target", dir_.file("a").c_str()), 0);
  EXPECT_TRUE(qx::writeFileIn(folder(), "a", bytesOf("new"), 0600));
  EXPECT_EQ(qx::test::readFile(dir_.file("target")), "untouched");
  EXPECT_EQ(qx::test::readFile(dir_.file("a")), "new");
}

TEST_F(Files, LeaveNothingBehindWhenTheyCannotBeWritten) {
  ASSERT_EQ(mkdir(dir_.file("a").c_str(), 0700), 0);
  EXPECT_FALSE(qx::writeFileIn(folder(), "a", bytesOf("x"), 0600));
  EXPECT_EQ(*qx::namesIn(folder()), std::vector<std::string>{"a"});
}

TEST_F(Files, CannotBeWrittenIntoAFolderThatIsGone) {
  ASSERT_EQ(mkdir(dir_.file("gone").c_str(), 0700), 0);
  const Result<Fd> gone = qx::openFolderIn(folder(), "gone");
  ASSERT_TRUE(gone);
  ASSERT_EQ(rmdir(dir_.file("gone").c_str()), 0);
  EXPECT_EQ(qx::writeFileIn(gone->get(), "a", bytesOf("x"), 0600).error(), ERROR_FILE_NOT_FOUND);
}

TEST_F(Files, AreRemoved) {
  dir_.write("a", "x");
  EXPECT_TRUE(qx::removeFileIn(folder(), "a"));
  EXPECT_EQ(qx::removeFileIn(folder(), "a").error(), ERROR_FILE_NOT_FOUND);
}

TEST_F(Files, AreListedInByteOrder) {
  for (const char* name : {"b", "A", "a", ".hidden", "\xD0\xB6"}) {
    dir_.write(name, "");
  }
  const std::vector<std::string> expected = {".hidden", "A", "a", "b", "\xD0\xB6"};
  EXPECT_EQ(*qx::namesIn(folder()), expected);
  // The list does not wander on with the folder's position.
  EXPECT_EQ(*qx::namesIn(folder()), expected);
}

TEST_F(Files, ShowInTheirStampWhatHappenedToThem) {
  dir_.write("a", "x");
  const qx::FileStamp first = *qx::stampIn(folder(), "a");
  EXPECT_EQ(*qx::stampIn(folder(), "a"), first);
  EXPECT_EQ(first.size, 1U);
  EXPECT_EQ(first.mode & 0170000U, 0100000U);
  ASSERT_TRUE(qx::writeFileIn(folder(), "a", bytesOf("y"), 0600));
  const qx::FileStamp replaced = *qx::stampIn(folder(), "a");
  EXPECT_NE(replaced.inode, first.inode);
  // A change of the rights alone shows in the inode's time or in the mode.
  ASSERT_EQ(chmod(dir_.file("a").c_str(), 0640), 0);
  EXPECT_NE(*qx::stampIn(folder(), "a"), replaced);
  EXPECT_EQ(qx::stampIn(folder(), "none").error(), ERROR_FILE_NOT_FOUND);
}

TEST_F(Files, StampALinkAsALink) {
  ASSERT_EQ(symlink("nowhere", dir_.file("link").c_str()), 0);
  EXPECT_EQ(qx::stampIn(folder(), "link")->mode & 0170000U, 0120000U);
}

TEST_F(Files, ChangeTheStampOfTheirFolder) {
  const qx::FileStamp before = *qx::stampOf(folder());
  dir_.write("new", "");
  EXPECT_NE(*qx::stampOf(folder()), before);
  EXPECT_FALSE(qx::stampOf(-1));
}

TEST_F(Files, FoldersAreOpenedWithoutFollowingLinks) {
  ASSERT_EQ(mkdir(dir_.file("real").c_str(), 0700), 0);
  ASSERT_EQ(symlink("real", dir_.file("link").c_str()), 0);
  dir_.write("file", "");
  EXPECT_TRUE(qx::openFolderIn(folder(), "real"));
  EXPECT_FALSE(qx::openFolderIn(folder(), "link"));
  EXPECT_FALSE(qx::openFolder(dir_.file("link")));
  EXPECT_EQ(qx::openFolder(dir_.file("none")).error(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(qx::openFolderIn(folder(), "file").error(), ERROR_PATH_NOT_FOUND);
}

TEST_F(Files, FoldersAreMadeWithTheirParents) {
  const mode_t before = umask(0077);
  const std::string path = dir_.file("a/b/c");
  EXPECT_TRUE(qx::makeFolder(path, 0755));
  umask(before);
  EXPECT_EQ(modeOf(path), 0755U);
  EXPECT_EQ(modeOf(dir_.file("a")), 0755U);
  // One that is there stays as it is.
  EXPECT_TRUE(qx::makeFolder(path, 0700));
  EXPECT_EQ(modeOf(path), 0755U);
}

TEST_F(Files, FoldersCannotBeMadeBelowAFile) {
  dir_.write("file", "");
  EXPECT_EQ(qx::makeFolder(dir_.file("file/a"), 0700).error(), ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(qx::makeFolder("", 0700));
}

TEST_F(Files, FolderLockKeepsOthersOutUntilItEnds) {
  const Fd other(open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  {
    const Result<qx::FolderLock> lock = qx::FolderLock::acquire(folder());
    ASSERT_TRUE(lock);
    EXPECT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
  }
  EXPECT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), 0);
  EXPECT_FALSE(qx::FolderLock::acquire(-1));
}

TEST(Fd, ClosesWhatItOwns) {
  int number = -1;
  {
    Fd first(open("/dev/null", O_RDONLY | O_CLOEXEC));
    number = first.get();
    Fd second(std::move(first));
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): that is the question
    EXPECT_EQ(fcntl(number, F_GETFD), FD_CLOEXEC);
    Fd third;
    third = std::move(second);
    EXPECT_EQ(third.get(), number);
  }
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

TEST(Fd, GivesAwayWhatItNoLongerOwns) {
  Fd owner(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int number = owner.release();
  EXPECT_FALSE(owner);
  EXPECT_EQ(close(number), 0);
}

TEST(ErrorFromErrno, TellsTheCommonOnesApart) {
  EXPECT_EQ(qx::errorFromErrno(ENOENT), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(qx::errorFromErrno(ENOTDIR), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(qx::errorFromErrno(EACCES), ERROR_ACCESS_DENIED);
  EXPECT_EQ(qx::errorFromErrno(EROFS), ERROR_ACCESS_DENIED);
  EXPECT_EQ(qx::errorFromErrno(EEXIST), ERROR_FILE_EXISTS);
  EXPECT_EQ(qx::errorFromErrno(ENAMETOOLONG), ERROR_INVALID_NAME);
  EXPECT_EQ(qx::errorFromErrno(ENOMEM), ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(qx::errorFromErrno(ENOSPC), ERROR_DISK_FULL);
  EXPECT_EQ(qx::errorFromErrno(EMFILE), ERROR_TOO_MANY_OPEN_FILES);
  EXPECT_EQ(qx::errorFromErrno(EIO), CRYPT_E_FILE_ERROR);
}

}  // namespace
}  // namespace qx::test::files_test
