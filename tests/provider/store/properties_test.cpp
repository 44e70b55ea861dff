#include "provider/store/properties.h"

#include <cstring>
#include <string>
#include <vector>

#include <openssl/evp.h>

#include "tests/provider/store/properties_support.h"

namespace qx::test::properties_test {
namespace {

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
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(PropertiesTest, ReplaceAnEarlierBlob) {
  EXPECT_EQ(TRUE, setBlob(CERT_FRIENDLY_NAME_PROP_ID, {1, 2}));
  EXPECT_EQ(TRUE, setBlob(CERT_FRIENDLY_NAME_PROP_ID, {9}));
  EXPECT_EQ(Bytes{9}, get(CERT_FRIENDLY_NAME_PROP_ID));
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

// 99 stands for a property that could not be read.
DWORD accessStateOf(PCCERT_CONTEXT context) {
  DWORD value = 99;
  DWORD size = sizeof value;
  const BOOL read =
      CertGetCertificateContextProperty(context, CERT_ACCESS_STATE_PROP_ID, &value, &size);
  return read == TRUE ? value : 99;
}

TEST_F(PropertiesTest, TellWhetherWritesReachTheDisk) {
  EXPECT_EQ(0U, accessStateOf(context()));
  EXPECT_EQ(0U, accessStateOf(addTo(openMemory(), der()).get()));
  const StoreHandle writable = openSystem(L"My");
  EXPECT_EQ(CERT_ACCESS_STATE_WRITE_PERSIST_FLAG, accessStateOf(addTo(writable, der()).get()));
  const StoreHandle readOnly = openSystem(L"My", kUser | CERT_STORE_READONLY_FLAG);
  EXPECT_EQ(0U, accessStateOf(findIn(readOnly, CERT_FIND_ANY, nullptr).get()));
}

TEST_F(PropertiesTest, DoNotLetTheAccessStateBeSet) {
  const DWORD value = 1;
  EXPECT_EQ(FALSE, set(CERT_ACCESS_STATE_PROP_ID, &value));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

}  // namespace
}  // namespace qx::test::properties_test
