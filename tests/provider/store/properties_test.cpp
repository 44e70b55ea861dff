#include "provider/store/properties.h"

#include <cstring>
#include <string>
#include <vector>

#include <openssl/evp.h>

#include "platform/crypt_prov.h"

#include "provider/store/certificate_context.h"
#include "tests/provider/store/released_handles.h"
#include "tests/provider/store/store_support.h"

namespace qx::test {
namespace {

class PropertiesTest : public StoreTest {
 protected:
  PropertiesTest() : der_(makeDer("Properties")), context_(makeContext(der_)) {
    SetLastError(kUntouched);
  }

  PCCERT_CONTEXT context() const { return context_.get(); }

  BOOL set(DWORD id, const void* value, DWORD flags = 0) const {
    return CertSetCertificateContextProperty(context(), id, flags, value);
  }

  // Both passes; nothing when the property is not there.
  std::optional<Bytes> get(DWORD id) const { return get(context(), id); }

  static std::optional<Bytes> get(PCCERT_CONTEXT context, DWORD id) {
    DWORD size = 0;
    if (CertGetCertificateContextProperty(context, id, nullptr, &size) == FALSE) {
      return std::nullopt;
    }
    Bytes value(size);
    EXPECT_EQ(TRUE, CertGetCertificateContextProperty(context, id, value.data(), &size));
    EXPECT_EQ(value.size(), size);
    return value;
  }

  template <class T>
  std::optional<T> getAs(DWORD id) const {
    const std::optional<Bytes> bytes = get(id);
    if (!bytes || bytes->size() != sizeof(T)) {
      return std::nullopt;
    }
    T value{};
    std::memcpy(&value, bytes->data(), sizeof value);
    return value;
  }

  BOOL setBlob(DWORD id, const Bytes& bytes) const {
    const CRYPT_DATA_BLOB blob = blobOf(bytes);
    return set(id, &blob);
  }

  static Bytes digestOf(const EVP_MD* digest, const Bytes& bytes) {
    Bytes value(static_cast<std::size_t>(EVP_MD_get_size(digest)));
    EVP_Digest(bytes.data(), bytes.size(), value.data(), nullptr, digest, nullptr);
    return value;
  }

  const Bytes& der() const { return der_; }

