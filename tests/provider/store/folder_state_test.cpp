#include "provider/store/folder_state.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/provider/store/store_support.h"

namespace qx::test::folder_state_test {
namespace {

namespace fs = std::filesystem;
using FolderStatePtr = std::shared_ptr<const FolderState>;

class FolderStateTest : public StoreTest {
 protected:
  FolderStateTest() { fs::create_directories(storePath("S")); }

  void put(const std::string& file, const Bytes& content) const { write("S", file, content); }

  void put(const std::string& file, const std::string& content) const { write("S", file, content); }

  // `later` makes the stamps of what was just written old enough to be trusted.
  FolderStatePtr read(const FolderState* previous = nullptr,
                      std::chrono::seconds later = std::chrono::seconds(0)) const {
    const auto name = StoreName::make(Location::CurrentUser, "S");
    const auto folder = name->open();
    Moment now = Moment::now();
    now.wall += later;
    now.steady += later;
    return *readFolder(*folder, Location::CurrentUser, previous, now);
  }

  static std::vector<std::string> filesOf(const FolderState& state) {
    std::vector<std::string> files;
    for (const StoredCertificate& certificate : state.snapshot->certificates()) {
      files.push_back(certificate.fileName);
    }
    return files;
  }

  FileStamp folderStamp() const {
    const auto folder = openFolder(storePath("S"));
    return *stampOf(folder->get());
  }

