#include <string>
#include <vector>

#include "platform/crypt_prov.h"

#include "provider/store/certificate_context.h"
#include "provider/store/properties.h"
#include "tests/provider/store/properties_support.h"
#include "tests/provider/store/released_handles.h"

namespace qx::test::key_properties_test {
namespace {

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

  OnePiece readPiece() const {
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

  // Sets one with everything in it; what it was made of is gone afterwards.
  BOOL setFull() const {
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
    const BOOL done = set(CERT_KEY_PROV_INFO_PROP_ID, &info);
    container = L"changed";
    provider = L"changed";
    first = {9, 9, 9};
    parameters[0].dwParam = 0;
    return done;
  }

  static Bytes dataOfParameter(const CRYPT_KEY_PROV_PARAM& parameter) {
    return {parameter.pbData, parameter.pbData + parameter.cbData};
  }
};

TEST_F(KeyProvInfoTest, ComesBackWithItsNamesAndNumbers) {
  ASSERT_EQ(TRUE, setFull());
  const OnePiece piece = readPiece();
  EXPECT_STREQ(L"Контейнер", piece.info().pwszContainerName);
  EXPECT_STREQ(L"A provider", piece.info().pwszProvName);
  EXPECT_EQ(80U, piece.info().dwProvType);
  EXPECT_EQ(1U, piece.info().dwFlags);
  EXPECT_EQ(AT_SIGNATURE, piece.info().dwKeySpec);
}

TEST_F(KeyProvInfoTest, ComesBackWithItsParameters) {
  ASSERT_EQ(TRUE, setFull());
  const OnePiece piece = readPiece();
  ASSERT_EQ(2U, piece.info().cProvParam);
  const CRYPT_KEY_PROV_PARAM* parameters = piece.info().rgProvParam;
  EXPECT_EQ(33U, parameters[0].dwParam);
  EXPECT_EQ(7U, parameters[0].dwFlags);
  EXPECT_EQ((Bytes{1, 2, 3}), dataOfParameter(parameters[0]));
  EXPECT_EQ(34U, parameters[1].dwParam);
  EXPECT_EQ(Bytes{4}, dataOfParameter(parameters[1]));
}

TEST_F(KeyProvInfoTest, ComesBackInOnePiece) {
  ASSERT_EQ(TRUE, setFull());
  const OnePiece piece = readPiece();
  const CRYPT_KEY_PROV_INFO& got = piece.info();
  EXPECT_TRUE(piece.holds(got.pwszContainerName));
  EXPECT_TRUE(piece.holds(got.pwszProvName + 10));
  EXPECT_TRUE(piece.holds(got.rgProvParam + 1));
  EXPECT_TRUE(piece.holds(got.rgProvParam[1].pbData));
  EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(got.rgProvParam) % 8);
}

TEST_F(KeyProvInfoTest, KeepsMissingStringsMissing) {
  const CRYPT_KEY_PROV_INFO info{.dwProvType = 1};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  const OnePiece piece = readPiece();
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
  EXPECT_EQ(sizeof(CRYPT_KEY_PROV_INFO) + (10 * sizeof(wchar_t)), size);
}

TEST_F(KeyProvInfoTest, IsReplacedAndDeleted) {
  CRYPT_KEY_PROV_INFO info{.dwProvType = 1};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  info.dwProvType = 2;
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  EXPECT_EQ(2U, readPiece().info().dwProvType);
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, nullptr));
  EXPECT_EQ(std::nullopt, get(CERT_KEY_PROV_INFO_PROP_ID));
}

TEST_F(KeyProvInfoTest, TellsTheKeySpec) {
  const CRYPT_KEY_PROV_INFO info{.dwKeySpec = AT_SIGNATURE};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  EXPECT_EQ(AT_SIGNATURE, read<DWORD>(CERT_KEY_SPEC_PROP_ID));
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
  EXPECT_EQ(handle, read<HCRYPTPROV>(CERT_KEY_PROV_HANDLE_PROP_ID));
  EXPECT_EQ(AT_SIGNATURE, read<DWORD>(CERT_KEY_SPEC_PROP_ID));
  const auto got = read<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID);
  EXPECT_EQ(24U, got.cbSize);
  EXPECT_EQ(handle, got.hCryptProv);
  EXPECT_EQ(AT_SIGNATURE, got.dwKeySpec);
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
  const auto got = read<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID);
  EXPECT_EQ(0U, got.hCryptProv);
  EXPECT_EQ(AT_SIGNATURE, got.dwKeySpec);
  EXPECT_EQ(std::nullopt, get(CERT_KEY_PROV_HANDLE_PROP_ID));
}

TEST_F(KeyContextTest, IsMadeBySettingAHandle) {
  const CRYPT_KEY_PROV_INFO info{.dwKeySpec = AT_KEYEXCHANGE};
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_INFO_PROP_ID, &info));
  const HCRYPTPROV handle = makeHandle();
  ASSERT_EQ(TRUE, set(CERT_KEY_PROV_HANDLE_PROP_ID, &handle));
  const auto got = read<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID);
  EXPECT_EQ(handle, got.hCryptProv);
  EXPECT_EQ(AT_KEYEXCHANGE, got.dwKeySpec);
}

TEST_F(KeyContextTest, IsNotMadeByDeletingAHandle) {
  EXPECT_EQ(TRUE, set(CERT_KEY_PROV_HANDLE_PROP_ID, nullptr));
  EXPECT_EQ(TRUE, set(CERT_KEY_SPEC_PROP_ID, nullptr));
  EXPECT_EQ(std::nullopt, get(CERT_KEY_CONTEXT_PROP_ID));
}

TEST_F(KeyContextTest, TakesAKeySpecAlone) {
  const DWORD keySpec = AT_KEYEXCHANGE;
  ASSERT_EQ(TRUE, set(CERT_KEY_SPEC_PROP_ID, &keySpec));
  EXPECT_EQ(AT_KEYEXCHANGE, read<DWORD>(CERT_KEY_SPEC_PROP_ID));
  const CERT_KEY_CONTEXT value = keyContext(makeHandle());
  ASSERT_EQ(TRUE, set(CERT_KEY_CONTEXT_PROP_ID, &value));
  EXPECT_EQ(AT_SIGNATURE, read<DWORD>(CERT_KEY_SPEC_PROP_ID));
  ASSERT_EQ(TRUE, set(CERT_KEY_SPEC_PROP_ID, &keySpec));
  EXPECT_EQ(AT_KEYEXCHANGE, read<CERT_KEY_CONTEXT>(CERT_KEY_CONTEXT_PROP_ID).dwKeySpec);
}

TEST_F(KeyContextTest, IsKeptForTheProvidersOwnUse) {
  Properties& properties = CertificateContext::from(context())->properties();
  EXPECT_EQ(std::nullopt, properties.keyContext());
  EXPECT_TRUE(properties.untouched());
  const HCRYPTPROV handle = makeHandle();
  properties.setKeyContext(handle, AT_SIGNATURE, /*releaseWithContext=*/true);
  EXPECT_EQ(handle, properties.keyContext().value_or(CERT_KEY_CONTEXT{}).hCryptProv);
  EXPECT_FALSE(properties.untouched());
  EXPECT_EQ(handle, read<HCRYPTPROV>(CERT_KEY_PROV_HANDLE_PROP_ID));
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
}  // namespace qx::test::key_properties_test