 private:
  Bytes der_;
  ContextHandle context_;
};

TEST_F(PropertiesTest, AreNotThereAtFirst) {
  for (const DWORD id : {CERT_KEY_PROV_INFO_PROP_ID,
                         CERT_KEY_CONTEXT_PROP_ID,
                         CERT_KEY_PROV_HANDLE_PROP_ID,
                         CERT_KEY_SPEC_PROP_ID,
                         CERT_FRIENDLY_NAME_PROP_ID,
                         CERT_ARCHIVED_PROP_ID,
                         0x8000U,
                         0x7000U,
                         0U}) {
    EXPECT_EQ(std::nullopt, get(id)) << id;
    EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError()) << id;
  }
}

TEST_F(PropertiesTest, GiveHashesOfTheWholeCertificate) {
  EXPECT_EQ(digestOf(EVP_sha1(), der()), get(CERT_SHA1_HASH_PROP_ID));
  EXPECT_EQ(digestOf(EVP_sha1(), der()), get(CERT_HASH_PROP_ID));
  EXPECT_EQ(digestOf(EVP_md5(), der()), get(CERT_MD5_HASH_PROP_ID));
  EXPECT_EQ(digestOf(EVP_sha256(), der()), get(CERT_SHA256_HASH_PROP_ID));
}

TEST_F(PropertiesTest, GiveTheHashThatWasSigned) {
  const auto data = dataOf(der());
  const Bytes tbs(data->tbs().begin(), data->tbs().end());
  EXPECT_EQ(digestOf(EVP_sha256(), tbs), get(CERT_SIGNATURE_HASH_PROP_ID));
}

TEST_F(PropertiesTest, FollowTheTwoPassProtocol) {
  DWORD size = 0;
  EXPECT_EQ(TRUE,
            CertGetCertificateContextProperty(context(), CERT_SHA1_HASH_PROP_ID, nullptr, &size));
  EXPECT_EQ(20U, size);
  Bytes small(19, 0xEE);
  size = 19;
  EXPECT_EQ(
      FALSE,
      CertGetCertificateContextProperty(context(), CERT_SHA1_HASH_PROP_ID, small.data(), &size));
  EXPECT_EQ(ERROR_MORE_DATA, GetLastError());
  EXPECT_EQ(20U, size);
  EXPECT_EQ(Bytes(19, 0xEE), small);
  Bytes large(64, 0xEE);
  size = 64;
  EXPECT_EQ(
      TRUE,
      CertGetCertificateContextProperty(context(), CERT_SHA1_HASH_PROP_ID, large.data(), &size));
  EXPECT_EQ(20U, size);
  EXPECT_EQ(0xEE, large[20]);
}

TEST_F(PropertiesTest, WantSomewhereToPutTheSize) {
  EXPECT_EQ(FALSE,
            CertGetCertificateContextProperty(context(), CERT_SHA1_HASH_PROP_ID, nullptr, nullptr));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
  DWORD size = 0;
  EXPECT_EQ(FALSE,
            CertGetCertificateContextProperty(nullptr, CERT_SHA1_HASH_PROP_ID, nullptr, &size));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
  EXPECT_EQ(FALSE, CertSetCertificateContextProperty(nullptr, 0x8000, 0, nullptr));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

TEST_F(PropertiesTest, RefuseImpossibleIds) {
  const Bytes value = {1};
  for (const DWORD id : {0U, 0x10000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(FALSE, setBlob(id, value)) << id;
    EXPECT_EQ(E_INVALIDARG, GetLastError()) << id;
  }
}

TEST_F(PropertiesTest, KeepAWrongHashThatSomebodySets) {
  const Bytes wrong = {1, 2, 3, 4};
  EXPECT_EQ(TRUE, setBlob(CERT_SHA1_HASH_PROP_ID, wrong));
  EXPECT_EQ(wrong, get(CERT_SHA1_HASH_PROP_ID));
  EXPECT_EQ(TRUE, set(CERT_SHA1_HASH_PROP_ID, nullptr));
  EXPECT_EQ(digestOf(EVP_sha1(), der()), get(CERT_SHA1_HASH_PROP_ID));
}

TEST_F(PropertiesTest, KeepBlobsUnderManyIds) {
  const std::vector<DWORD> ids = {CERT_FRIENDLY_NAME_PROP_ID,
                                  CERT_DESCRIPTION_PROP_ID,
                                  CERT_FIRST_USER_PROP_ID,
                                  CERT_LAST_USER_PROP_ID,
                                  CERT_ARCHIVED_PROP_ID,
                                  CERT_KEY_IDENTIFIER_PROP_ID};
  for (const DWORD id : ids) {
    EXPECT_EQ(TRUE, setBlob(id, Bytes(3, static_cast<std::uint8_t>(id))));
  }
  for (const DWORD id : ids) {
    EXPECT_EQ(Bytes(3, static_cast<std::uint8_t>(id)), get(id)) << id;
  }
  EXPECT_EQ(TRUE, setBlob(CERT_FRIENDLY_NAME_PROP_ID, {9}));
  EXPECT_EQ(Bytes{9}, get(CERT_FRIENDLY_NAME_PROP_ID));
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(PropertiesTest, CopyBlobs) {
  Bytes value = {1, 2, 3};
  EXPECT_EQ(TRUE, setBlob(CERT_DESCRIPTION_PROP_ID, value));
  value[0] = 99;
  EXPECT_EQ((Bytes{1, 2, 3}), get(CERT_DESCRIPTION_PROP_ID));
}

TEST_F(PropertiesTest, TellAnEmptyBlobFromNone) {
  EXPECT_EQ(TRUE, setBlob(CERT_ARCHIVED_PROP_ID, {}));
  EXPECT_EQ(Bytes{}, get(CERT_ARCHIVED_PROP_ID));
  EXPECT_EQ(TRUE, set(CERT_ARCHIVED_PROP_ID, nullptr));
  EXPECT_EQ(std::nullopt, get(CERT_ARCHIVED_PROP_ID));
}

TEST_F(PropertiesTest, AreDeletedByNull) {
  EXPECT_EQ(TRUE, setBlob(0x8001, {1}));
  EXPECT_EQ(TRUE, set(0x8001, nullptr));
  EXPECT_EQ(std::nullopt, get(0x8001));
  EXPECT_EQ(TRUE, set(0x8001, nullptr)) << "one that is not there";
}

TEST_F(PropertiesTest, BelongToAllReferencesOfAContext) {
  const ContextHandle duplicate(CertDuplicateCertificateContext(context()));
  EXPECT_EQ(TRUE, setBlob(0x8000, {5}));
  EXPECT_EQ(Bytes{5}, get(duplicate.get(), 0x8000));
}

TEST_F(PropertiesTest, BelongToNoOtherContext) {
  const ContextHandle other = makeContext(der());
  EXPECT_EQ(TRUE, setBlob(0x8000, {5}));
  EXPECT_EQ(std::nullopt, get(other.get(), 0x8000));
}

TEST_F(PropertiesTest, TakeTheKeyIdentifierFromTheExtension) {
  const X509Ptr certificate = lab::readCertificate(der());
  const ASN1_OCTET_STRING* identifier = X509_get0_subject_key_id(certificate.get());
  const unsigned char* octets = ASN1_STRING_get0_data(identifier);
  EXPECT_EQ(Bytes(octets, octets + ASN1_STRING_length(identifier)),
            get(CERT_KEY_IDENTIFIER_PROP_ID));
}

TEST_F(PropertiesTest, ComputeTheKeyIdentifierWithoutTheExtension) {
  lab::CertificateOptions options = named("No key identifier");
  options.keyIdentifiers = false;
  const Bytes der = lab::toDer(makeCertificate(options).get());
  const ContextHandle bare = makeContext(der);
  const auto data = dataOf(der);
  const Bytes spki(data->spki().begin(), data->spki().end());
  EXPECT_EQ(digestOf(EVP_sha1(), spki), get(bare.get(), CERT_KEY_IDENTIFIER_PROP_ID));
}

TEST_F(PropertiesTest, SayThatTheKeyIdentifierIsDamaged) {
  lab::CertificateOptions options = named("Damaged key identifier");
  options.keyIdentifiers = false;
  options.extensions = {{.name = "2.5.29.14", .value = "DER:0500"}};
  const ContextHandle damaged = makeContext(lab::toDer(makeCertificate(options).get()));
  EXPECT_EQ(std::nullopt, get(damaged.get(), CERT_KEY_IDENTIFIER_PROP_ID));
  EXPECT_EQ(ERROR_INVALID_DATA, GetLastError());
}

TEST_F(PropertiesTest, TellWhetherWritesReachTheDisk) {
  const auto state = [](PCCERT_CONTEXT context) {
    DWORD value = 99;
    DWORD size = sizeof value;
    EXPECT_EQ(TRUE,
              CertGetCertificateContextProperty(context, CERT_ACCESS_STATE_PROP_ID, &value, &size));
    return value;
  };
  EXPECT_EQ(0U, state(context()));
  EXPECT_EQ(0U, state(addTo(openMemory(), der()).get()));
  const StoreHandle writable = openSystem(L"My");
  EXPECT_EQ(CERT_ACCESS_STATE_WRITE_PERSIST_FLAG, state(addTo(writable, der()).get()));
  const StoreHandle readOnly = openSystem(L"My", kUser | CERT_STORE_READONLY_FLAG);
  EXPECT_EQ(0U, state(findIn(readOnly, CERT_FIND_ANY, nullptr).get()));
  const DWORD value = 1;
  EXPECT_EQ(FALSE, set(CERT_ACCESS_STATE_PROP_ID, &value));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

class KeyProvInfoTest : public PropertiesTest {
 protected:
  // What comes back is one piece: everything lies inside the buffer.
  struct OnePiece {
    std::vector<std::uint64_t> buffer;
    DWORD size = 0;

    const CRYPT_KEY_PROV_INFO& info() const {
      return *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer.data());
    }

    bool holds(const void* pointer) const {
      const auto* begin = reinterpret_cast<const BYTE*>(buffer.data());
      const auto* address = static_cast<const BYTE*>(pointer);
      return address >= begin && address < begin + size;
    }
  };

  OnePiece read() const {
    OnePiece piece;
    EXPECT_EQ(TRUE,
              CertGetCertificateContextProperty(
                  context(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &piece.size));
    piece.buffer.resize((piece.size + 7) / 8);
    EXPECT_EQ(TRUE,
              CertGetCertificateContextProperty(
                  context(), CERT_KEY_PROV_INFO_PROP_ID, piece.buffer.data(), &piece.size));
    return piece;
  }
};

TEST_F(KeyProvInfoTest, ComesBackInOnePiece) {
  std::wstring container = L"Контейнер";
  std::wstring provider = L"A provider";
  Bytes first = {1, 2, 3};
  Bytes second = {4};
  CRYPT_KEY_PROV_PARAM parameters[] = {
      {.dwParam = 33, .pbData = first.data(), .cbData = 3, .dwFlags = 7},
      {.dwParam = 34, .pbData = second.data(), .cbData = 1, .dwFlags = 8}};
  const CRYPT_KEY_PROV_INFO info = {.pwszContainerName = container.data(),
                                    .pwszProvName = provider.data(),
                                    .dwProvType = 80,
                                    .dwFlags = 1,
                                    .cProvParam = 2,
                                    .rgProvParam = parameters,
                                    .dwKeySpec = AT_SIGNATURE};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  container = L"changed";
  provider = L"changed";
  first = {9, 9, 9};
  parameters[0].dwParam = 0;

  const OnePiece piece = read();
  const CRYPT_KEY_PROV_INFO& got = piece.info();
  EXPECT_STREQ(L"Контейнер", got.pwszContainerName);
  EXPECT_STREQ(L"A provider", got.pwszProvName);
  EXPECT_EQ(80U, got.dwProvType);
  EXPECT_EQ(1U, got.dwFlags);
  EXPECT_EQ(AT_SIGNATURE, got.dwKeySpec);
  ASSERT_EQ(2U, got.cProvParam);
  EXPECT_EQ(33U, got.rgProvParam[0].dwParam);
  EXPECT_EQ(7U, got.rgProvParam[0].dwFlags);
  EXPECT_EQ(Bytes({1, 2, 3}), Bytes(got.rgProvParam[0].pbData, got.rgProvParam[0].pbData + 3));
  EXPECT_EQ(Bytes({4}), Bytes(got.rgProvParam[1].pbData, got.rgProvParam[1].pbData + 1));
  for (const void* pointer : {static_cast<const void*>(got.pwszContainerName),
                              static_cast<const void*>(got.pwszProvName + 10),
                              static_cast<const void*>(got.rgProvParam + 1),
                              static_cast<const void*>(got.rgProvParam[1].pbData)}) {
    EXPECT_TRUE(piece.holds(pointer));
  }
  EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(got.rgProvParam) % 8);
}

TEST_F(KeyProvInfoTest, KeepsMissingStringsMissing) {
  const CRYPT_KEY_PROV_INFO info{.dwProvType = 1};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  const OnePiece piece = read();
  EXPECT_EQ(sizeof(CRYPT_KEY_PROV_INFO), piece.size);
  EXPECT_EQ(nullptr, piece.info().pwszContainerName);
  EXPECT_EQ(nullptr, piece.info().pwszProvName);
  EXPECT_EQ(nullptr, piece.info().rgProvParam);
  EXPECT_EQ(1U, piece.info().dwProvType);
}

TEST_F(KeyProvInfoTest, DoesNotFitASmallBuffer) {
  std::wstring container = L"container";
  const CRYPT_KEY_PROV_INFO info{.pwszContainerName = container.data()};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  alignas(8) BYTE buffer[sizeof(CRYPT_KEY_PROV_INFO)] = {};
  DWORD size = sizeof buffer;
  EXPECT_EQ(
      FALSE,
      CertGetCertificateContextProperty(context(), CERT_KEY_PROV_INFO_PROP_ID, buffer, &size));
  EXPECT_EQ(ERROR_MORE_DATA, GetLastError());
  EXPECT_EQ(sizeof(CRYPT_KEY_PROV_INFO) + 10 * sizeof(wchar_t), size);
}

TEST_F(KeyProvInfoTest, IsReplacedAndDeleted) {
  CRYPT_KEY_PROV_INFO info{.dwProvType = 1};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  info.dwProvType = 2;
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  EXPECT_EQ(2U, read().info().dwProvType);
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, nullptr));
  EXPECT_EQ(std::nullopt, get(CERT_KEY_PROV_INFO_PROP_ID));
}

TEST_F(KeyProvInfoTest, TellsTheKeySpec) {
  const CRYPT_KEY_PROV_INFO info{.dwKeySpec = AT_SIGNATURE};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  EXPECT_EQ(AT_SIGNATURE, getAs<DWORD>(CERT_KEY_SPEC_PROP_ID));
}

class KeyContextTest : public PropertiesTest {
 protected:
  // A handle that needs no key: it lives until it is released.
  static HCRYPTPROV makeHandle() {
    HCRYPTPROV handle = 0;
    EXPECT_EQ(TRUE, CryptAcquireContextA(&handle, nullptr, nullptr, 80, CRYPT_VERIFYCONTEXT));
    return handle;
  }

  static CERT_KEY_CONTEXT keyContext(HCRYPTPROV handle, DWORD keySpec = AT_SIGNATURE) {
    CERT_KEY_CONTEXT value{};
    value.cbSize = sizeof value;
    value.hCryptProv = handle;
    value.dwKeySpec = keySpec;
    return value;
  }
};

TEST_F(KeyContextTest, MakesHandleAndKeySpecReadable) {
  const HCRYPTPROV handle = makeHandle();
  const CERT_KEY_CONTEXT value = keyContext(handle);
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &value));
  EXPECT_EQ(handle, getAs<HCRYPTPROV>(CERT_KEY_PROV_HANDLE_PROP_ID));
  EXPECT_EQ(AT_SIGNATURE, getAs<DWORD>(CERT_KEY_SPEC_PROP_ID));
  const auto got = getAs<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID);
  ASSERT_TRUE(got);
  EXPECT_EQ(24U, got->cbSize);
  EXPECT_EQ(handle, got->hCryptProv);
  EXPECT_EQ(AT_SIGNATURE, got->dwKeySpec);
}

