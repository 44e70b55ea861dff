#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/errors.h"

#include "provider/support/files.h"
#include "tests/support/temp_dir.h"

namespace qx::files_places_test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class FilePlaces : public ::testing::Test {
 protected:
  static mode_t modeOf(const std::string& path) {
    struct stat status{};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  int folder() const { return opened_.get(); }

  std::string readBack(const char* name) const {
    const auto bytes = readFileIn(folder(), name, 1U << 22U);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "(failed)";
  }

  test::TempDir dir_;
  Fd opened_ = *openFolder(dir_.path());
};

TEST_F(FilePlaces, FoldersAreMadeWhateverTheSlashes) {
  for (const char* path : {"a/b", "c//d", "e/f/", "g/", "h/./i", "j/k/../l"}) {
    ASSERT_TRUE(makeFolder(dir_.file(path), 0750)) << path;
    EXPECT_EQ(modeOf(dir_.file(path)), 0750U) << path;
  }
  EXPECT_TRUE(makeFolder("/", 0700)) << "it is there";
}

TEST_F(FilePlaces, FoldersAreMadeWithTheSetGroupBitToo) {
  ASSERT_TRUE(makeFolder(dir_.file("shared"), 02750));
  EXPECT_EQ(modeOf(dir_.file("shared")), 02750U);
}

TEST_F(FilePlaces, FoldersAreNotMadeThroughALinkAtTheEnd) {
  ASSERT_EQ(mkdir(dir_.file("real").c_str(), 0700), 0);
  ASSERT_EQ(symlink("real", dir_.file("link").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", dir_.file("dangling").c_str()), 0);
  EXPECT_FALSE(makeFolder(dir_.file("link"), 0700));
  EXPECT_FALSE(makeFolder(dir_.file("dangling"), 0700));
  EXPECT_FALSE(fs::exists(dir_.file("nowhere")));
  // In the middle of a path a link is the administrator's own affair.
  EXPECT_TRUE(makeFolder(dir_.file("link/below"), 0700));
}

TEST_F(FilePlaces, FoldersAreMadeByManyAtOnce) {
  std::atomic<int> failed = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        failed += makeFolder(dir_.file("x/" + std::to_string(round) + "/y"), 0700) ? 0 : 1;
      }
    });
  }
  std::ranges::for_each(threads, &std::thread::join);
  EXPECT_EQ(failed, 0);
}

TEST_F(FilePlaces, FilesMayBeEmptyOrLarge) {
  const std::string large(1U << 20U, 'x');
  ASSERT_TRUE(writeFileIn(folder(), "empty", {}, 0600));
  ASSERT_TRUE(writeFileIn(folder(), "large", bytesOf(large), 0600));
  EXPECT_EQ(readBack("empty"), "");
  EXPECT_EQ(readBack("large"), large);
  EXPECT_TRUE(readSecretIn(folder(), "empty", 0)->empty());
}

TEST_F(FilePlaces, FilesMayHaveAnyNameOfOneComponent) {
  for (const char* name : {" ", "a b", "-rf", "\n", "*", "\xFF", "...", "a\\b", "ж"}) {
    ASSERT_TRUE(writeFileIn(folder(), name, bytesOf(name), 0600)) << name;
    EXPECT_EQ(readBack(name), name);
    EXPECT_TRUE(stampIn(folder(), name));
    EXPECT_TRUE(removeFileIn(folder(), name));
  }
  EXPECT_THAT(*namesIn(folder()), IsEmpty());
}

TEST_F(FilePlaces, FilesAreNeverReachedByAPath) {
  dir_.write("below/file", "x");
  for (const char* name : {"", ".", "..", "/", "below/file", "./below", "../x", "/etc/passwd"}) {
    EXPECT_EQ(readFileIn(folder(), name, 100).error(), ERROR_INVALID_NAME) << name;
    EXPECT_EQ(readSecretIn(folder(), name, 100).error(), ERROR_INVALID_NAME) << name;
    EXPECT_EQ(writeFileIn(folder(), name, {}, 0600).error(), ERROR_INVALID_NAME) << name;
    EXPECT_EQ(removeFileIn(folder(), name).error(), ERROR_INVALID_NAME) << name;
    EXPECT_EQ(stampIn(folder(), name).error(), ERROR_INVALID_NAME) << name;
    EXPECT_EQ(openFolderIn(folder(), name).error(), ERROR_INVALID_NAME) << name;
  }
  EXPECT_THAT(*namesIn(folder()), ElementsAre("below"));
}

