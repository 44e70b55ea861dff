#include "tests/contract/contract.h"

// Properties of certificate contexts.

namespace qx::test::property_test {
namespace {

std::vector<BYTE> propertyOf(const Certificate& certificate, DWORD id) {
  return readTwice([&](BYTE* data, DWORD* size) {
    return CertGetCertificateContextProperty(certificate.get(), id, data, size);
  });
}

TEST(ContractProperty, ThatIsNotThereIsNotFound) {
  const Certificate certificate = contextOf(subject().signer);
  DWORD size = 0;
  for (const DWORD id : {CERT_KEY_CONTEXT_PROP_ID, CERT_FRIENDLY_NAME_PROP_ID, DWORD{0x8000}}) {
    EXPECT_REFUSED(CertGetCertificateContextProperty(certificate.get(), id, nullptr, &size),
                   CRYPT_E_NOT_FOUND);
  }
}

TEST(ContractProperty, HashesAreComputedWhenTheyAreAskedFor) {
  const Certificate certificate = contextOf(subject().signer);
  EXPECT_EQ(propertyOf(certificate, CERT_SHA1_HASH_PROP_ID).size(), 20U);
  EXPECT_EQ(propertyOf(certificate, CERT_MD5_HASH_PROP_ID).size(), 16U);
  EXPECT_EQ(propertyOf(certificate, CERT_SHA256_HASH_PROP_ID).size(), 32U);
  EXPECT_EQ(propertyOf(certificate, CERT_KEY_IDENTIFIER_PROP_ID).size(), 20U);
}

TEST(ContractProperty, IsCopiedKeptAndDeleted) {
  const Certificate certificate = contextOf(subject().signer);
  BYTE value[] = {1, 2, 3};
  CRYPT_DATA_BLOB blob = {sizeof value, value};
  EXPECT_TRUE(
      CertSetCertificateContextProperty(certificate.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, &blob));
  value[0] = 9;
  EXPECT_EQ(propertyOf(certificate, CERT_FRIENDLY_NAME_PROP_ID), (std::vector<BYTE>{1, 2, 3}));
  EXPECT_TRUE(
      CertSetCertificateContextProperty(certificate.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, nullptr));
  DWORD size = 0;
  EXPECT_REFUSED(CertGetCertificateContextProperty(
                     certificate.get(), CERT_FRIENDLY_NAME_PROP_ID, nullptr, &size),
                 CRYPT_E_NOT_FOUND);
}

TEST(ContractProperty, HasANumberThatIsChecked) {
  const Certificate certificate = contextOf(subject().signer);
  CRYPT_DATA_BLOB blob{};
  EXPECT_REFUSED(CertSetCertificateContextProperty(certificate.get(), 0, 0, &blob), E_INVALIDARG);
  EXPECT_REFUSED(CertSetCertificateContextProperty(certificate.get(), 0x10000, 0, &blob),
                 E_INVALIDARG);
}

TEST(ContractProperty, OfAKeyIsOnePiece) {
  const Certificate certificate = contextOf(subject().signer);
  std::wstring container = L"a container";
  std::wstring name = L"a provider";
  CRYPT_KEY_PROV_INFO info{};
  info.pwszContainerName = container.data();
  info.pwszProvName = name.data();
  info.dwProvType = 75;
  info.dwKeySpec = AT_SIGNATURE;
  EXPECT_TRUE(
      CertSetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  container.assign(container.size(), L'x');
  std::vector<BYTE> read = propertyOf(certificate, CERT_KEY_PROV_INFO_PROP_ID);
  const auto& got = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(read.data());
  EXPECT_EQ(std::wstring(got.pwszContainerName), L"a container");
  EXPECT_EQ(std::wstring(got.pwszProvName), L"a provider");
  EXPECT_EQ(got.dwProvType, 75U);
  EXPECT_EQ(got.cProvParam, 0U);
  const auto* inside = reinterpret_cast<const BYTE*>(got.pwszContainerName);
  EXPECT_TRUE(inside > read.data() && inside < read.data() + read.size());

  const std::vector<BYTE> spec = propertyOf(certificate, CERT_KEY_SPEC_PROP_ID);
  DWORD keySpec = 0;
  ASSERT_EQ(spec.size(), sizeof keySpec);
  std::memcpy(&keySpec, spec.data(), sizeof keySpec);
  EXPECT_EQ(keySpec, AT_SIGNATURE);
}

TEST(ContractProperty, OfAKeyContextHasOneSize) {
  const Certificate certificate = contextOf(subject().signer);
  CERT_KEY_CONTEXT context{};
  context.cbSize = sizeof context - 1;
  EXPECT_REFUSED(
      CertSetCertificateContextProperty(certificate.get(), CERT_KEY_CONTEXT_PROP_ID, 0, &context),
      E_INVALIDARG);
}

}  // namespace
}  // namespace qx::test::property_test
