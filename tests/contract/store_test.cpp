#include "platform/cert_store.h"

#include "tests/contract/contract.h"

// Stores: opening, walking, searching, adding, deleting, closing.

namespace qx::test::store_test {
namespace {

BOOL add(const Store& store,
         const std::vector<BYTE>& der,
         DWORD disposition,
         PCCERT_CONTEXT* added = nullptr) {
  return CertAddEncodedCertificateToStore(
      store.get(), kBoth, der.data(), sizeOf(der), disposition, added);
}

int countOf(const Store& store) {
  int count = 0;
  PCCERT_CONTEXT certificate = nullptr;
  SetLastError(kMark);
  while ((certificate = CertEnumCertificatesInStore(store.get(), certificate)) != nullptr) {
    ++count;
  }
  EXPECT_EQ(GetLastError(), DWORD{CRYPT_E_NOT_FOUND}) << "the end is said";
  return count;
}

PCCERT_CONTEXT find(const Store& store, DWORD type, const void* what) {
  return CertFindCertificateInStore(store.get(), kBoth, 0, type, what, nullptr);
}

TEST(ContractStore, OfNoKnownKindIsNotOpened) {
  EXPECT_REFUSED(CertOpenStore(nullptr, 0, 0, 0, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_REFUSED(CertOpenStore("no such kind", 0, 0, 0, nullptr), ERROR_FILE_NOT_FOUND);
}

TEST(ContractStore, ThatIsAbsentIsNotMadeWhenItMustExist) {
  subject();
  EXPECT_REFUSED(CertOpenStore(CERT_STORE_PROV_SYSTEM_W,
                               0,
                               0,
                               CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG,
                               L"Absent"),
                 ERROR_FILE_NOT_FOUND);
}

TEST(ContractStore, IsFoundByItsNameInAnyCase) {
  subject();
  for (const WCHAR* name : {L"MY", L"my", L"My"}) {
    const Store store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W,
                                    0,
                                    0,
                                    CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG,
                                    name));
    EXPECT_TRUE(store);
  }
}

TEST(ContractStore, InMemoryIsNewAndEmptyEachTime) {
  const Store one = memoryStore();
  const Store other = memoryStore();
  EXPECT_EQ(countOf(one), 0);
  EXPECT_TRUE(add(one, subject().signer, CERT_STORE_ADD_NEW));
  EXPECT_EQ(countOf(one), 1);
  EXPECT_EQ(countOf(other), 0);
  EXPECT_REFUSED(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_DELETE_FLAG, nullptr),
                 ERROR_CALL_NOT_IMPLEMENTED);
}

TEST(ContractStore, TakesACopyOfWhatIsAdded) {
  const Store store = memoryStore();
  std::vector<BYTE> given = subject().signer;
  Certificate added;
  ASSERT_TRUE(add(store, given, CERT_STORE_ADD_NEW, added.put()));
  std::ranges::fill(given, BYTE{0});
  EXPECT_EQ(bytesOf(added.get()), subject().signer);
  EXPECT_EQ(added.get()->hCertStore, store.get());
}

TEST(ContractStore, AddsInTheWayThatIsAsked) {
  const Store store = memoryStore();
  const std::vector<BYTE>& der = subject().signer;
  EXPECT_REFUSED(add(store, der, 0), E_INVALIDARG);
  EXPECT_TRUE(add(store, der, CERT_STORE_ADD_NEW));
  EXPECT_REFUSED(add(store, der, CERT_STORE_ADD_NEW), CRYPT_E_EXISTS);
  EXPECT_TRUE(add(store, der, CERT_STORE_ADD_USE_EXISTING));
  EXPECT_TRUE(add(store, der, CERT_STORE_ADD_REPLACE_EXISTING));
  EXPECT_EQ(countOf(store), 1);
  EXPECT_TRUE(add(store, der, CERT_STORE_ADD_ALWAYS));
  EXPECT_EQ(countOf(store), 2);
  EXPECT_FALSE(add(store, {0x30, 0x00}, CERT_STORE_ADD_NEW));
}

TEST(ContractStore, InMemoryIsWalkedNewestFirst) {
  const Store store = memoryStore();
  ASSERT_TRUE(add(store, subject().signer, CERT_STORE_ADD_NEW));
  ASSERT_TRUE(add(store, subject().stranger, CERT_STORE_ADD_NEW));
  const Certificate first(CertEnumCertificatesInStore(store.get(), nullptr));
  EXPECT_EQ(bytesOf(first.get()), subject().stranger);
}

TEST(ContractStore, IsSearchedInEveryWay) {
  const Store store = memoryStore();
  ASSERT_TRUE(add(store, subject().stranger, CERT_STORE_ADD_NEW));
  ASSERT_TRUE(add(store, subject().signer, CERT_STORE_ADD_NEW));
  ASSERT_TRUE(add(store, subject().root, CERT_STORE_ADD_NEW));
  const Certificate wanted = contextOf(subject().signer);
  const Certificate root = contextOf(subject().root);
  BYTE hash[20];
  DWORD size = sizeof hash;
  ASSERT_TRUE(CertGetCertificateContextProperty(wanted.get(), CERT_SHA1_HASH_PROP_ID, hash, &size));
  CRYPT_HASH_BLOB thumbprint = {size, hash};
  const CERT_INFO& info = *wanted.get()->pCertInfo;
  CERT_INFO number{};
  number.Issuer = info.Issuer;
  number.SerialNumber = info.SerialNumber;

  const std::pair<DWORD, const void*> ways[] = {{CERT_FIND_SHA1_HASH, &thumbprint},
                                                {CERT_FIND_SUBJECT_CERT, &number},
                                                {CERT_FIND_SUBJECT_NAME, &info.Subject},
                                                {CERT_FIND_SUBJECT_STR_W, L"bank, SIGNER"},
                                                {CERT_FIND_EXISTING, wanted.get()},
                                                {CERT_FIND_PUBLIC_KEY, &info.SubjectPublicKeyInfo}};
  for (const auto& [type, what] : ways) {
    const Certificate found(find(store, type, what));
    ASSERT_TRUE(found) << std::hex << type;
    EXPECT_EQ(bytesOf(found.get()), subject().signer) << std::hex << type;
  }
  const Certificate issuer(find(store, CERT_FIND_ISSUER_OF, wanted.get()));
  ASSERT_TRUE(issuer);
  EXPECT_EQ(bytesOf(issuer.get()), subject().root);
  const Certificate same(CertGetSubjectCertificateFromStore(store.get(), kBoth, &number));
  ASSERT_TRUE(same);
  EXPECT_EQ(bytesOf(same.get()), subject().signer);
}

TEST(ContractStore, SaysWhyNothingIsFound) {
  const Store store = memoryStore();
  CERT_INFO nobody{};
  EXPECT_REFUSED(find(store, CERT_FIND_SUBJECT_CERT, &nobody), CRYPT_E_NOT_FOUND);
  EXPECT_REFUSED(find(store, CERT_FIND_SUBJECT_STR_W, L"nobody"), CRYPT_E_NOT_FOUND);
  EXPECT_REFUSED(find(store, 0x7FFF0000, nullptr), E_INVALIDARG);
  EXPECT_REFUSED(CertGetSubjectCertificateFromStore(store.get(), kBoth, nullptr), E_INVALIDARG);
  EXPECT_REFUSED(CertGetSubjectCertificateFromStore(store.get(), kBoth, &nobody),
                 CRYPT_E_NOT_FOUND);
}

TEST(ContractStore, LosesWhatIsDeletedWhileItIsWalked) {
  const Store store = memoryStore();
  ASSERT_TRUE(add(store, subject().signer, CERT_STORE_ADD_NEW));
  ASSERT_TRUE(add(store, subject().stranger, CERT_STORE_ADD_NEW));
  PCCERT_CONTEXT certificate = nullptr;
  int deleted = 0;
  while ((certificate = CertEnumCertificatesInStore(store.get(), certificate)) != nullptr) {
    EXPECT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(certificate)));
    ++deleted;
  }
  EXPECT_EQ(deleted, 2);
  EXPECT_EQ(countOf(store), 0);
}