TEST_F(FilePlaces, FilesGetTheirModeBeforeTheyHaveTheirName) {
  const pid_t child = fork();
  if (child == 0) {
    for (int round = 0; round < 15; ++round) {
      static_cast<void>(writeFileIn(folder(), "secret", bytesOf("x"), 0400));
    }
    _exit(0);
  }
  int status = -1;
  while (waitpid(child, &status, WNOHANG) == 0) {
    const auto stamp = stampIn(folder(), "secret");
    ASSERT_TRUE(!stamp || (stamp->mode & 07777U) == 0400) << std::oct << stamp->mode;
  }
  EXPECT_EQ(status, 0);
}

TEST_F(FilePlaces, RemovingLeavesFoldersAndWhatLinksLeadTo) {
  ASSERT_EQ(mkdir(dir_.file("folder").c_str(), 0700), 0);
  const std::string target = dir_.write("target", "kept");
  ASSERT_EQ(symlink(target.c_str(), dir_.file("link").c_str()), 0);
  EXPECT_FALSE(removeFileIn(folder(), "folder"));
  EXPECT_TRUE(removeFileIn(folder(), "link"));
  EXPECT_EQ(removeFileIn(folder(), "link").error(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(test::readFile(target), "kept");
  EXPECT_TRUE(fs::is_directory(dir_.file("folder")));
}

TEST_F(FilePlaces, AFileTakesNoFoldersPlace) {
  ASSERT_EQ(mkdir(dir_.file("folder").c_str(), 0700), 0);
  EXPECT_FALSE(writeFileIn(folder(), "folder", bytesOf("x"), 0600));
  EXPECT_THAT(*namesIn(folder()), ElementsAre("folder"));
}

TEST_F(FilePlaces, AreListedWholeHoweverMany) {
  std::vector<std::string> expected;
  for (int i = 0; i < 600; ++i) {
    expected.push_back("file with a rather long name " + std::to_string(i));
    const Fd made(openat(folder(), expected.back().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_TRUE(made);
  }
  std::ranges::sort(expected);
  EXPECT_EQ(*namesIn(folder()), expected);
}

TEST_F(FilePlaces, StampsOfAPathAreThoseOfTheFolder) {
  dir_.write("file", "x");
  ASSERT_EQ(symlink("file", dir_.file("link").c_str()), 0);
  for (const char* name : {"file", "link"}) {
    EXPECT_EQ(*stampAt(dir_.file(name)), *stampIn(folder(), name)) << name;
  }
  EXPECT_EQ(*stampAt(dir_.path()), *stampOf(folder()));
  EXPECT_EQ(stampAt(dir_.file("none")).error(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(stampAt(dir_.file("file/none")).error(), ERROR_PATH_NOT_FOUND);
}

TEST_F(FilePlaces, ALockIsWaitedForByThreadsToo) {
  // The kernel's lock is none that a thread sanitizer knows, so both steps are atomic. Two threads at once
  // would lose one of their entries.
  std::atomic<int> entries = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 6; ++i) {
    threads.emplace_back([&] {
      const auto lock = FolderLock::acquire(folder());
      const int before = entries.load();
      std::this_thread::yield();
      entries.store(before + 1);
    });
  }
  std::ranges::for_each(threads, &std::thread::join);
  EXPECT_EQ(entries.load(), 6);
}

TEST(ErrnoOfFiles, NeverBecomesSuccess) {
  for (int error = 0; error < 200; ++error) {
    EXPECT_NE(errorFromErrno(error), ERROR_SUCCESS) << error;
  }
  EXPECT_EQ(errorFromErrno(EPERM), ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorFromErrno(ELOOP), ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorFromErrno(EDQUOT), ERROR_DISK_FULL);
  EXPECT_EQ(errorFromErrno(ENFILE), ERROR_TOO_MANY_OPEN_FILES);
}

}  // namespace
}  // namespace qx::files_places_test
