#include "provider/store/certificate_store.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/crypt_prov.h"

#include "provider/store/folder_store.h"
#include "tests/provider/store/released_handles.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::certificate_store_test {
namespace {

using DataList = std::vector<std::shared_ptr<const CertificateData>>;

// The object behind the handle.
class CertificateStoreTest : public StoreTest {
 protected:
  static CertificateStore& objectOf(const StoreHandle& store) {
    return *CertificateStore::from(store.get());
  }

  static ContextHandle add(CertificateStore& store,
                           const std::shared_ptr<const CertificateData>& data,
                           DWORD disposition = CERT_STORE_ADD_ALWAYS) {
    const auto added = store.add(data, disposition);
    return ContextHandle(added ? *added : nullptr);
  }

  static std::vector<Thumbprint> thumbprints(const DataList& list) {
    std::vector<Thumbprint> all;
    all.reserve(list.size());
    for (const auto& data : list) {
      all.push_back(data->sha1());
    }
    return all;
  }
};

TEST_F(CertificateStoreTest, IsFoundBehindItsHandleOnly) {
  const StoreHandle store = openMemory();
  EXPECT_NE(nullptr, CertificateStore::from(store.get()));
  EXPECT_EQ(nullptr, CertificateStore::from(nullptr));
  std::uint64_t foreign[64] = {};
  EXPECT_EQ(nullptr, CertificateStore::from(foreign));
}

TEST_F(CertificateStoreTest, SharesTheDataThatItWasGiven) {
  const StoreHandle store = openMemory();
  const auto data = makeData("Shared");
  const ContextHandle context = add(objectOf(store), data);
  EXPECT_EQ(data, CertificateContext::from(context.get())->sharedData());
}

TEST_F(CertificateStoreTest, SharesTheDataOfASystemStoreWithEachOpen) {
  write("My", "a.cer", makeDer("a"));
  const StoreHandle first = openSystem(L"My");
  const StoreHandle second = openSystem(L"My");
  EXPECT_EQ(objectOf(first).certificates(), objectOf(second).certificates());
}

TEST_F(CertificateStoreTest, ListsEverythingInItsOrder) {
  write("My", "old.cer", makeDer("Old", 20 * lab::kDay));
  write("My", "new.cer", makeDer("New", 10 * lab::kDay));
  const StoreHandle store = openSystem(L"My");
  const auto fresh = makeData("Added", 30 * lab::kDay);
  add(objectOf(store), fresh);
  const auto stored = snapshot(Location::CurrentUser, "My");
  ASSERT_TRUE(stored);
  std::vector<Thumbprint> expected = {fresh->sha1()};
  for (const StoredCertificate& certificate : (*stored)->certificates()) {
    if (certificate.data->sha1() != fresh->sha1()) {
      expected.push_back(certificate.data->sha1());
    }
  }
  EXPECT_EQ(3U, expected.size());
  EXPECT_EQ(expected, thumbprints(objectOf(store).certificates()));
}

TEST_F(CertificateStoreTest, ListsArchivedCertificatesToo) {
  const StoreHandle store = openMemory();
  const ContextHandle context = add(objectOf(store), makeData("Archived"));
  const CRYPT_DATA_BLOB empty{};
  ASSERT_EQ(TRUE,
            CertSetCertificateContextProperty(context.get(), CERT_ARCHIVED_PROP_ID, 0, &empty));
  EXPECT_EQ(1U, objectOf(store).certificates().size());
}

TEST_F(CertificateStoreTest, ListsNothingThatWasRemoved) {
  write("My", "a.cer", makeDer("a"));
  const StoreHandle store = openSystem(L"My");
  const ContextHandle there = findIn(store, CERT_FIND_ANY, nullptr);
  const ContextHandle added = add(objectOf(store), makeData("Added"));
  EXPECT_TRUE(objectOf(store).remove(*CertificateContext::from(there.get())));
  EXPECT_TRUE(objectOf(store).remove(*CertificateContext::from(added.get())));
  EXPECT_TRUE(objectOf(store).certificates().empty());
}

TEST_F(CertificateStoreTest, TellsWhereItLiesAndWhetherItLasts) {
  EXPECT_EQ(std::nullopt, objectOf(openMemory()).location());
  EXPECT_FALSE(objectOf(openMemory()).isPersistent());
  const StoreHandle user = openSystem(L"My");
  EXPECT_EQ(Location::CurrentUser, objectOf(user).location());
  EXPECT_TRUE(objectOf(user).isPersistent());
  const StoreHandle readOnly = openSystem(L"My", kUser | CERT_STORE_READONLY_FLAG);
  EXPECT_FALSE(objectOf(readOnly).isPersistent());
  const StoreHandle machine = openSystem(L"My", kMachine);
  EXPECT_EQ(Location::LocalMachine, objectOf(machine).location());
}

TEST_F(CertificateStoreTest, ClosesOnce) {
  CertificateStore* store = CertificateStore::openMemory(0);
  const ContextHandle context = add(*store, makeData("Out"));
  const auto first = store->close();
  ASSERT_TRUE(first);
  EXPECT_TRUE(*first);
  EXPECT_EQ(ERROR_INVALID_HANDLE, store->close().error());
}

TEST_F(CertificateStoreTest, GivesOneContextToAllWhoAskAtOnce) {
  const StoreHandle store = openMemory();
  const ContextHandle first = add(objectOf(store), makeData("One"));
  const auto second = objectOf(store).next(StoreSearch::all(), nullptr);
  ASSERT_TRUE(second);
  const ContextHandle owner(*second);
  EXPECT_EQ(first.get(), owner.get());
}

TEST_F(CertificateStoreTest, MakesAFreshContextWhenNobodyHoldsOne) {
  const StoreHandle store = openMemory();
  add(objectOf(store), makeData("Fresh")).reset();
  for (int i = 0; i < 3; ++i) {
    const ContextHandle context = findIn(store, CERT_FIND_ANY, nullptr);
    EXPECT_TRUE(CertificateContext::from(context.get())->properties().untouched());
  }
}

TEST_F(CertificateStoreTest, KeepsAContextThatHasAKeyHandle) {
  HCRYPTPROV handle = 0;
  ASSERT_EQ(TRUE, CryptAcquireContextA(&handle, nullptr, nullptr, 80, CRYPT_VERIFYCONTEXT));
  const int before = releasesOf(handle);
  StoreHandle store = openMemory();
  const auto keyOf = [](const ContextHandle& context) {
    const auto key = CertificateContext::from(context.get())->properties().keyContext();
    return key ? key->hCryptProv : 0;
  };
  {
    const ContextHandle context = add(objectOf(store), makeData("Key"));
    CertificateContext::from(context.get())->properties().setKeyContext(handle, AT_SIGNATURE, true);
  }
  EXPECT_EQ(handle, keyOf(findIn(store, CERT_FIND_ANY, nullptr)));
  EXPECT_EQ(before, releasesOf(handle));
  store.reset();
  EXPECT_EQ(before + 1, releasesOf(handle));
}

TEST_F(CertificateStoreTest, ReleasesAKeyHandleWithADeletedCertificate) {
  HCRYPTPROV handle = 0;
  ASSERT_EQ(TRUE, CryptAcquireContextA(&handle, nullptr, nullptr, 80, CRYPT_VERIFYCONTEXT));
  const int before = releasesOf(handle);
  const StoreHandle store = openMemory();
  ContextHandle context = add(objectOf(store), makeData("Key"));
  CertificateContext::from(context.get())->properties().setKeyContext(handle, AT_SIGNATURE, true);
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(context.release()));
  EXPECT_EQ(before + 1, releasesOf(handle));
}