TEST_F(KeyContextTest, WantsItsSize) {
  CERT_KEY_CONTEXT value = keyContext(0);
  for (const DWORD size : {0U, 20U, 32U}) {
    value.cbSize = size;
    EXPECT_EQ(FALSE, set(CERT_KEY_CONTEXT_PROP_ID, &value)) << size;
    EXPECT_EQ(E_INVALIDARG, GetLastError()) << size;
  }
}

TEST_F(KeyContextTest, ReleasesTheHandleWithTheContext) {
  const HCRYPTPROV handle = makeHandle();
  const CERT_KEY_CONTEXT value = keyContext(handle);
  const int before = releasesOf(handle);
  {
    const ContextHandle other = makeContext(der());
    ASSERT_EQ(TRUE,
              CertSetCertificateContextProperty(other.get(), CERT_KEY_CONTEXT_PROP_ID, 0, &value));
    EXPECT_EQ(before, releasesOf(handle));
    SetLastError(kUntouched);
  }
  EXPECT_EQ(before + 1, releasesOf(handle));
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(KeyContextTest, ReleasesTheHandleWhenItIsReplacedOrDeleted) {
  const HCRYPTPROV first = makeHandle();
  const HCRYPTPROV second = makeHandle();
  const int firstBefore = releasesOf(first);
  const int secondBefore = releasesOf(second);
  const CERT_KEY_CONTEXT firstValue = keyContext(first);
  const CERT_KEY_CONTEXT secondValue = keyContext(second);
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &firstValue));
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &secondValue));
  EXPECT_EQ(firstBefore + 1, releasesOf(first));
  EXPECT_EQ(secondBefore, releasesOf(second));
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_HANDLE_PROP_ID, nullptr));
  EXPECT_EQ(secondBefore + 1, releasesOf(second));
}