  static constexpr std::chrono::seconds kLater{10};
};

using Files = std::vector<std::string>;

TEST_F(FolderStateTest, ReadsAllEndingsInBothForms) {
  const X509Ptr pem = makeCertificate("a", 4 * lab::kDay);
  put("a.pem", lab::toPem(pem.get()));
  put("b.crt", lab::toPem(makeCertificate("b", 3 * lab::kDay).get()));
  put("c.cer", makeDer("c", 2 * lab::kDay));
  put("d.der", makeDer("d", 1 * lab::kDay));
  put("e.crl", lab::toPem(authority().crl().get()));
  put("f.crl", lab::toDer(authority().crl().get()));
  const auto state = read();
  EXPECT_EQ((Files{"d.der", "c.cer", "b.crt", "a.pem"}), filesOf(*state));
  EXPECT_EQ(2U, state->snapshot->crls().size());
  EXPECT_EQ(lab::toDer(pem.get()),
            Bytes(state->snapshot->certificates()[3].data->der().begin(),
                  state->snapshot->certificates()[3].data->der().end()));
}

TEST_F(FolderStateTest, LeavesOutFilesOfOtherKinds) {
  const Bytes der = makeDer("Other");
  for (const char* file : {"a", "a.txt", ".a.cer", ".tmp-0123", "a.cer~", "a.p12"}) {
    put(file, der);
  }
  EXPECT_TRUE(read()->files.empty());
}

TEST_F(FolderStateTest, LeavesOutWhatCannotBeRead) {
  put("empty.cer", std::string());
  put("noise.cer", std::string(1000, 'x'));
  const Bytes der = makeDer("Cut");
  put("cut.cer", Bytes(der.begin(), der.begin() + 100));
  put("crl.cer", lab::toDer(authority().crl().get()));
  put("certificate.crl", der);
  put("good.cer", makeDer("Good"));
  const auto state = read();
  EXPECT_EQ(Files{"good.cer"}, filesOf(*state));
  EXPECT_TRUE(state->snapshot->crls().empty());
  EXPECT_EQ(6U, state->files.size());
}

TEST_F(FolderStateTest, FollowsNoLinksAndOpensNoSpecialFiles) {
  const std::string outside = folder().path() + "/outside.cer";
  const Bytes der = makeDer("Outside");
  writeFile(outside, std::string(der.begin(), der.end()));
  fs::create_symlink(outside, storePath("S") + "/link.cer");
  fs::create_symlink("missing", storePath("S") + "/dangling.cer");
  fs::create_directories(storePath("S") + "/folder.cer");
  ASSERT_EQ(0, mkfifo((storePath("S") + "/pipe.cer").c_str(), 0600));
  EXPECT_TRUE(filesOf(*read()).empty());
}

TEST_F(FolderStateTest, LeavesOutFilesThatAreTooLong) {
  Bytes longDer = makeDer("Long");
  longDer.resize(std::size_t{1} << 20U, 0);
  put("longest.cer", longDer);
  longDer.push_back(0);
  put("longer.cer", longDer);
  // A file of two gigabytes that takes no room on the disk.
  put("huge.crl", std::string());
  fs::resize_file(storePath("S") + "/huge.crl", std::uintmax_t{2} << 30U);
  EXPECT_EQ(Files{"longest.cer"}, filesOf(*read()));
}

TEST_F(FolderStateTest, LeavesOutFilesThatMayNotBeRead) {
  put("secret.cer", makeDer("Secret"));
  put("open.cer", makeDer("Open"));
  fs::permissions(storePath("S") + "/secret.cer", fs::perms::none);
  EXPECT_TRUE(holdsWithoutRights([&] { return filesOf(*read()) == Files{"open.cer"}; }));
}

TEST_F(FolderStateTest, KeepsTheSnapshotWhenNothingChanged) {
  put("a.cer", makeDer("a"));
  const auto first = read(nullptr, kLater);
  const auto second = read(first.get(), kLater);
  EXPECT_EQ(first->snapshot, second->snapshot);
  EXPECT_NE(first, second);
}

TEST_F(FolderStateTest, KeepsTheSnapshotWhenAnUntrustedFileIsTheSame) {
  put("a.cer", makeDer("a"));
  put("b.crl", lab::toDer(authority().crl().get()));
  const auto first = read();
  EXPECT_FALSE(first->files.front().stamp.trusted);
  const auto second = read(first.get());
  EXPECT_EQ(first->snapshot, second->snapshot);
}

TEST_F(FolderStateTest, SeesNewAndRemovedFiles) {
  put("b.cer", makeDer("b", 2 * lab::kDay));
  put("d.cer", makeDer("d", 4 * lab::kDay));
  const auto first = read(nullptr, kLater);
  put("a.cer", makeDer("a", 1 * lab::kDay));
  put("c.cer", makeDer("c", 3 * lab::kDay));
  put("e.cer", makeDer("e", 5 * lab::kDay));
  const auto second = read(first.get(), kLater);
  EXPECT_EQ((Files{"a.cer", "b.cer", "c.cer", "d.cer", "e.cer"}), filesOf(*second));
  EXPECT_NE(first->snapshot->stamp(), second->snapshot->stamp());
  fs::remove(storePath("S") + "/a.cer");
  fs::remove(storePath("S") + "/e.cer");
  const auto third = read(second.get(), kLater);
  EXPECT_EQ((Files{"b.cer", "c.cer", "d.cer"}), filesOf(*third));
  EXPECT_EQ(first->files.front().certificate, third->files.front().certificate);
}

TEST_F(FolderStateTest, SeesAFileThatWasReplaced) {
  put("a.cer", makeDer("before"));
  const auto first = read(nullptr, kLater);
  const auto after = makeDer("after");
  put("a.cer", after);
  const auto second = read(first.get(), kLater);
  ASSERT_EQ(1U, second->snapshot->certificates().size());
  const auto der = second->snapshot->certificates().front().data->der();
  EXPECT_EQ(after, Bytes(der.begin(), der.end()));
}

TEST_F(FolderStateTest, SeesAFileThatBecameUnreadable) {
  put("a.cer", makeDer("a"));
  const auto first = read(nullptr, kLater);
  put("a.cer", std::string("damaged"));
  EXPECT_TRUE(filesOf(*read(first.get(), kLater)).empty());
}

// A previous state that says something else about an unchanged file shows whether the file was read.
TEST_F(FolderStateTest, ReadsAFileAgainOnlyWhenItsStampIsNotTrusted) {
  put("a.cer", makeDer("true content"));
  const auto real = read(nullptr, kLater);
  FolderState other = *real;
  const auto invented = makeData("invented content");
  other.files.front().certificate = invented;
  ASSERT_TRUE(other.files.front().stamp.trusted);
  EXPECT_EQ(invented, read(&other, kLater)->files.front().certificate);
  other.files.front().stamp.trusted = false;
  EXPECT_NE(invented, read(&other, kLater)->files.front().certificate);
}

TEST_F(FolderStateTest, TrustsNoStampYoungerThanTwoSeconds) {
  put("a.cer", makeDer("a"));
  EXPECT_FALSE(read(nullptr, std::chrono::seconds(1))->files.front().stamp.trusted);
  EXPECT_FALSE(read(nullptr, std::chrono::seconds(1))->stamp.trusted);
  EXPECT_TRUE(read(nullptr, std::chrono::seconds(3))->files.front().stamp.trusted);
  EXPECT_TRUE(read(nullptr, std::chrono::seconds(3))->stamp.trusted);
}

TEST_F(FolderStateTest, IsFreshForFiveSecondsAfterATrustedReading) {
  put("a.cer", makeDer("a"));
  const auto state = read(nullptr, kLater);
  const FileStamp stamp = folderStamp();
  const auto after = [&](std::chrono::milliseconds time) {
    return Moment{.wall = {}, .steady = state->readAt + time};
  };
  EXPECT_TRUE(state->isFresh(stamp, after(std::chrono::milliseconds(0))));
  EXPECT_TRUE(state->isFresh(stamp, after(std::chrono::milliseconds(4999))));
  EXPECT_FALSE(state->isFresh(stamp, after(std::chrono::milliseconds(5000))));
}

TEST_F(FolderStateTest, IsNotFreshWhenTheFolderChangedOrIsYoung) {
  put("a.cer", makeDer("a"));
  const auto young = read();
  EXPECT_FALSE(young->isFresh(folderStamp(), {.wall = {}, .steady = young->readAt}));
  const auto old = read(nullptr, kLater);
  FileStamp changed = folderStamp();
  changed.changed += 1;
  EXPECT_FALSE(old->isFresh(changed, {.wall = {}, .steady = old->readAt}));
}

}  // namespace
}  // namespace qx::test::folder_state_test
