#include "platform/crypt_prov.h"
#include "platform/oid_info.h"

#include "tests/contract/contract.h"

// Providers, and the keys of certificates.

namespace qx::test::key_test {
namespace {

Provider anyProvider() {
  HCRYPTPROV handle = 0;
  EXPECT_TRUE(CryptAcquireContextA(&handle, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
  return Provider(handle);
}

TEST(ContractKey, OfACertificateWithoutOneIsNotThere) {
  const Certificate stranger = contextOf(subject().stranger);
  HCRYPTPROV key = 0;
  DWORD spec = 0;
  BOOL frees = TRUE;
  EXPECT_REFUSED(CryptAcquireCertificatePrivateKey(
                     stranger.get(), CRYPT_ACQUIRE_SILENT_FLAG, nullptr, &key, &spec, &frees),
                 CRYPT_E_NO_KEY_PROPERTY);
  EXPECT_FALSE(frees);
}

TEST(ContractKey, IsTheCallersUnlessItIsCached) {
  const Store store = storeOfSigner();
  const Certificate signer = storedSigner(store);
  ASSERT_TRUE(signer);
  const auto acquire = [&](DWORD flags, HCRYPTPROV* key, BOOL* frees) {
    DWORD spec = 0;
    return CryptAcquireCertificatePrivateKey(
        signer.get(), flags | CRYPT_ACQUIRE_SILENT_FLAG, nullptr, key, &spec, frees);
  };
  HCRYPTPROV own = 0;
  BOOL frees = FALSE;
  SetLastError(kMark);
  ASSERT_TRUE(acquire(0, &own, &frees));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_TRUE(frees);
  HCRYPTPROV cached = 0;
  ASSERT_TRUE(acquire(CRYPT_ACQUIRE_CACHE_FLAG, &cached, &frees));
  EXPECT_FALSE(frees);
  HCRYPTPROV same = 0;
  ASSERT_TRUE(acquire(CRYPT_ACQUIRE_CACHE_FLAG, &same, &frees));
  EXPECT_EQ(same, cached);
  EXPECT_NE(own, cached);
  EXPECT_QUIET(CryptReleaseContext(own, 0));
}

TEST(ContractKey, OfTheCertificateIsCompared) {
  const Store store = storeOfSigner();
  const Certificate signer = storedSigner(store);
  Provider key;
  EXPECT_TRUE(
      CryptAcquireCertificatePrivateKey(signer.get(),
                                        CRYPT_ACQUIRE_COMPARE_KEY_FLAG | CRYPT_ACQUIRE_SILENT_FLAG,
                                        nullptr,
                                        key.put(),
                                        nullptr,
                                        nullptr));
}

TEST(ContractKey, TakesAPinWithoutLookingAtIt) {
  const Store store = storeOfSigner();
  const Certificate signer = storedSigner(store);
  Provider key;
  ASSERT_TRUE(CryptAcquireCertificatePrivateKey(
      signer.get(), CRYPT_ACQUIRE_SILENT_FLAG, nullptr, key.put(), nullptr, nullptr));
  const auto* pin = reinterpret_cast<const BYTE*>("1234");
  EXPECT_TRUE(CryptSetProvParam(key.get(), PP_SIGNATURE_PIN, pin, 0));
  EXPECT_TRUE(CryptSetProvParam(key.get(), PP_KEYEXCHANGE_PIN, pin, 0));
  EXPECT_REFUSED(CryptSetProvParam(key.get(), 999, pin, 0), NTE_BAD_TYPE);
  EXPECT_REFUSED(CryptSetProvParam(key.get(), PP_SIGNATURE_PIN, pin, 1), NTE_BAD_FLAGS);
  DWORD size = 0;
  EXPECT_TRUE(CryptGetProvParam(key.get(), PP_QX_KEY_USABLE, nullptr, &size, 0))
      << "the key needs none";
}

TEST(ContractProvider, ChecksItsArguments) {
  HCRYPTPROV handle = 0;
  const auto acquire = [&](LPCSTR container, LPCSTR name, DWORD type, DWORD flags) {
    return CryptAcquireContextA(&handle, container, name, type, flags);
  };
  EXPECT_REFUSED(acquire(nullptr, nullptr, 0, CRYPT_VERIFYCONTEXT), NTE_BAD_PROV_TYPE);
  EXPECT_REFUSED(acquire(nullptr, nullptr, 1000, CRYPT_VERIFYCONTEXT), NTE_BAD_PROV_TYPE);
  EXPECT_REFUSED(acquire(nullptr, "nobody's", PROV_RSA_FULL, CRYPT_VERIFYCONTEXT),
                 NTE_KEYSET_NOT_DEF);
  EXPECT_REFUSED(acquire("no such container", nullptr, PROV_RSA_FULL, 0), NTE_BAD_KEYSET);
  EXPECT_REFUSED(
      CryptAcquireContextA(nullptr, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT),
      ERROR_INVALID_PARAMETER);
}

TEST(ContractProvider, IsReleasedEvenWithFlagsThatItRefuses) {
  Provider provider = anyProvider();
  const HCRYPTPROV handle = provider.release();
  EXPECT_REFUSED(CryptReleaseContext(handle, 1), NTE_BAD_FLAGS);
  EXPECT_FALSE(CryptReleaseContext(0, 0));
}

TEST(ContractProvider, ListsItsAlgorithmsOneByOne) {
  const Provider provider = anyProvider();
  PROV_ENUMALGS entry{};
  const auto read = [&](BYTE* data, DWORD* size, DWORD flags) {
    return CryptGetProvParam(provider.get(), PP_ENUMALGS, data, size, flags);
  };
  auto* bytes = reinterpret_cast<BYTE*>(&entry);
  DWORD small = 8;
  EXPECT_REFUSED(read(bytes, &small, CRYPT_FIRST), ERROR_MORE_DATA);
  DWORD size = sizeof entry;
  ASSERT_TRUE(read(bytes, &size, CRYPT_FIRST));
  const ALG_ID first = entry.aiAlgid;
  int count = 0;
  do {
    EXPECT_EQ(entry.dwNameLen, std::strlen(entry.szName) + 1);
    EXPECT_NE(GET_ALG_CLASS(entry.aiAlgid), 0U);
    ++count;
    // The size of the largest item; asking for it does not go on to the next one.
    EXPECT_TRUE(read(nullptr, &size, CRYPT_NEXT));
    EXPECT_EQ(size, sizeof entry);
  } while (read(bytes, &size, count % 2 == 0 ? CRYPT_NEXT : 0) != FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
  EXPECT_GT(count, 1);
  size = sizeof entry;
  EXPECT_TRUE(read(bytes, &size, CRYPT_FIRST));
  EXPECT_EQ(entry.aiAlgid, first) << "from the beginning again";
}

TEST(ContractProvider, TellsItsNameAndType) {
  const Provider provider = anyProvider();
  const auto read = [&](DWORD what) {
    return readTwice([&](BYTE* data, DWORD* size) {
      return CryptGetProvParam(provider.get(), what, data, size, 0);
    });
  };
  const std::vector<BYTE> name = read(PP_NAME);
  ASSERT_GT(name.size(), 1U);
  EXPECT_EQ(name.back(), 0);
  EXPECT_EQ(read(PP_PROVTYPE).size(), sizeof(DWORD));
  DWORD size = 0;
  EXPECT_REFUSED(CryptGetProvParam(provider.get(), 9999, nullptr, &size, 0), NTE_BAD_TYPE);
}

}  // namespace
}  // namespace qx::test::key_test