TEST_F(KeyContextTest, KeepsAHandleThatIsSomebodyElses) {
  const HCRYPTPROV handle = makeHandle();
  const CERT_KEY_CONTEXT value = keyContext(handle);
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &value, CERT_STORE_NO_CRYPT_RELEASE_FLAG));
  const int before = releasesOf(handle);
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, nullptr));
  EXPECT_EQ(before, releasesOf(handle));
  EXPECT_EQ(TRUE, CryptReleaseContext(handle, 0));
}

TEST_F(KeyContextTest, LeavesTheRestWhenTheHandleIsDeleted) {
  const CERT_KEY_CONTEXT value = keyContext(makeHandle());
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &value));
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_HANDLE_PROP_ID, nullptr));
  const auto got = getAs<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID);
  ASSERT_TRUE(got);
  EXPECT_EQ(0U, got->hCryptProv);
  EXPECT_EQ(AT_SIGNATURE, got->dwKeySpec);
  EXPECT_EQ(std::nullopt, get(CERT_KEY_PROV_HANDLE_PROP_ID));
}

TEST_F(KeyContextTest, IsMadeBySettingAHandle) {
  const CRYPT_KEY_PROV_INFO info{.dwKeySpec = AT_KEYEXCHANGE};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  const HCRYPTPROV handle = makeHandle();
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_HANDLE_PROP_ID, &handle));
  const auto got = getAs<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID);
  ASSERT_TRUE(got);
  EXPECT_EQ(handle, got->hCryptProv);
  EXPECT_EQ(AT_KEYEXCHANGE, got->dwKeySpec);
}

