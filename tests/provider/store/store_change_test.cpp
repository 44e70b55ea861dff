#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/provider/store/store_support.h"

namespace qx::test::store_change_test {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kUserProperty = CERT_FIRST_USER_PROP_ID;

class ChangeTest : public StoreTest {
 protected:
  static void mark(PCCERT_CONTEXT context) {
    const Bytes value = {1};
    const CRYPT_DATA_BLOB blob = blobOf(value);
    EXPECT_EQ(TRUE, CertSetCertificateContextProperty(context, kUserProperty, 0, &blob));
  }

  static bool isMarked(PCCERT_CONTEXT context) {
    DWORD size = 0;
    return CertGetCertificateContextProperty(context, kUserProperty, nullptr, &size) == TRUE;
  }

  std::size_t fileCount(const std::string& store) const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(storePath(store)), fs::directory_iterator()));
  }
};

// The rules are the same in memory and on disk.
class AddTest : public ChangeTest, public ::testing::WithParamInterface<bool> {
 protected:
  AddTest() : store_(GetParam() ? openSystem(L"My") : openMemory()) {}

  ContextHandle add(const Bytes& der, DWORD disposition = CERT_STORE_ADD_ALWAYS) const {
    return addTo(store_, der, disposition);
  }

  const StoreHandle& store() const { return store_; }

  // On disk there are as many certificates as the store shows.
  void expectCount(std::size_t count) const {
    EXPECT_EQ(count, namesIn(store_).size());
    if (GetParam()) {
      EXPECT_EQ(count, fileCount("My"));
      EXPECT_EQ(count, namesIn(openSystem(L"My")).size());
    }
  }

 private:
  StoreHandle store_;
};

INSTANTIATE_TEST_SUITE_P(Stores, AddTest, ::testing::Bool(), [](const auto& test) {
  return test.param ? "System" : "Memory";
});

TEST_P(AddTest, PutsACopyIn) {
  const Bytes der = makeDer("Added");
  const ContextHandle free = makeContext(der);
  const ContextHandle context = add(der);
  ASSERT_NE(nullptr, context);
  EXPECT_EQ(store().get(), context->hCertStore);
  EXPECT_EQ(der, bytesOf(context.get()));
  mark(context.get());
  EXPECT_FALSE(isMarked(free.get()));
  expectCount(1);
}

TEST_P(AddTest, NeedsNoPlaceForTheContext) {
  const Bytes der = makeDer("No place");
  EXPECT_EQ(TRUE,
            CertAddEncodedCertificateToStore(store().get(),
                                             kX509,
                                             der.data(),
                                             static_cast<DWORD>(der.size()),
                                             CERT_STORE_ADD_NEW,
                                             nullptr));
  EXPECT_EQ(kUntouched, GetLastError());
  expectCount(1);
}

TEST_P(AddTest, RefusesANewOneThatIsThere) {
  const Bytes der = makeDer("Twice");
  ASSERT_NE(nullptr, add(der, CERT_STORE_ADD_NEW));
  EXPECT_EQ(nullptr, add(der, CERT_STORE_ADD_NEW));
  EXPECT_EQ(CRYPT_E_EXISTS, GetLastError());
  expectCount(1);
}

TEST_P(AddTest, UsesTheOneThatIsThere) {
  const Bytes der = makeDer("Used");
  const ContextHandle first = add(der, CERT_STORE_ADD_USE_EXISTING);
  mark(first.get());
  const ContextHandle second = add(der, CERT_STORE_ADD_USE_EXISTING);
  EXPECT_EQ(first.get(), second.get());
  EXPECT_TRUE(isMarked(second.get()));
  expectCount(1);
}

TEST_P(AddTest, ReplacesTheOneThatIsThereWithItsProperties) {
  const Bytes der = makeDer("Replaced");
  const ContextHandle first = add(der);
  mark(first.get());
  const ContextHandle second = add(der, CERT_STORE_ADD_REPLACE_EXISTING);
  EXPECT_NE(first.get(), second.get());
  EXPECT_FALSE(isMarked(second.get()));
  EXPECT_TRUE(isMarked(first.get())) << "it lives on for its holder";
  expectCount(1);
}

TEST_P(AddTest, KeepsThePropertiesOfAReplacedOneWhenAsked) {
  const Bytes der = makeDer("Inherited");
  mark(add(der).get());
  const ContextHandle second = add(der, CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES);
  EXPECT_TRUE(isMarked(second.get()));
  expectCount(1);
}

TEST_P(AddTest, ReplacesWhatIsNotThereByAddingIt) {
  EXPECT_NE(nullptr, add(makeDer("a"), CERT_STORE_ADD_REPLACE_EXISTING));
  EXPECT_NE(nullptr, add(makeDer("b"), CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES));
  EXPECT_NE(nullptr, add(makeDer("c"), CERT_STORE_ADD_USE_EXISTING));
  EXPECT_NE(nullptr, add(makeDer("d"), CERT_STORE_ADD_NEWER));
  expectCount(4);
}