TEST(ContractStore, IsOutlivedByItsContexts) {
  Store store = memoryStore();
  Certificate added;
  ASSERT_TRUE(add(store, subject().signer, CERT_STORE_ADD_NEW, added.put()));
  SetLastError(kMark);
  EXPECT_TRUE(store.close());
  EXPECT_EQ(GetLastError(), kMark);
  EXPECT_EQ(bytesOf(added.get()), subject().signer);
}

TEST(ContractStore, TellsAtItsCloseWhatIsStillOut) {
  Store store = memoryStore();
  Certificate added;
  ASSERT_TRUE(add(store, subject().signer, CERT_STORE_ADD_NEW, added.put()));
  EXPECT_REFUSED(CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG),
                 CRYPT_E_PENDING_CLOSE);
  Store empty = memoryStore();
  EXPECT_TRUE(CertCloseStore(empty.release(), CERT_CLOSE_STORE_CHECK_FLAG));
  EXPECT_QUIET(CertCloseStore(nullptr, 0));
}

TEST(ContractStore, OpenForReadingIsNotChanged) {
  subject();
  const Store store(CertOpenStore(
      CERT_STORE_PROV_SYSTEM_W,
      0,
      0,
      CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG,
      L"MY"));
  ASSERT_TRUE(store);
  EXPECT_REFUSED(add(store, subject().stranger, CERT_STORE_ADD_NEW), E_ACCESSDENIED);
  PCCERT_CONTEXT signer = find(store, CERT_FIND_ANY, nullptr);
  ASSERT_NE(signer, nullptr);
  EXPECT_REFUSED(CertDeleteCertificateFromStore(signer), E_ACCESSDENIED);
  EXPECT_EQ(countOf(store), 1);
}

TEST(ContractStore, KeepsNothingThatAnotherHolds) {
  const Certificate alone = contextOf(subject().signer);
  Certificate free;
  ASSERT_TRUE(add(Store(), subject().signer, CERT_STORE_ADD_ALWAYS, free.put()));
  EXPECT_NE(free.get(), alone.get());
  EXPECT_EQ(bytesOf(free.get()), subject().signer);
}

}  // namespace
}  // namespace qx::test::store_test
