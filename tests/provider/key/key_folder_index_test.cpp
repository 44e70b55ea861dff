#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/key_folder.h"
#include "provider/key/pem.h"
#include "provider/key/unlock.h"
#include "tests/provider/key/key_environment.h"
#include "tests/provider/key/sample_keys.h"
#include "tests/support/temp_dir.h"

namespace qx::key_folder_index_test {
namespace {

namespace fs = std::filesystem;
using lab::KeyKind;

/// An hour from now: every stamp is old enough to be trusted.
std::chrono::nanoseconds later() {
  return KeyFolder::systemTime() + std::chrono::hours(1);
}

/// Keys under names of their owner's choice, which are found by an index.
class KeyFolderIndex : public ::testing::Test {
 protected:
  struct Sample {
    EvpPkeyPtr key;
    std::string id;
    std::string text;  // with the public key in front
  };

  static Sample make() {
    Sample sample;
    sample.key = lab::generateKey(KeyKind::EcP256);
    const auto ours = test::toOurs(sample.key.get());
    sample.id = keyId(ours->publicKeyBits());
    sample.text = std::string(appendPem({}, kPublicKeyLabel, ours->spki()).text()) +
                  lab::toPem(sample.key.get());
    return sample;
  }

  void write(const std::string& name, const std::string& text) const {
    chmod(folder_.write(name, text).c_str(), 0600);
  }

  // How often a file that is no key was looked at since the trace began.
  static std::ptrdiff_t looks(const test::TraceSince& trace) {
    const std::string lines = trace.lines();
    std::ptrdiff_t count = 0;
    for (std::size_t at = lines.find("rubbish is no key file"); at != std::string::npos;
         at = lines.find("rubbish is no key file", at + 1)) {
      ++count;
    }
    return count;
  }

  test::TempDir folder_;
  KeyFolder keys_{folder_.path(), Location::CurrentUser, later};
  Sample first_ = make();
  Sample second_ = make();
};

TEST_F(KeyFolderIndex, ReadsTheFolderOnceForAllWhoAskInVain) {
  write("rubbish", "no key");
  const test::TraceSince trace;
  for (int round = 0; round < 5; ++round) {
    EXPECT_EQ(keys_.find(first_.id).error(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(keys_.find(second_.id).error(), ERROR_FILE_NOT_FOUND);
  }
  EXPECT_EQ(looks(trace), 1);
}

TEST_F(KeyFolderIndex, ReadsTheFolderOnceForAllItsKeys) {
  write("one", first_.text);
  write("two", second_.text);
  write("rubbish", "no key");
  const test::TraceSince trace;
  ASSERT_TRUE(keys_.find(first_.id));
  ASSERT_TRUE(keys_.find(second_.id));
  EXPECT_EQ((*keys_.find(first_.id))->name(), "one");
  EXPECT_EQ((*keys_.find(second_.id))->name(), "two");
  EXPECT_EQ(looks(trace), 1);
}

TEST_F(KeyFolderIndex, ReadsAFolderWithAYoungStampEachTime) {
  KeyFolder young(folder_.path(), Location::CurrentUser, KeyFolder::systemTime);
  write("rubbish", "no key");
  const test::TraceSince trace;
  EXPECT_FALSE(young.find(first_.id));
  EXPECT_FALSE(young.find(first_.id));
  EXPECT_EQ(looks(trace), 2) << "a file may have come since without a new stamp";
}

TEST_F(KeyFolderIndex, SeesAKeyThatComesLater) {
  write("two", second_.text);
  EXPECT_FALSE(keys_.find(first_.id));
  write("one", first_.text);
  const auto found = keys_.find(first_.id);
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)->name(), "one");
}

TEST_F(KeyFolderIndex, FollowsAKeyThatIsRenamed) {
  write("one", first_.text);
  ASSERT_TRUE(keys_.find(first_.id));
  fs::rename(folder_.file("one"), folder_.file("uno"));
  const auto found = keys_.find(first_.id);
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)->name(), "uno");
}

TEST_F(KeyFolderIndex, PrefersTheFileThatHasTheKeysOwnName) {
  write("one", first_.text);
  ASSERT_TRUE(keys_.find(first_.id));
  write(first_.id, lab::toPem(first_.key.get()));
  fs::remove(folder_.file("one"));
  const auto found = keys_.find(first_.id);
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)->name(), first_.id);
}

TEST_F(KeyFolderIndex, GivesNoKeyForAFileThatNowHoldsAnother) {
  write("one", first_.text);
  const auto before = keys_.find(first_.id);
  ASSERT_TRUE(before);
  ASSERT_TRUE(unlock(**before, ""));
  // Written over in place: the folder's own stamp stays what it was.
  write("one", second_.text);
  EXPECT_EQ(keys_.find(first_.id).error(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(unlockedBefore(**before, ""), nullptr) << "its unlocked key is still there";
}

TEST_F(KeyFolderIndex, GivesNoKeyForAFileThatBecameRubbish) {
  write("one", first_.text);
  ASSERT_TRUE(keys_.find(first_.id));
  write("one", "no key");
  EXPECT_FALSE(keys_.find(first_.id));
}

TEST_F(KeyFolderIndex, TakesTheFirstOfTwoFilesWithOneKey) {
  write("b", first_.text);
  write("a", first_.text);
  const auto found = keys_.find(first_.id);
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)->name(), "a");
  const auto all = keys_.all();
  ASSERT_TRUE(all);
  EXPECT_EQ(all->size(), 2U) << "the administrator sees both";
}

TEST_F(KeyFolderIndex, LooksIntoNoHiddenFile) {
  write(".one", first_.text);
  EXPECT_FALSE(keys_.find(first_.id));
  EXPECT_TRUE(keys_.all()->empty());
}

TEST_F(KeyFolderIndex, GoesWithItsFolder) {
  write("one", first_.text);
  ASSERT_TRUE(keys_.find(first_.id));
  fs::rename(folder_.path(), folder_.path() + ".away");
  EXPECT_EQ(keys_.find(first_.id).error(), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(keys_.all()->empty());
  fs::rename(folder_.path() + ".away", folder_.path());
  EXPECT_TRUE(keys_.find(first_.id));
}

}  // namespace
}  // namespace qx::key_folder_index_test