TEST_F(CertificateStoreTest, LeavesTheKeyHandleWithAReplacedCertificate) {
  HCRYPTPROV handle = 0;
  ASSERT_EQ(TRUE, CryptAcquireContextA(&handle, nullptr, nullptr, 80, CRYPT_VERIFYCONTEXT));
  const int before = releasesOf(handle);
  const StoreHandle store = openMemory();
  const auto data = makeData("Key");
  ContextHandle old = add(objectOf(store), data);
  CertificateContext::from(old.get())->properties().setKeyContext(handle, AT_SIGNATURE, true);
  const ContextHandle fresh =
      add(objectOf(store), data, CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES);
  EXPECT_EQ(std::nullopt, CertificateContext::from(fresh.get())->properties().keyContext());
  EXPECT_EQ(before, releasesOf(handle));
  old.reset();
  EXPECT_EQ(before + 1, releasesOf(handle));
}

// The way in which a signer named by DN is looked for.
TEST_F(CertificateStoreTest, IsWalkedByTheTextOfTheSubjects) {
  constexpr int kCount = 200;
  for (int i = 0; i < kCount; ++i) {
    write("My", std::to_string(i) + ".cer", makeDer("Walked " + std::to_string(i)));
  }
  const StoreHandle store = openSystem(L"My");
  std::vector<std::wstring> texts;
  PCCERT_CONTEXT context = nullptr;
  while ((context = CertFindCertificateInStore(
              store.get(), kX509, 0, CERT_FIND_ANY, nullptr, context)) != nullptr) {
    CERT_NAME_BLOB name = context->pCertInfo->Subject;
    std::wstring text(CertNameToStrW(kX509, &name, CERT_OID_NAME_STR, nullptr, 0), L'\0');
    CertNameToStrW(kX509, &name, CERT_OID_NAME_STR, text.data(), static_cast<DWORD>(text.size()));
    texts.push_back(text);
  }
  EXPECT_EQ(static_cast<std::size_t>(kCount), texts.size());
  std::ranges::sort(texts);
  EXPECT_EQ(texts.end(), std::ranges::adjacent_find(texts)) << "each is another one's";
  EXPECT_TRUE(texts.front().starts_with(L"2.5.4.6=RU, 2.5.4.10=Test, 2.5.4.3=Walked "));
}

}  // namespace
}  // namespace qx::test::certificate_store_test
