#include <string>
#include <vector>

#include "tests/provider/store/store_support.h"

namespace qx::test::store_walk_test {
namespace {

using Names = std::vector<std::string>;

class WalkTest : public StoreTest {
 protected:
  static void archive(PCCERT_CONTEXT context) {
    const CRYPT_DATA_BLOB empty{};
    EXPECT_EQ(TRUE, CertSetCertificateContextProperty(context, CERT_ARCHIVED_PROP_ID, 0, &empty));
  }

  void writeThree() const {
    write("My", "c.cer", makeDer("third", 3 * lab::kDay));
    write("My", "b.cer", makeDer("second", 2 * lab::kDay));
    write("My", "a.cer", makeDer("first", 1 * lab::kDay));
  }
};

TEST_F(WalkTest, EndsAtOnceInAnEmptyStore) {
  const StoreHandle store = openMemory();
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(store.get(), nullptr));
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(WalkTest, ShowsAMemoryStoreNewestAdditionFirst) {
  const StoreHandle store = openMemory();
  for (const char* name : {"a", "b", "c"}) {
    addTo(store, makeDer(name));
  }
  EXPECT_EQ((Names{"c", "b", "a"}), namesIn(store));
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(WalkTest, ShowsASystemStoreNewestCertificateFirst) {
  writeThree();
  EXPECT_EQ((Names{"first", "second", "third"}), namesIn(openSystem(L"My")));
}

TEST_F(WalkTest, ShowsAdditionsBeforeWhatWasThere) {
  writeThree();
  const StoreHandle store = openSystem(L"My");
  addTo(store, makeDer("added", 100 * lab::kDay));
  addTo(store, makeDer("added later", 200 * lab::kDay));
  EXPECT_EQ((Names{"added later", "added", "first", "second", "third"}), namesIn(store));
  EXPECT_EQ((Names{"first", "second", "third", "added", "added later"}),
            namesIn(openSystem(L"My")));
}

TEST_F(WalkTest, GivesOneContextForOneCertificate) {
  writeThree();
  const StoreHandle store = openSystem(L"My");
  const ContextHandle first = findIn(store, CERT_FIND_ANY, nullptr);
  const ContextHandle again = findIn(store, CERT_FIND_ANY, nullptr);
  EXPECT_EQ(first.get(), again.get());
  EXPECT_EQ(store.get(), first->hCertStore);
}

TEST_F(WalkTest, GivesEachOpenContextsOfItsOwn) {
  writeThree();
  const StoreHandle one = openSystem(L"My");
  const StoreHandle two = openSystem(L"My");
  const ContextHandle first = findIn(one, CERT_FIND_ANY, nullptr);
  const ContextHandle second = findIn(two, CERT_FIND_ANY, nullptr);
  EXPECT_NE(first.get(), second.get());
  const Bytes value = {1};
  const CRYPT_DATA_BLOB blob = blobOf(value);
  EXPECT_EQ(TRUE, CertSetCertificateContextProperty(first.get(), 0x8000, 0, &blob));
  DWORD size = 0;
  EXPECT_EQ(FALSE, CertGetCertificateContextProperty(second.get(), 0x8000, nullptr, &size));
}

TEST_F(WalkTest, FindsPropertiesAgainInTheSameOpen) {
  writeThree();
  const StoreHandle store = openSystem(L"My");
  const Bytes value = {1};
  const CRYPT_DATA_BLOB blob = blobOf(value);
  EXPECT_EQ(TRUE,
            CertSetCertificateContextProperty(
                findIn(store, CERT_FIND_ANY, nullptr).get(), 0x8000, 0, &blob));
  DWORD size = 0;
  EXPECT_EQ(TRUE,
            CertGetCertificateContextProperty(
                findIn(store, CERT_FIND_ANY, nullptr).get(), 0x8000, nullptr, &size));
}

TEST_F(WalkTest, SkipsArchivedCertificates) {
  writeThree();
  const StoreHandle store = openSystem(L"My");
  archive(findIn(store, CERT_FIND_ANY, nullptr).get());
  EXPECT_EQ((Names{"second", "third"}), namesIn(store));
  EXPECT_EQ("second", commonNameOf(findIn(store, CERT_FIND_ANY, nullptr).get()));
}

TEST_F(WalkTest, FindsArchivedCertificatesBySearching) {
  const StoreHandle store = openMemory();
  const ContextHandle context = addTo(store, makeDer("Archived"));
  archive(context.get());
  EXPECT_TRUE(namesIn(store).empty());
  EXPECT_NE(nullptr, findIn(store, CERT_FIND_EXISTING, context.get()));
}

TEST_F(WalkTest, ShowsArchivedCertificatesWhenAsked) {
  const StoreHandle store = openMemory(CERT_STORE_ENUM_ARCHIVED_FLAG);
  archive(addTo(store, makeDer("Archived")).get());
  EXPECT_EQ(Names{"Archived"}, namesIn(store));
}

TEST_F(WalkTest, SaysWhyItEnds) {
  const StoreHandle store = openMemory();
  addTo(store, makeDer("x"));
  const StoreHandle other = openMemory();
  const auto previous = [&] { return CertEnumCertificatesInStore(store.get(), nullptr); };
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(other.get(), previous()));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
  EXPECT_EQ(nullptr,
            CertFindCertificateInStore(store.get(), kX509, 0, 0x123456, nullptr, previous()));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(nullptr, previous()));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(store.get(), previous()));
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(WalkTest, FreesThePreviousContextInEveryCase) {
  StoreHandle store = openMemory();
  addTo(store, makeDer("x"));
  const StoreHandle other = openMemory();
  const auto previous = [&] { return CertEnumCertificatesInStore(store.get(), nullptr); };
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(other.get(), previous()));
  EXPECT_EQ(nullptr,
            CertFindCertificateInStore(store.get(), kX509, 0, 0x123456, nullptr, previous()));
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(nullptr, previous()));
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(store.get(), previous()));
  EXPECT_EQ(TRUE, CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG));
}

