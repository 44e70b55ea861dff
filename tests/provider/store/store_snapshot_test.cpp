#include "provider/store/store_snapshot.h"

#include <string>
#include <vector>

#include "tests/provider/store/store_support.h"

namespace qx::test::store_snapshot_test {
namespace {

StoredCertificate stored(const std::string& file,
                         std::chrono::seconds age,
                         Location location = Location::CurrentUser) {
  return {.data = makeData("Snapshot " + file, age), .location = location, .fileName = file};
}

std::vector<std::string> filesOf(const StoreSnapshot& snapshot) {
  std::vector<std::string> files;
  for (const StoredCertificate& certificate : snapshot.certificates()) {
    files.push_back(certificate.fileName);
  }
  return files;
}

TEST(StoreSnapshot, PutsTheNewestFirst) {
  const StoreSnapshot snapshot({stored("old", 30 * lab::kDay),
                                stored("newest", lab::kDay),
                                stored("middle", 10 * lab::kDay)},
                               {});
  EXPECT_EQ((std::vector<std::string>{"newest", "middle", "old"}), filesOf(snapshot));
}

TEST(StoreSnapshot, PutsEquallyOldOnesInByteOrderOfTheirNames) {
  const auto data = makeData("Equal");
  std::vector<StoredCertificate> certificates;
  for (const char* file : {"b", "Я", "a", "B"}) {
    certificates.push_back({.data = data, .location = Location::CurrentUser, .fileName = file});
  }
  const StoreSnapshot snapshot(std::move(certificates), {});
  EXPECT_EQ((std::vector<std::string>{"B", "a", "b", "Я"}), filesOf(snapshot));
}

TEST(StoreSnapshot, PutsTheUsersBeforeTheMachines) {
  const auto data = makeData("Both");
  const StoreSnapshot snapshot({{.data = data, .location = Location::LocalMachine, .fileName = "x"},
                                {.data = data, .location = Location::CurrentUser, .fileName = "x"}},
                               {});
  EXPECT_EQ(Location::CurrentUser, snapshot.certificates().front().location);
}

TEST(StoreSnapshot, FindsByThumbprint) {
  std::vector<StoredCertificate> certificates;
  for (int i = 0; i < 50; ++i) {
    certificates.push_back(stored(std::to_string(i), (50 - i) * lab::kDay));
  }
  const StoreSnapshot snapshot(certificates, {});
  for (std::size_t i = 0; i < snapshot.certificates().size(); ++i) {
    EXPECT_EQ(std::vector<std::size_t>{i}, snapshot.find(snapshot.certificates()[i].data->sha1()));
  }
  EXPECT_TRUE(snapshot.find(Thumbprint{}).empty());
}

TEST(StoreSnapshot, FindsAllCopiesInOrder) {
  const auto data = makeData("Copies");
  const StoreSnapshot snapshot({{.data = data, .location = Location::CurrentUser, .fileName = "b"},
                                stored("between", 5 * lab::kDay),
                                {.data = data, .location = Location::CurrentUser, .fileName = "a"}},
                               {});
  EXPECT_EQ((std::vector<std::size_t>{0, 1}), snapshot.find(data->sha1()));
}

// Two thumbprints may begin with the same eight bytes; what is found has all twenty.
TEST(StoreSnapshot, ComparesWholeThumbprints) {
  const auto data = makeData("Prefix");
  const StoreSnapshot snapshot({{.data = data, .location = Location::CurrentUser, .fileName = "a"}},
                               {});
  Thumbprint other = data->sha1();
  other.back() ^= 1U;
  EXPECT_TRUE(snapshot.find(other).empty());
}

TEST(StoreSnapshot, HasAStampOfItsOwn) {
  const StoreSnapshot first({}, {});
  const StoreSnapshot second({}, {});
  EXPECT_NE(first.stamp(), second.stamp());
}

}  // namespace
}  // namespace qx::test::store_snapshot_test