TEST_P(AddTest, AddsASecondCopyWhenAsked) {
  const Bytes der = makeDer("Copies");
  const ContextHandle first = add(der);
  const ContextHandle second = add(der);
  EXPECT_NE(first.get(), second.get());
  expectCount(2);
}

TEST_P(AddTest, FindsNothingNewerInTheSameCertificate) {
  const Bytes der = makeDer("Newer");
  ASSERT_NE(nullptr, add(der, CERT_STORE_ADD_NEWER));
  for (const DWORD disposition : {CERT_STORE_ADD_NEWER, CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES}) {
    EXPECT_EQ(nullptr, add(der, disposition));
    EXPECT_EQ(CRYPT_E_EXISTS, GetLastError());
  }
  expectCount(1);
}

TEST_P(AddTest, TellsCertificatesApartByAllTheirBytes) {
  lab::CertificateOptions options = named("Same issuer and serial");
  options.serial = "01";
  ASSERT_NE(nullptr, add(lab::toDer(makeCertificate(options).get()), CERT_STORE_ADD_NEW));
  EXPECT_NE(nullptr, add(lab::toDer(makeCertificate(options).get()), CERT_STORE_ADD_NEW));
  expectCount(2);
}

TEST_P(AddTest, RefusesUnknownDispositions) {
  const Bytes der = makeDer("Disposition");
  for (const DWORD disposition : {0U, 8U, 0xFFFFFFFFU}) {
    EXPECT_EQ(nullptr, add(der, disposition));
    EXPECT_EQ(E_INVALIDARG, GetLastError());
  }
  expectCount(0);
}

TEST_P(AddTest, RefusesWhatIsNoCertificate) {
  EXPECT_EQ(nullptr, add({0x30, 0x00}));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, GetLastError());
  EXPECT_EQ(nullptr, add(lab::toDer(authority().crl().get())));
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, GetLastError());
  EXPECT_EQ(nullptr, add({}));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, GetLastError());
  expectCount(0);
}

TEST_P(AddTest, AsksNeitherForSignatureNorForDates) {
  lab::CertificateOptions options = named("Expired");
  options.notBefore = -20 * lab::kDay;
  options.notAfter = -10 * lab::kDay;
  EXPECT_NE(nullptr, add(lab::toDer(makeCertificate(options).get())));
  Bytes unsignedDer = makeDer("Bad signature");
  unsignedDer.back() ^= 1U;
  EXPECT_NE(nullptr, add(unsignedDer));
  expectCount(2);
}

TEST_P(AddTest, WantsTheX509Encoding) {
  const Bytes der = makeDer("Encoding");
  EXPECT_EQ(FALSE,
            CertAddEncodedCertificateToStore(store().get(),
                                             PKCS_7_ASN_ENCODING,
                                             der.data(),
                                             static_cast<DWORD>(der.size()),
                                             CERT_STORE_ADD_ALWAYS,
                                             nullptr));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

TEST_P(AddTest, DeletesWhatItAdded) {
  ContextHandle context = add(makeDer("Deleted"));
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(context.release()));
  expectCount(0);
}

TEST_P(AddTest, DeletesOneOfTwoCopies) {
  const Bytes der = makeDer("Copies");
  add(der);
  ContextHandle second = add(der);
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(second.release()));
  expectCount(1);
}

TEST_P(AddTest, DeletesADeletedOneOnceMore) {
  const ContextHandle context = add(makeDer("Twice deleted"));
  const auto reference = [&] { return CertDuplicateCertificateContext(context.get()); };
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(reference()));
  add(makeDer("Another one"));
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(reference()));
  EXPECT_EQ("Twice deleted", commonNameOf(context.get()));
  expectCount(1);
}

TEST_P(AddTest, AddsAgainWhatWasDeleted) {
  const Bytes der = makeDer("Again");
  ContextHandle context = add(der, CERT_STORE_ADD_NEW);
  mark(context.get());
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(context.release()));
  context = add(der, CERT_STORE_ADD_NEW);
  ASSERT_NE(nullptr, context);
  EXPECT_FALSE(isMarked(context.get()));
  expectCount(1);
}