TEST_F(WalkTest, RefusesAContextWithoutStore) {
  const StoreHandle store = openMemory();
  addTo(store, makeDer("x"));
  EXPECT_EQ(nullptr,
            CertEnumCertificatesInStore(store.get(), makeContext(makeDer("Free")).release()));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

TEST_F(WalkTest, GoesOnBehindACertificateThatWasDeleted) {
  const StoreHandle store = openMemory();
  for (const char* name : {"a", "b", "c"}) {
    addTo(store, makeDer(name));
  }
  ContextHandle context = findIn(store, CERT_FIND_ANY, nullptr);
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(CertDuplicateCertificateContext(context.get())));
  context.reset(CertEnumCertificatesInStore(store.get(), context.release()));
  EXPECT_EQ("b", commonNameOf(context.get()));
}

TEST_F(WalkTest, MayDeleteEverythingOnTheWay) {
  writeThree();
  const StoreHandle store = openSystem(L"My");
  addTo(store, makeDer("added"));
  PCCERT_CONTEXT context = nullptr;
  int deleted = 0;
  while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr) {
    EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(CertDuplicateCertificateContext(context)));
    ++deleted;
  }
  EXPECT_EQ(4, deleted);
  EXPECT_TRUE(namesIn(store).empty());
  EXPECT_TRUE(namesIn(openSystem(L"My")).empty());
}

TEST_F(WalkTest, DoesNotVisitWhatIsAddedOnTheWay) {
  const StoreHandle store = openMemory();
  addTo(store, makeDer("a"));
  PCCERT_CONTEXT context = nullptr;
  int steps = 0;
  while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr && steps < 10) {
    addTo(store, makeDer("more"));
    ++steps;
  }
  CertFreeCertificateContext(context);
  EXPECT_EQ(1, steps);
}

}  // namespace
}  // namespace qx::test::store_walk_test
