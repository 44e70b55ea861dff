#include "tests/support/temp_dir.h"

#include <filesystem>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

namespace qx::test::temp_dir_test {
namespace {

namespace fs = std::filesystem;

TEST(TempDir, IsPrivate) {
  const TempDir folder;
  EXPECT_EQ(fs::status(folder.path()).permissions(), fs::perms::owner_all);
}

TEST(TempDir, IsRemovedWithAllItHolds) {
  std::string path;
  {
    const TempDir folder;
    path = folder.path();
    folder.write("deep/below/file", "content");
    EXPECT_TRUE(fs::exists(path + "/deep/below/file"));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(TempDir, IsAnotherOneEachTime) {
  const TempDir one;
  const TempDir other;
  EXPECT_NE(one.path(), other.path());
}

TEST(TempDir, WritesAndReadsBytesUnchanged) {
  const TempDir folder;
  const std::string bytes("a\0b\r\n\xff", 6);
  EXPECT_EQ(readFile(folder.write("bytes", bytes)), bytes);
}

TEST(TempDir, ReplacesAFile) {
  const TempDir folder;
  folder.write("file", "a longer text");
  EXPECT_EQ(readFile(folder.write("file", "short")), "short");
}

TEST(ReadFile, ThrowsWithTheNameOfAMissingFile) {
  EXPECT_THROW(readFile("/nonexistent/file"), std::system_error);
}

TEST(WriteFile, ThrowsWhenTheFolderIsMissing) {
  EXPECT_THROW(writeFile("/nonexistent/file", "x"), std::system_error);
}

}  // namespace
}  // namespace qx::test::temp_dir_test
