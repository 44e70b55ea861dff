#include <filesystem>
#include <string>

#include "platform/crypt_prov.h"

#include "provider/store/certificate_context.h"
#include "tests/provider/store/released_handles.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::store_open_test {
namespace {

namespace fs = std::filesystem;

class OpenStoreTest : public StoreTest {
 protected:
  static DWORD errorOf(const wchar_t* name, DWORD flags) {
    SetLastError(kUntouched);
    const StoreHandle store = openSystem(name, flags);
    return store == nullptr ? GetLastError() : DWORD{ERROR_SUCCESS};
  }
};

TEST_F(OpenStoreTest, KnowsItsProvidersByNumber) {
  for (const LPCSTR provider : {LPCSTR{nullptr},
                                CERT_STORE_PROV_MSG,
                                CERT_STORE_PROV_FILE,
                                CERT_STORE_PROV_COLLECTION,
                                CERT_STORE_PROV_PHYSICAL}) {
    EXPECT_EQ(nullptr, CertOpenStore(provider, 0, 0, kUser, L"My"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
  }
}

TEST_F(OpenStoreTest, KnowsItsProvidersByName) {
  EXPECT_NE(nullptr, StoreHandle(CertOpenStore("Memory", 0, 0, 0, nullptr)));
  EXPECT_NE(nullptr, StoreHandle(CertOpenStore("memory", 0, 0, 0, nullptr)));
  EXPECT_NE(nullptr, StoreHandle(CertOpenStore("System", 0, 0, kUser, L"My")));
  EXPECT_EQ(nullptr, CertOpenStore("Collection", 0, 0, kUser, L"My"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
}

TEST_F(OpenStoreTest, MakesAMemoryStoreWhateverTheFlags) {
  for (const DWORD flags : {0U,
                            CERT_STORE_OPEN_EXISTING_FLAG,
                            CERT_STORE_CREATE_NEW_FLAG,
                            CERT_STORE_OPEN_EXISTING_FLAG | CERT_STORE_CREATE_NEW_FLAG,
                            CERT_STORE_READONLY_FLAG}) {
    const StoreHandle store = openMemory(flags);
    ASSERT_NE(nullptr, store) << flags;
    EXPECT_TRUE(namesIn(store).empty());
    EXPECT_NE(nullptr, addTo(store, makeDer("x"))) << flags;
  }
}

TEST_F(OpenStoreTest, DeletesNoStore) {
  EXPECT_EQ(nullptr, openMemory(CERT_STORE_DELETE_FLAG));
  EXPECT_EQ(ERROR_CALL_NOT_IMPLEMENTED, GetLastError());
  fs::create_directories(storePath("My"));
  EXPECT_EQ(ERROR_CALL_NOT_IMPLEMENTED, errorOf(L"My", kUser | CERT_STORE_DELETE_FLAG));
  EXPECT_TRUE(fs::exists(storePath("My")));
}

TEST_F(OpenStoreTest, KeepsMemoryStoresApart) {
  const StoreHandle first = openMemory();
  const StoreHandle second = openMemory();
  addTo(first, makeDer("x"));
  EXPECT_EQ(1U, namesIn(first).size());
  EXPECT_TRUE(namesIn(second).empty());
}

TEST_F(OpenStoreTest, WantsALocationThatItHas) {
  for (const DWORD location : {0U,
                               CERT_SYSTEM_STORE_CURRENT_SERVICE,
                               CERT_SYSTEM_STORE_SERVICES,
                               CERT_SYSTEM_STORE_USERS,
                               CERT_SYSTEM_STORE_LOCAL_MACHINE_ENTERPRISE,
                               0xFF0000U}) {
    EXPECT_EQ(E_INVALIDARG, errorOf(L"My", location)) << location;
  }
}

TEST_F(OpenStoreTest, WantsAName) {
  EXPECT_EQ(E_INVALIDARG, errorOf(nullptr, kUser));
  for (const wchar_t* name : {L"", L".", L"..", L".x", L"a/b", L"a\\b", L"../My", L"a\nb"}) {
    EXPECT_EQ(E_INVALIDARG, errorOf(name, kUser));
    EXPECT_EQ(E_INVALIDARG, errorOf(name, kUser | CERT_STORE_OPEN_EXISTING_FLAG));
  }
  EXPECT_FALSE(fs::exists(folder().path() + "/stores"));
}

TEST_F(OpenStoreTest, MakesAStoreThatIsAbsent) {
  EXPECT_EQ(ERROR_SUCCESS, errorOf(L"My", kUser));
  EXPECT_TRUE(fs::is_directory(storePath("My")));
  EXPECT_EQ(ERROR_SUCCESS, errorOf(L"Книга", kUser));
  EXPECT_TRUE(fs::is_directory(storePath("Книга")));
  EXPECT_EQ(ERROR_SUCCESS, errorOf(L"My", kMachine));
  EXPECT_TRUE(fs::is_directory(machinePath("My")));
}

TEST_F(OpenStoreTest, NeverMakesAStoreThatShallExist) {
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, errorOf(L"My", kUser | CERT_STORE_OPEN_EXISTING_FLAG));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, errorOf(L"My", kMachine | CERT_STORE_OPEN_EXISTING_FLAG));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, errorOf(L"My", kUser | CERT_STORE_READONLY_FLAG));
  EXPECT_FALSE(fs::exists(folder().path() + "/stores"));
  EXPECT_FALSE(fs::exists(folder().path() + "/machine"));
  fs::create_directories(storePath("My"));
  EXPECT_EQ(ERROR_SUCCESS, errorOf(L"My", kUser | CERT_STORE_OPEN_EXISTING_FLAG));
}

TEST_F(OpenStoreTest, MakesANewStoreOnce) {
  EXPECT_EQ(ERROR_SUCCESS, errorOf(L"My", kUser | CERT_STORE_CREATE_NEW_FLAG));
  EXPECT_EQ(ERROR_FILE_EXISTS, errorOf(L"My", kUser | CERT_STORE_CREATE_NEW_FLAG));
  EXPECT_EQ(E_INVALIDARG,
            errorOf(L"My", kUser | CERT_STORE_CREATE_NEW_FLAG | CERT_STORE_OPEN_EXISTING_FLAG));
}

TEST_F(OpenStoreTest, ComparesNamesWithoutCase) {
  write("My", "a.cer", makeDer("a"));
  for (const wchar_t* name : {L"My", L"MY", L"my"}) {
    EXPECT_EQ(1U, namesIn(openSystem(name, kUser | CERT_STORE_OPEN_EXISTING_FLAG)).size());
  }
}

TEST_F(OpenStoreTest, TakesNarrowNames) {
  write("Книга", "a.cer", makeDer("a"));
  const StoreHandle store(CertOpenStore(
      CERT_STORE_PROV_SYSTEM_A, 0, 0, kUser | CERT_STORE_OPEN_EXISTING_FLAG, "Книга"));
  ASSERT_NE(nullptr, store);
  EXPECT_EQ(1U, namesIn(store).size());
}

TEST_F(OpenStoreTest, LeavesTheLastErrorAlone) {
  fs::create_directories(storePath("My"));
  SetLastError(kUntouched);
  openSystem(L"My").reset();
  openMemory().reset();
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(OpenStoreTest, ShowsWhatWasThereWhenItWasOpened) {
  write("My", "a.cer", makeDer("a"));
  const StoreHandle before = openSystem(L"My");
  write("My", "b.cer", makeDer("b"));
  EXPECT_EQ(1U, namesIn(before).size());
  EXPECT_EQ(2U, namesIn(openSystem(L"My")).size());
}

class CloseStoreTest : public StoreTest {};

TEST_F(CloseStoreTest, TakesNothing) {
  for (const DWORD flags : {0U, CERT_CLOSE_STORE_CHECK_FLAG, CERT_CLOSE_STORE_FORCE_FLAG, 0xFFU}) {
    EXPECT_EQ(TRUE, CertCloseStore(nullptr, flags));
  }
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(CloseStoreTest, SaysWhetherContextsAreOut) {
  StoreHandle store = openMemory();
  const ContextHandle context = addTo(store, makeDer("Out"));
  SetLastError(kUntouched);
  EXPECT_EQ(FALSE, CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG));
  EXPECT_EQ(CRYPT_E_PENDING_CLOSE, GetLastError());
  EXPECT_EQ("Out", commonNameOf(context.get()));

  store = openMemory();
  addTo(store, makeDer("Back")).reset();
  SetLastError(kUntouched);
  EXPECT_EQ(TRUE, CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG));
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(CloseStoreTest, LeavesContextsAlive) {
  for (const DWORD flags : {0U, CERT_CLOSE_STORE_FORCE_FLAG, CERT_CLOSE_STORE_CHECK_FLAG}) {
    write("My", "a.cer", makeDer("Alive"));
    StoreHandle store = openSystem(L"My");
    const ContextHandle context = findIn(store, CERT_FIND_ANY, nullptr);
    ASSERT_NE(nullptr, context);
    CertCloseStore(store.release(), flags);
    EXPECT_EQ("Alive", commonNameOf(context.get()));
    DWORD size = 0;
    EXPECT_EQ(
        TRUE,
        CertGetCertificateContextProperty(context.get(), CERT_SHA1_HASH_PROP_ID, nullptr, &size));
  }
}

TEST_F(CloseStoreTest, LeavesTheStoreReadableThroughItsContexts) {
  write("My", "a.cer", makeDer("a"));
  write("My", "b.cer", makeDer("b"));
  StoreHandle store = openSystem(L"My");
  const ContextHandle context = findIn(store, CERT_FIND_ANY, nullptr);
  CertCloseStore(store.release(), 0);
  std::size_t count = 0;
  PCCERT_CONTEXT walked = nullptr;
  while ((walked = CertEnumCertificatesInStore(context->hCertStore, walked)) != nullptr) {
    ++count;
  }
  EXPECT_EQ(2U, count);
}

TEST_F(CloseStoreTest, RefusesAHandleThatIsClosed) {
  StoreHandle store = openMemory();
  const ContextHandle context = addTo(store, makeDer("x"));
  HCERTSTORE handle = store.release();
  EXPECT_EQ(TRUE, CertCloseStore(handle, 0));
  EXPECT_EQ(FALSE, CertCloseStore(handle, 0));
  EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
}

TEST_F(CloseStoreTest, ReleasesKeyHandlesOfContextsThatAreBack) {
  HCRYPTPROV back = 0;
  HCRYPTPROV out = 0;
  ASSERT_EQ(TRUE, CryptAcquireContextA(&back, nullptr, nullptr, 80, CRYPT_VERIFYCONTEXT));
  ASSERT_EQ(TRUE, CryptAcquireContextA(&out, nullptr, nullptr, 80, CRYPT_VERIFYCONTEXT));
  const int backBefore = releasesOf(back);
  const int outBefore = releasesOf(out);
  const auto keep = [](const ContextHandle& context, HCRYPTPROV handle) {
    CertificateContext::from(context.get())->properties().setKeyContext(handle, AT_SIGNATURE, true);
  };
  StoreHandle store = openMemory();
  keep(addTo(store, makeDer("Back")), back);
  ContextHandle contextOut = addTo(store, makeDer("Out"));
  keep(contextOut, out);
  EXPECT_EQ(backBefore, releasesOf(back)) << "the store may be asked for it again";
  store.reset();
  EXPECT_EQ(backBefore + 1, releasesOf(back));
  EXPECT_EQ(outBefore, releasesOf(out));
  contextOut.reset();
  EXPECT_EQ(outBefore + 1, releasesOf(out));
}

TEST_F(CloseStoreTest, RefusesWhatIsNoStore) {
  std::uint64_t noStore[64] = {};
  EXPECT_EQ(FALSE, CertCloseStore(noStore, 0));
  EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
}

}  // namespace
}  // namespace qx::test::store_open_test
