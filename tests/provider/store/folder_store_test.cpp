#include "provider/store/folder_store.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "provider/store/store_files.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::folder_store_test {
namespace {

namespace fs = std::filesystem;
using SnapshotPtr = std::shared_ptr<const StoreSnapshot>;

class FolderStoreTest : public StoreTest {
 protected:
  static SnapshotPtr user(const char* name) { return *snapshot(Location::CurrentUser, name); }

  static SnapshotPtr machine(const char* name) { return *snapshot(Location::LocalMachine, name); }

  void writeMachine(const std::string& store, const std::string& file, const Bytes& content) const {
    fs::create_directories(machinePath(store));
    writeFile(machinePath(store) + "/" + file, std::string(content.begin(), content.end()));
  }
};

TEST_F(FolderStoreTest, SaysThatAStoreIsAbsent) {
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, snapshot(Location::CurrentUser, "My").error());
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, snapshot(Location::LocalMachine, "Root").error());
  EXPECT_FALSE(fs::exists(folder().path() + "/stores"));
}

TEST_F(FolderStoreTest, RefusesBadNames) {
  EXPECT_EQ(E_INVALIDARG, snapshot(Location::CurrentUser, "../My").error());
  EXPECT_EQ(E_INVALIDARG, snapshot(Location::CurrentUser, "").error());
}

TEST_F(FolderStoreTest, ReadsAnEmptyStore) {
  fs::create_directories(storePath("My"));
  EXPECT_TRUE(user("My")->certificates().empty());
  EXPECT_TRUE(user("My")->crls().empty());
}

TEST_F(FolderStoreTest, SharesWhatWasReadBetweenOpens) {
  write("My", "a.cer", makeDer("a"));
  const auto first = user("My");
  EXPECT_EQ(first, user("My"));
  EXPECT_EQ(first->stamp(), user("My")->stamp());
  EXPECT_EQ(first, user("MY"));
}

TEST_F(FolderStoreTest, SeesAtOnceWhatIsAddedAndRemoved) {
  write("My", "a.cer", makeDer("a"));
  const auto before = user("My");
  write("My", "b.cer", makeDer("b"));
  const auto with = user("My");
  EXPECT_EQ(2U, with->certificates().size());
  EXPECT_NE(before->stamp(), with->stamp());
  fs::remove(storePath("My") + "/a.cer");
  EXPECT_EQ(1U, user("My")->certificates().size());
}

TEST_F(FolderStoreTest, ReadsAnewWhatWasForgotten) {
  write("My", "a.cer", makeDer("a"));
  const auto before = user("My");
  forgetSnapshots();
  const auto after = user("My");
  EXPECT_NE(before, after);
  EXPECT_EQ(before->certificates().front().data->sha1(),
            after->certificates().front().data->sha1());
}

TEST_F(FolderStoreTest, ForgetsAStoreThatIsGone) {
  write("My", "a.cer", makeDer("a"));
  EXPECT_EQ(1U, user("My")->certificates().size());
  fs::remove_all(storePath("My"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, snapshot(Location::CurrentUser, "My").error());
  fs::create_directories(storePath("My"));
  EXPECT_TRUE(user("My")->certificates().empty());
}

TEST_F(FolderStoreTest, FollowsTheEnvironment) {
  write("My", "a.cer", makeDer("a"));
  EXPECT_EQ(1U, user("My")->certificates().size());
  const TempDir other;
  other.write("stores/My/x.txt", "x");
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs
  setenv("QXPROVIDER_USER_DIR", other.path().c_str(), 1);
  EXPECT_TRUE(user("My")->certificates().empty());
}

TEST_F(FolderStoreTest, IncludesTheMachinesRootAndCaInTheUsers) {
  for (const char* store : {"Root", "CA"}) {
    write(store, "user.cer", makeDer("user", lab::kDay));
    writeMachine(store, "machine.cer", makeDer("machine", 2 * lab::kDay));
    const auto both = user(store);
    ASSERT_EQ(2U, both->certificates().size());
    EXPECT_EQ(Location::CurrentUser, both->certificates()[0].location);
    EXPECT_EQ(Location::LocalMachine, both->certificates()[1].location);
    EXPECT_EQ(1U, machine(store)->certificates().size());
  }
}

TEST_F(FolderStoreTest, IncludesTheMachinesRevocationLists) {
  write("CA", "user.crl", lab::toDer(authority().crl().get()));
  writeMachine("CA", "machine.crl", lab::toDer(authority().crl().get()));
  EXPECT_EQ(2U, user("CA")->crls().size());
}

TEST_F(FolderStoreTest, IncludesNoOtherStores) {
  write("My", "user.cer", makeDer("user"));
  writeMachine("My", "machine.cer", makeDer("machine"));
  EXPECT_EQ(1U, user("My")->certificates().size());
}

TEST_F(FolderStoreTest, ShowsTheMachinesTrustToAUserWhoHasNone) {
  writeMachine("Root", "machine.cer", makeDer("machine"));
  EXPECT_EQ(1U, user("Root")->certificates().size());
  EXPECT_FALSE(fs::exists(storePath("Root")));
}

TEST_F(FolderStoreTest, SharesWhatItPutTogether) {
  write("Root", "user.cer", makeDer("user"));
  writeMachine("Root", "machine.cer", makeDer("machine"));
  const auto first = user("Root");
  EXPECT_EQ(first, user("Root"));
  writeMachine("Root", "second.cer", makeDer("second"));
  const auto second = user("Root");
  EXPECT_NE(first->stamp(), second->stamp());
  EXPECT_EQ(3U, second->certificates().size());
}

TEST_F(FolderStoreTest, LeavesOutAMachineStoreThatCannotBeRead) {
  write("Root", "user.cer", makeDer("user"));
  fs::create_directories(folder().path() + "/machine/stores");
  fs::create_directory_symlink(folder().path(), machinePath("Root"));
  EXPECT_EQ(1U, user("Root")->certificates().size());
  EXPECT_FALSE(snapshot(Location::LocalMachine, "Root"));
}

TEST_F(FolderStoreTest, GivesTheOwnPartAlone) {
  write("Root", "user.cer", makeDer("user"));
  writeMachine("Root", "machine.cer", makeDer("machine"));
  const auto name = StoreName::make(Location::CurrentUser, "Root");
  EXPECT_EQ(1U, (*ownSnapshot(*name))->certificates().size());
}

TEST_F(FolderStoreTest, OutlivesItsFiles) {
  write("My", "a.cer", makeDer("a"));
  const auto kept = user("My");
  fs::remove_all(storePath("My"));
  forgetSnapshots();
  EXPECT_EQ(1U, kept->certificates().size());
  EXPECT_NE(nullptr, kept->certificates().front().data->x509());
}

}  // namespace
}  // namespace qx::test::folder_store_test
