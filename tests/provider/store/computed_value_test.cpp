#include "provider/store/computed_value.h"

#include <string>
#include <vector>

#include <openssl/evp.h>

#include "provider/openssl/engine.h"
#include "tests/provider/store/der_builder.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::computed_value_test {
namespace {

using lab::KeyKind;

Bytes digestOf(const EVP_MD* algorithm, der::Bytes bytes) {
  Bytes value(EVP_MAX_MD_SIZE);
  unsigned int size = 0;
  EXPECT_EQ(1, EVP_Digest(bytes.data(), bytes.size(), value.data(), &size, algorithm, nullptr));
  value.resize(size);
  return value;
}

Bytes valueOf(const CertificateData& certificate, DWORD id) {
  const auto value = computedValue(certificate, id);
  EXPECT_TRUE(value) << id;
  return value ? *value : Bytes{};
}

DWORD errorOf(const CertificateData& certificate, DWORD id) {
  const auto value = computedValue(certificate, id);
  return value ? DWORD{ERROR_SUCCESS} : value.error();
}

std::shared_ptr<const CertificateData> rootWith(KeyKind kind) {
  const lab::Authority root = lab::Authority::selfSigned(kind, named("Root"));
  return dataOf(lab::toDer(root.certificate()));
}

TEST(ComputedValue, IsTheHashOfTheWhole) {
  const auto data = makeData("Whole");
  EXPECT_EQ(digestOf(EVP_sha1(), data->der()), valueOf(*data, CERT_SHA1_HASH_PROP_ID));
  EXPECT_EQ(digestOf(EVP_md5(), data->der()), valueOf(*data, CERT_MD5_HASH_PROP_ID));
  EXPECT_EQ(digestOf(EVP_sha256(), data->der()), valueOf(*data, CERT_SHA256_HASH_PROP_ID));
}

TEST(ComputedValue, IsTheHashThatTheIssuerSigned) {
  struct Case {
    KeyKind kind;
    const EVP_MD* hash;
  };

  ASSERT_TRUE(gostEngine());
  const std::vector<Case> cases = {
      {.kind = KeyKind::EcP256, .hash = EVP_sha256()},
      {.kind = KeyKind::EcP384, .hash = EVP_sha384()},
      {.kind = KeyKind::Gost2001, .hash = gostDigest(NID_id_GostR3411_94)},
      {.kind = KeyKind::Gost2012_256, .hash = gostDigest(NID_id_GostR3411_2012_256)},
      {.kind = KeyKind::Gost2012_512, .hash = gostDigest(NID_id_GostR3411_2012_512)}};
  for (const Case& one : cases) {
    const auto data = rootWith(one.kind);
    EXPECT_EQ(digestOf(one.hash, data->tbs()), valueOf(*data, CERT_SIGNATURE_HASH_PROP_ID))
        << lab::kindName(one.kind);
  }
}

TEST(ComputedValue, IsNotThereForAnUnknownSignature) {
  const auto data = dataOf(CertificateParts().der());
  EXPECT_EQ(CRYPT_E_NOT_FOUND, errorOf(*data, CERT_SIGNATURE_HASH_PROP_ID));
}

TEST(ComputedValue, IsTheSubjectKeyIdentifierAsItStands) {
  CertificateParts parts;
  parts.extensions = extensionField(
      extension({0x55, 0x1D, 0x0E}, element(0x04, element(0x04, {0xAA, 0xBB, 0xCC}))));
  EXPECT_EQ((Bytes{0xAA, 0xBB, 0xCC}), valueOf(*dataOf(parts.der()), CERT_KEY_IDENTIFIER_PROP_ID));
}

TEST(ComputedValue, IsTheHashOfTheKeyWithoutASubjectKeyIdentifier) {
  const auto data = dataOf(CertificateParts().der());
  EXPECT_EQ(digestOf(EVP_sha1(), data->spki()), valueOf(*data, CERT_KEY_IDENTIFIER_PROP_ID));
}

TEST(ComputedValue, IsNotReadFromADamagedSubjectKeyIdentifier) {
  for (const Octets& value :
       {Octets{}, {0x05, 0x00}, {0x04, 0x05, 0xAA}, {0x04, 0x01, 0xAA, 0x00}}) {
    CertificateParts parts;
    parts.extensions = extensionField(extension({0x55, 0x1D, 0x0E}, element(0x04, value)));
    EXPECT_EQ(ERROR_INVALID_DATA, errorOf(*dataOf(parts.der()), CERT_KEY_IDENTIFIER_PROP_ID));
  }
}

TEST(ComputedValue, IsNotThereForOtherProperties) {
  const auto data = makeData("Other");
  for (const DWORD id : {0U, CERT_FRIENDLY_NAME_PROP_ID, CERT_KEY_CONTEXT_PROP_ID, 0x8000U}) {
    EXPECT_EQ(CRYPT_E_NOT_FOUND, errorOf(*data, id)) << id;
  }
}

}  // namespace
}  // namespace qx::test::computed_value_test
