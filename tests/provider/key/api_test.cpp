#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/cert_store.h"
#include "platform/crypt_prov.h"

#include "provider/key/key_context.h"
#include "provider/key/key_store.h"
#include "tests/provider/key/key_environment.h"
#include "tests/provider/key/sample_keys.h"
#include "tests/support/provider_folder.h"

namespace qx::api_test {
namespace {

using lab::KeyKind;
using ::testing::HasSubstr;

constexpr DWORD kPattern = 0x5A5A5A5A;
constexpr DWORD kInteractive = CRYPT_ACQUIRE_CACHE_FLAG | CRYPT_ACQUIRE_COMPARE_KEY_FLAG;
constexpr DWORD kSilent = kInteractive | CRYPT_ACQUIRE_SILENT_FLAG;
constexpr DWORD kOwn = CRYPT_ACQUIRE_SILENT_FLAG;

struct CloseStore {
  void operator()(void* store) const { CertCloseStore(store, 0); }
};

struct FreeCertificate {
  void operator()(const CERT_CONTEXT* context) const { CertFreeCertificateContext(context); }
};

using StorePtr = std::unique_ptr<void, CloseStore>;
using ContextPtr = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;

/// What CryptAcquireCertificatePrivateKey gave.
struct Acquired {
  BOOL good = FALSE;
  HCRYPTPROV handle = kPattern;
  DWORD keySpec = kPattern;
  BOOL callerFrees = 7;
  DWORD error = 0;
};

Acquired acquire(PCCERT_CONTEXT certificate, DWORD flags) {
  Acquired result;
  SetLastError(kPattern);
  result.good = CryptAcquireCertificatePrivateKey(
      certificate, flags, nullptr, &result.handle, &result.keySpec, &result.callerFrees);
  result.error = GetLastError();
  return result;
}

bool setPin(HCRYPTPROV handle, const char* pin, DWORD parameter = PP_KEYEXCHANGE_PIN) {
  return CryptSetProvParam(handle, parameter, reinterpret_cast<const BYTE*>(pin), 0) == TRUE;
}

/// The probe as the library makes it: 0 or the last error.
DWORD probe(HCRYPTPROV handle) {
  BYTE buffer[8];
  DWORD size = sizeof buffer;
  SetLastError(0);
  return CryptGetProvParam(handle, 109, buffer, &size, 0) == TRUE ? 0 : GetLastError();
}

class KeyApi : public ::testing::Test {
 protected:
  static X509Ptr certificateFor(EVP_PKEY* key, const std::string& name = "Signer") {
    lab::CertificateOptions options;
    options.subject = {{.type = "CN", .value = name}};
    return lab::selfSigned(key, options);
  }

  ContextPtr find(DWORD location = CERT_SYSTEM_STORE_CURRENT_USER) {
    store_.reset(CertOpenStore(
        CERT_STORE_PROV_SYSTEM_W, 0, 0, location | CERT_STORE_OPEN_EXISTING_FLAG, L"My"));
    EXPECT_NE(store_, nullptr);
    return ContextPtr(CertFindCertificateInStore(
        store_.get(), X509_ASN_ENCODING, 0, CERT_FIND_ANY, nullptr, nullptr));
  }

  /// A certificate in the user's store, its key with a PIN.
  ContextPtr signer(KeyKind kind = KeyKind::Gost2012_256, const std::string& pin = "1234") {
    key_ = lab::generateKey(kind);
    folder_.addKey(key_.get(), pin);
    folder_.addCertificate("My", certificateFor(key_.get()).get());
    return find();
  }