TEST_F(KeyContextTest, IsNotMadeByDeletingAHandle) {
  EXPECT_EQ(TRUE, set(CERT_KEY_PROV_HANDLE_PROP_ID, nullptr));
  EXPECT_EQ(TRUE, set(CERT_KEY_SPEC_PROP_ID, nullptr));
  EXPECT_EQ(std::nullopt, get(CERT_KEY_CONTEXT_PROP_ID));
}

TEST_F(KeyContextTest, TakesAKeySpecAlone) {
  const DWORD keySpec = AT_KEYEXCHANGE;
  ASSERT_EQ(TRUE, set(CERT_KEY_SPEC_PROP_ID, &keySpec));
  EXPECT_EQ(AT_KEYEXCHANGE, getAs<DWORD>(CERT_KEY_SPEC_PROP_ID));
  const CERT_KEY_CONTEXT value = keyContext(makeHandle());
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &value));
  EXPECT_EQ(AT_SIGNATURE, getAs<DWORD>(CERT_KEY_SPEC_PROP_ID));
  ASSERT_EQ(TRUE, set(CERT_KEY_SPEC_PROP_ID, &keySpec));
  EXPECT_EQ(AT_KEYEXCHANGE, getAs<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID)->dwKeySpec);
}

TEST_F(KeyContextTest, IsKeptForTheProvidersOwnUse) {
  Properties& properties = CertificateContext::from(context())->properties();
  EXPECT_EQ(std::nullopt, properties.keyContext());
  EXPECT_TRUE(properties.untouched());
  const HCRYPTPROV handle = makeHandle();
  properties.setKeyContext(handle, AT_SIGNATURE, /*releaseWithContext=*/true);
  EXPECT_EQ(handle, properties.keyContext()->hCryptProv);
  EXPECT_FALSE(properties.untouched());
  EXPECT_EQ(handle, getAs<HCRYPTPROV>(CERT_KEY_PROV_HANDLE_PROP_ID));
}

TEST_F(KeyContextTest, IsNotInherited) {
  const CERT_KEY_CONTEXT value = keyContext(makeHandle());
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &value));
  ASSERT_EQ(TRUE, setBlob(CERT_FRIENDLY_NAME_PROP_ID, {1}));
  ASSERT_EQ(TRUE, setBlob(CERT_DESCRIPTION_PROP_ID, {2}));
  Properties heir;
  const Bytes own = {3};
  const CRYPT_DATA_BLOB blob = blobOf(own);
  ASSERT_TRUE(heir.set(CERT_DESCRIPTION_PROP_ID, 0, &blob));
  heir.inherit(CertificateContext::from(context())->properties());
  EXPECT_EQ(std::nullopt, heir.keyContext());
  EXPECT_EQ(Bytes{1}, heir.blob(CERT_FRIENDLY_NAME_PROP_ID));
  EXPECT_EQ(own, heir.blob(CERT_DESCRIPTION_PROP_ID));
}

}  // namespace
}  // namespace qx::test