TEST_F(ChangeTest, DeletesNoContextThatIsNone) {
  EXPECT_EQ(FALSE, CertDeleteCertificateFromStore(nullptr));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

TEST_F(ChangeTest, DeletesAFreeContextByFreeingIt) {
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(makeContext(makeDer("Free")).release()));
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(ChangeTest, AddsToNoStoreByMakingAFreeContext) {
  const Bytes der = makeDer("No store");
  PCCERT_CONTEXT context = nullptr;
  EXPECT_EQ(TRUE,
            CertAddEncodedCertificateToStore(nullptr,
                                             kX509,
                                             der.data(),
                                             static_cast<DWORD>(der.size()),
                                             CERT_STORE_ADD_ALWAYS,
                                             &context));
  const ContextHandle owner(context);
  EXPECT_EQ(der, bytesOf(context));
  EXPECT_EQ(makeContext(der)->hCertStore, context->hCertStore);
  EXPECT_EQ(FALSE,
            CertAddEncodedCertificateToStore(
                nullptr, kX509, der.data(), static_cast<DWORD>(der.size()), 0, nullptr));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

TEST_F(ChangeTest, RefusesWhatIsNoStore) {
  const Bytes der = makeDer("No store");
  std::uint64_t noStore[64] = {};
  EXPECT_EQ(FALSE,
            CertAddEncodedCertificateToStore(noStore,
                                             kX509,
                                             der.data(),
                                             static_cast<DWORD>(der.size()),
                                             CERT_STORE_ADD_ALWAYS,
                                             nullptr));
  EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
}

TEST_F(ChangeTest, DeletesFromDiskWhatWasThereBefore) {
  write("My", "a.pem", lab::toPem(makeCertificate("a").get()));
  const StoreHandle store = openSystem(L"My");
  EXPECT_EQ(TRUE, CertDeleteCertificateFromStore(findIn(store, CERT_FIND_ANY, nullptr).release()));
  EXPECT_EQ(0U, fileCount("My"));
  EXPECT_TRUE(namesIn(store).empty());
}

TEST_F(ChangeTest, LeavesReadOnlyStoresAlone) {
  const Bytes der = makeDer("a");
  write("My", "a.cer", der);
  StoreHandle store = openSystem(L"My", kUser | CERT_STORE_READONLY_FLAG);
  EXPECT_EQ(nullptr, addTo(store, makeDer("b")));
  EXPECT_EQ(E_ACCESSDENIED, GetLastError());
  EXPECT_EQ(FALSE, CertDeleteCertificateFromStore(findIn(store, CERT_FIND_ANY, nullptr).release()));
  EXPECT_EQ(E_ACCESSDENIED, GetLastError());
  EXPECT_EQ(1U, fileCount("My"));
  EXPECT_EQ(TRUE, CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG)) << "it was freed";
}

TEST_F(ChangeTest, SeesWhatSomebodyElseAddedMeanwhile) {
  const Bytes der = makeDer("Meanwhile");
  const StoreHandle first = openSystem(L"My");
  const StoreHandle second = openSystem(L"My");
  ASSERT_NE(nullptr, addTo(first, der, CERT_STORE_ADD_NEW));
  EXPECT_EQ(nullptr, addTo(second, der, CERT_STORE_ADD_NEW));
  EXPECT_EQ(CRYPT_E_EXISTS, GetLastError());
  EXPECT_NE(nullptr, addTo(second, der, CERT_STORE_ADD_USE_EXISTING));
  EXPECT_EQ(1U, fileCount("My"));
  EXPECT_EQ(1U, namesIn(second).size());
}

TEST_F(ChangeTest, PutsTheUsersTrustBesideTheMachines) {
  fs::create_directories(machinePath("Root"));
  const StoreHandle store = openSystem(L"Root", kUser);
  ASSERT_NE(nullptr, addTo(store, makeDer("Mine")));
  EXPECT_EQ(1U, fileCount("Root"));
  EXPECT_TRUE(fs::is_empty(machinePath("Root")));
}

TEST_F(ChangeTest, SaysThatTheDiskRefuses) {
  const Bytes there = makeDer("There");
  write("My", "a.cer", there);
  const Bytes fresh = makeDer("Fresh");
  fs::permissions(storePath("My"), fs::perms::owner_read | fs::perms::owner_exec);
  const auto refused = [&] { return GetLastError() == E_ACCESSDENIED; };
  EXPECT_TRUE(holdsWithoutRights([&] {
    const StoreHandle store = openSystem(L"My");
    const bool notAdded = addTo(store, fresh) == nullptr && refused();
    ContextHandle context = findIn(store, CERT_FIND_ANY, nullptr);
    const bool notDeleted = CertDeleteCertificateFromStore(context.release()) == FALSE && refused();
    return notAdded && notDeleted && namesIn(store).size() == 1;
  }));
  fs::permissions(storePath("My"), fs::perms::owner_all);
}

TEST_F(ChangeTest, LeavesTheMachinesTrustToRoot) {
  const Bytes der = makeDer("Machine");
  fs::create_directories(machinePath("Root"));
  writeFile(machinePath("Root") + "/a.cer", std::string(der.begin(), der.end()));
  EXPECT_TRUE(holdsWithoutRights([&] {
    const StoreHandle store = openSystem(L"Root");
    ContextHandle context = findIn(store, CERT_FIND_ANY, nullptr);
    return CertDeleteCertificateFromStore(context.release()) == FALSE &&
           GetLastError() == E_ACCESSDENIED && openSystem(L"CA", kMachine) == nullptr &&
           GetLastError() == E_ACCESSDENIED;
  }));
  EXPECT_TRUE(fs::exists(machinePath("Root") + "/a.cer"));
  EXPECT_FALSE(fs::exists(machinePath("CA")));
}

}  // namespace
}  // namespace qx::test::store_change_test