  static ContextPtr freeStanding(const X509* certificate) {
    const auto der = lab::toDer(certificate);
    return ContextPtr(CertCreateCertificateContext(
        X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
  }

  test::ProviderFolder folder_;
  EvpPkeyPtr key_;
  StorePtr store_;
};

TEST_F(KeyApi, FindsTheKeyOfACertificateAndDoesNotUnlockIt) {
  const ContextPtr certificate = signer();
  const Acquired key = acquire(certificate.get(), kSilent);
  ASSERT_EQ(key.good, TRUE);
  EXPECT_EQ(key.error, ERROR_SUCCESS);
  EXPECT_NE(key.handle, 0U);
  EXPECT_EQ(key.keySpec, AT_KEYEXCHANGE);
  EXPECT_EQ(key.callerFrees, FALSE);
  EXPECT_EQ(probe(key.handle), SCARD_W_WRONG_CHV);
}

TEST_F(KeyApi, UnlocksByThePinThatIsSet) {
  const ContextPtr certificate = signer();
  const Acquired key = acquire(certificate.get(), kSilent);
  ASSERT_TRUE(setPin(key.handle, "1234"));
  EXPECT_EQ(probe(key.handle), 0U);
  EXPECT_TRUE(usableKey(key.handle));
  ASSERT_TRUE(setPin(key.handle, "wrong", PP_SIGNATURE_PIN));
  EXPECT_EQ(probe(key.handle), SCARD_W_WRONG_CHV);
  EXPECT_EQ(usableKey(key.handle).error(), SCARD_W_WRONG_CHV);
}

TEST_F(KeyApi, CopiesThePin) {
  const ContextPtr certificate = signer();
  const Acquired key = acquire(certificate.get(), kSilent);
  std::string pin = "1234";
  ASSERT_TRUE(setPin(key.handle, pin.c_str()));
  pin.assign(4, 'x');
  EXPECT_EQ(probe(key.handle), 0U);
}

TEST_F(KeyApi, ForgetsThePinWithTheStore) {
  ContextPtr certificate = signer();
  Acquired key = acquire(certificate.get(), kSilent);
  ASSERT_TRUE(setPin(key.handle, "1234"));
  ASSERT_EQ(probe(key.handle), 0U);
  certificate = find();
  key = acquire(certificate.get(), kSilent);
  EXPECT_EQ(probe(key.handle), SCARD_W_WRONG_CHV);
}

TEST_F(KeyApi, KeepsAHandleInTheCertificatesContext) {
  const ContextPtr certificate = signer();
  const Acquired one = acquire(certificate.get(), kSilent);
  const Acquired two = acquire(certificate.get(), kSilent);
  EXPECT_EQ(one.handle, two.handle);
  EXPECT_EQ(two.keySpec, AT_KEYEXCHANGE);
  EXPECT_EQ(two.callerFrees, FALSE);
  CERT_KEY_CONTEXT kept{};
  DWORD size = sizeof kept;
  ASSERT_EQ(
      CertGetCertificateContextProperty(certificate.get(), CERT_KEY_CONTEXT_PROP_ID, &kept, &size),
      TRUE);
  EXPECT_EQ(kept.hCryptProv, one.handle);
}

TEST_F(KeyApi, GivesANewHandleEachTimeWithoutTheFlag) {
  const ContextPtr certificate = signer();
  const Acquired kept = acquire(certificate.get(), kSilent);
  const Acquired one = acquire(certificate.get(), kOwn);
  const Acquired two = acquire(certificate.get(), kOwn);
  EXPECT_EQ(one.callerFrees, TRUE);
  EXPECT_NE(one.handle, two.handle);
  EXPECT_NE(one.handle, kept.handle);
  ASSERT_TRUE(setPin(one.handle, "1234"));
  EXPECT_EQ(probe(one.handle), 0U);
  EXPECT_EQ(probe(two.handle), SCARD_W_WRONG_CHV);
  EXPECT_EQ(CryptReleaseContext(one.handle, 0), TRUE);
  EXPECT_EQ(CryptReleaseContext(two.handle, 0), TRUE);
}

TEST_F(KeyApi, GivesOneHandleToThreadsThatAskAtOnce) {
  const ContextPtr certificate = signer();
  std::vector<Acquired> keys(8);
  std::vector<std::thread> threads;
  for (Acquired& key : keys) {
    threads.emplace_back([&] { key = acquire(certificate.get(), kSilent); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const Acquired& key : keys) {
    EXPECT_EQ(key.good, TRUE);
    EXPECT_EQ(key.handle, keys[0].handle);
  }
}

TEST_F(KeyApi, MayBeCalledWithoutTheOptionalPlaces) {
  const ContextPtr certificate = signer();
  HCRYPTPROV handle = 0;
  ASSERT_EQ(CryptAcquireCertificatePrivateKey(
                certificate.get(), kOwn, nullptr, &handle, nullptr, nullptr),
            TRUE);
  EXPECT_EQ(CryptReleaseContext(handle, 0), TRUE);
}

TEST_F(KeyApi, KnowsTheKindOfKeyByItsCertificate) {
  const std::pair<KeyKind, DWORD> kinds[] = {{KeyKind::Gost2001, AT_KEYEXCHANGE},
                                             {KeyKind::Gost2012_512, AT_KEYEXCHANGE},
                                             {KeyKind::Rsa2048, AT_KEYEXCHANGE},
                                             {KeyKind::EcP256, AT_SIGNATURE}};
  for (const auto& [kind, keySpec] : kinds) {
    const EvpPkeyPtr key = lab::generateKey(kind);
    folder_.addKey(key.get(), "1234");
    const ContextPtr certificate = freeStanding(certificateFor(key.get()).get());
    const Acquired acquired = acquire(certificate.get(), kOwn);
    ASSERT_EQ(acquired.good, TRUE) << lab::kindName(kind);
    EXPECT_EQ(acquired.keySpec, keySpec) << lab::kindName(kind);
    ASSERT_TRUE(setPin(acquired.handle, "1234"));
    EXPECT_EQ(probe(acquired.handle), 0U);
    EXPECT_EQ(CryptReleaseContext(acquired.handle, 0), TRUE);
  }
}

TEST_F(KeyApi, TakesTheKeysOfTheCertificatesLocation) {
  key_ = lab::generateKey(KeyKind::Gost2012_256);
  const X509Ptr x509 = certificateFor(key_.get());
  folder_.addCertificate("My", x509.get());
  const std::string userFile = folder_.addKey(key_.get());
  const std::string machine = folder_.path() + "/machine";
  std::filesystem::create_directories(machine + "/stores/My");
  std::filesystem::create_directories(machine + "/keys");
  test::writeFile(machine + "/stores/My/a.pem", lab::toPem(x509.get()));

  const ContextPtr ofMachine = find(CERT_SYSTEM_STORE_LOCAL_MACHINE);
  ASSERT_NE(ofMachine, nullptr);
  EXPECT_EQ(acquire(ofMachine.get(), kSilent).error, CRYPT_E_NO_KEY_PROPERTY);
  std::filesystem::rename(userFile, machine + "/keys/" + test::keyFileName(key_.get()));
  EXPECT_EQ(acquire(ofMachine.get(), kSilent).good, TRUE);
  const ContextPtr ofUser = find();
  EXPECT_EQ(acquire(ofUser.get(), kSilent).error, CRYPT_E_NO_KEY_PROPERTY);
}

TEST_F(KeyApi, SaysWhenThereIsNoKey) {
  const EvpPkeyPtr key = lab::generateKey(KeyKind::Gost2012_256);
  const ContextPtr certificate = freeStanding(certificateFor(key.get()).get());
  const Acquired none = acquire(certificate.get(), kSilent);
  EXPECT_EQ(none.good, FALSE);
  EXPECT_EQ(none.error, CRYPT_E_NO_KEY_PROPERTY);
  EXPECT_EQ(none.handle, 0U);
  EXPECT_EQ(none.callerFrees, FALSE);
}

TEST_F(KeyApi, SaysThatACertificateOfAnotherKindHasNoKey) {
  EVP_PKEY* made = EVP_PKEY_Q_keygen(nullptr, nullptr, "X25519");
  const EvpPkeyPtr key(made);
  const EvpPkeyPtr signer = lab::generateKey(KeyKind::EcP256);
  const lab::Authority authority(lab::generateKey(KeyKind::EcP256),
                                 certificateFor(signer.get(), "CA"));
  const X509Ptr certificate = authority.issue(key.get(), {.subject = {{"CN", "Someone"}}});
  const Acquired none = acquire(freeStanding(certificate.get()).get(), kSilent);
  EXPECT_EQ(none.good, FALSE);
  EXPECT_EQ(none.error, CRYPT_E_NO_KEY_PROPERTY);
}

TEST_F(KeyApi, ComparesAKeyThatItCanRead) {
  const ContextPtr certificate = signer(KeyKind::Gost2012_256, "");
  const std::string file = folder_.path() + "/keys/" + test::keyFileName(key_.get());
  ASSERT_TRUE(std::filesystem::exists(file));
  const EvpPkeyPtr other = lab::generateKey(KeyKind::Gost2012_256);
  test::writeFile(file, lab::toPem(other.get()));
  EXPECT_EQ(acquire(certificate.get(), kSilent).error, NTE_BAD_PUBLIC_KEY);
  const Acquired unchecked = acquire(certificate.get(), kOwn);
  ASSERT_EQ(unchecked.good, TRUE);
  EXPECT_EQ(probe(unchecked.handle), SCARD_W_WRONG_CHV);
  EXPECT_EQ(CryptReleaseContext(unchecked.handle, 0), TRUE);
}

TEST_F(KeyApi, RefusesWrongArguments) {
  const ContextPtr certificate = signer();
  EXPECT_EQ(acquire(nullptr, kSilent).error, E_INVALIDARG);
  EXPECT_EQ(acquire(certificate.get(), 0x1000).error, NTE_BAD_FLAGS);
  EXPECT_EQ(acquire(certificate.get(), CRYPT_ACQUIRE_ONLY_NCRYPT_KEY_FLAG).error, NTE_BAD_FLAGS);
  EXPECT_EQ(
      CryptAcquireCertificatePrivateKey(certificate.get(), 0, nullptr, nullptr, nullptr, nullptr),
      FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(KeyApi, AsksWhenItMay) {
  const ContextPtr certificate = signer();
  test::writePinentry("D 1234");
  std::filesystem::remove(test::pinentryPath() + ".log");
  const Acquired key = acquire(certificate.get(), kInteractive);
  ASSERT_EQ(key.good, TRUE);
  EXPECT_EQ(probe(key.handle), 0U);
  EXPECT_THAT(test::readFile(test::pinentryPath() + ".log"), HasSubstr("SETDESC CN = Signer"));
}

TEST_F(KeyApi, FailsWhenTheUserDoesNotAnswer) {
  const ContextPtr certificate = signer();
  test::writePinentry("ERR 83886179 cancelled");
  const Acquired cancelled = acquire(certificate.get(), kInteractive);
  EXPECT_EQ(cancelled.good, FALSE);
  EXPECT_EQ(cancelled.error, SCARD_W_CANCELLED_BY_USER);
  EXPECT_EQ(cancelled.handle, 0U);
  test::writePinentry("D 4321");
  EXPECT_EQ(acquire(certificate.get(), kInteractive).error, SCARD_W_WRONG_CHV);
  std::filesystem::remove(test::pinentryPath());
  EXPECT_EQ(acquire(certificate.get(), kInteractive).error, NTE_SILENT_CONTEXT);
}

TEST_F(KeyApi, AsksForAKeptHandleThatIsStillLocked) {
  const ContextPtr certificate = signer();
  const Acquired locked = acquire(certificate.get(), kSilent);
  test::writePinentry("D 1234");
  const Acquired open = acquire(certificate.get(), kInteractive);
  ASSERT_EQ(open.good, TRUE);
  EXPECT_EQ(open.handle, locked.handle);
  EXPECT_EQ(probe(locked.handle), 0U);
}

TEST_F(KeyApi, AsksNobodyWhenSilent) {
  const ContextPtr certificate = signer();
  test::writePinentry("D 1234");
  std::filesystem::remove(test::pinentryPath() + ".log");
  EXPECT_EQ(acquire(certificate.get(), kSilent).good, TRUE);
  EXPECT_FALSE(std::filesystem::exists(test::pinentryPath() + ".log"));
}

TEST_F(KeyApi, NeedsNoPinWhereThereIsNone) {
  const ContextPtr certificate = signer(KeyKind::Rsa2048, "");
  const Acquired key = acquire(certificate.get(), kSilent);
  EXPECT_EQ(probe(key.handle), 0U);
  ASSERT_TRUE(setPin(key.handle, "any"));
  EXPECT_EQ(probe(key.handle), 0U);
}

TEST_F(KeyApi, OpensAContextThatHashesForEveryProviderType) {
  for (const DWORD type : {75U, 80U, 81U, 1U, 24U}) {
    HCRYPTPROV handle = 0;
    SetLastError(kPattern);
    ASSERT_EQ(CryptAcquireContextA(&handle, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT), TRUE);
    EXPECT_EQ(GetLastError(), kPattern);
    EXPECT_EQ(usableKey(handle).error(), NTE_NO_KEY);
    EXPECT_EQ(CryptReleaseContext(handle, 0), TRUE);
    EXPECT_EQ(GetLastError(), kPattern);
  }
}

TEST_F(KeyApi, OpensAContainerByTheKeysName) {
  signer();
  const std::string id = test::keyFileName(key_.get()).substr(0, 64);
  HCRYPTPROV handle = 0;
  ASSERT_EQ(CryptAcquireContextA(&handle, id.c_str(), nullptr, 80, CRYPT_SILENT), TRUE);
  ASSERT_TRUE(setPin(handle, "1234"));
  EXPECT_EQ(probe(handle), 0U);
  char container[65];
  DWORD size = sizeof container;
  ASSERT_EQ(CryptGetProvParam(handle, PP_CONTAINER, reinterpret_cast<BYTE*>(container), &size, 0),
            TRUE);
  EXPECT_EQ(container, id);
  EXPECT_EQ(CryptReleaseContext(handle, 0), TRUE);
}

struct BadContext {
  const char* container;
  const char* provider;
  DWORD type;
  DWORD flags;
  DWORD error;
};

class BadContexts : public KeyApi, public ::testing::WithParamInterface<BadContext> {};

TEST_P(BadContexts, AreRefused) {
  const BadContext& bad = GetParam();
  HCRYPTPROV handle = kPattern;
  EXPECT_EQ(CryptAcquireContextA(&handle, bad.container, bad.provider, bad.type, bad.flags), FALSE);
  EXPECT_EQ(GetLastError(), bad.error);
  EXPECT_EQ(handle, 0U);
}

constexpr const char* kNoKey = "0000000000000000000000000000000000000000000000000000000000000000";

INSTANTIATE_TEST_SUITE_P(
    All,
    BadContexts,
    ::testing::Values(
        BadContext{nullptr, nullptr, 0, CRYPT_VERIFYCONTEXT, NTE_BAD_PROV_TYPE},
        BadContext{nullptr, nullptr, 1000, CRYPT_VERIFYCONTEXT, NTE_BAD_PROV_TYPE},
        BadContext{nullptr, nullptr, 999, CRYPT_VERIFYCONTEXT, NTE_PROV_TYPE_NOT_DEF},
        BadContext{nullptr, nullptr, 3, CRYPT_VERIFYCONTEXT, NTE_PROV_TYPE_NOT_DEF},
        BadContext{nullptr, "no such", 75, CRYPT_VERIFYCONTEXT, NTE_KEYSET_NOT_DEF},
        BadContext{nullptr, "qxprovider RSA", 75, CRYPT_VERIFYCONTEXT, NTE_PROV_TYPE_NO_MATCH},
        BadContext{nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT | 1, NTE_BAD_FLAGS},
        BadContext{kNoKey, nullptr, 75, CRYPT_VERIFYCONTEXT, NTE_BAD_KEYSET_PARAM},
        BadContext{nullptr, nullptr, 75, 0, NTE_BAD_KEYSET},
        BadContext{"", nullptr, 75, 0, NTE_BAD_KEYSET},
        BadContext{kNoKey, nullptr, 75, 0, NTE_BAD_KEYSET},
        BadContext{kNoKey, nullptr, 75, CRYPT_MACHINE_KEYSET, NTE_BAD_KEYSET},
        BadContext{"../../etc/passwd", nullptr, 75, 0, NTE_BAD_KEYSET},
        BadContext{kNoKey, nullptr, 75, CRYPT_NEWKEYSET, ERROR_CALL_NOT_IMPLEMENTED},
        BadContext{kNoKey, nullptr, 75, CRYPT_DELETEKEYSET, ERROR_CALL_NOT_IMPLEMENTED}));

TEST_F(KeyApi, SaysThatAContainerIsThere) {
  signer();
  const std::string id = test::keyFileName(key_.get()).substr(0, 64);
  HCRYPTPROV handle = 0;
  EXPECT_EQ(CryptAcquireContextA(&handle, id.c_str(), nullptr, 80, CRYPT_NEWKEYSET), FALSE);
  EXPECT_EQ(GetLastError(), NTE_EXISTS);
}

TEST_F(KeyApi, TakesAProviderByItsName) {
  HCRYPTPROV handle = 0;
  ASSERT_EQ(CryptAcquireContextA(
                &handle, nullptr, "qxprovider GOST R 34.10-2001", 75, CRYPT_VERIFYCONTEXT),
            TRUE);
  EXPECT_EQ(CryptReleaseContext(handle, 0), TRUE);
  ASSERT_EQ(CryptAcquireContextA(&handle, "", "", 75, CRYPT_VERIFYCONTEXT), TRUE);
  EXPECT_EQ(CryptReleaseContext(handle, 0), TRUE);
  ASSERT_EQ(CryptAcquireContextA(&handle, nullptr, nullptr, 75, CRYPT_DEFAULT_CONTAINER_OPTIONAL),
            TRUE);
  EXPECT_EQ(CryptReleaseContext(handle, 0), TRUE);
}

TEST_F(KeyApi, WantsAPlaceForTheHandle) {
  EXPECT_EQ(CryptAcquireContextA(nullptr, nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(KeyApi, ReleasesWithWrongFlagsAllTheSame) {
  HCRYPTPROV handle = 0;
  ASSERT_EQ(CryptAcquireContextA(&handle, nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT), TRUE);
  EXPECT_EQ(CryptReleaseContext(handle, 1), FALSE);
  EXPECT_EQ(GetLastError(), NTE_BAD_FLAGS);
}

TEST_F(KeyApi, RefusesWhatIsNoHandle) {
  const std::uint64_t something[4] = {};
  const auto foreign = reinterpret_cast<HCRYPTPROV>(&something);
  BYTE buffer[8];
  DWORD size = sizeof buffer;
  EXPECT_EQ(CryptReleaseContext(0, 0), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(CryptReleaseContext(foreign, 0), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(setPin(foreign, "1234"));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(CryptGetProvParam(foreign, PP_NAME, buffer, &size, 0), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(probe(0), ERROR_INVALID_HANDLE);
}

TEST_F(KeyApi, LeavesTheLastErrorAloneOnSuccess) {
  const ContextPtr certificate = signer();
  const Acquired key = acquire(certificate.get(), kSilent);
  SetLastError(kPattern);
  ASSERT_TRUE(setPin(key.handle, "1234"));
  DWORD size = 0;
  ASSERT_EQ(CryptGetProvParam(key.handle, PP_NAME, nullptr, &size, 0), TRUE);
  EXPECT_EQ(GetLastError(), kPattern);
}

TEST_F(KeyApi, LetsAChildGoOnWithItsHandles) {
  const ContextPtr certificate = signer();
  const Acquired key = acquire(certificate.get(), kSilent);
  ASSERT_TRUE(setPin(key.handle, "1234"));
  ASSERT_EQ(probe(key.handle), 0U);
  const pid_t child = fork();
  if (child == 0) {
    const bool keeps = probe(key.handle) == 0;
    const Acquired own = acquire(certificate.get(), kOwn);
    const bool locked = probe(own.handle) == SCARD_W_WRONG_CHV;
    const bool opens = setPin(own.handle, "1234") && probe(own.handle) == 0;
    _exit(keeps && locked && opens ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace qx::api_test
