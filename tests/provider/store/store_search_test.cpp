#include "provider/store/store_search.h"

#include <cstring>
#include <string>
#include <vector>

#include <openssl/evp.h>

#include "platform/crypt_prov.h"

#include "tests/provider/store/store_support.h"

namespace qx::test::store_search_test {
namespace {

using Names = std::vector<std::string>;

// Three certificates of one authority, and the authority's own.
class SearchTest : public StoreTest {
 protected:
  SearchTest() : store_(openMemory()) {
    addTo(store_, lab::toDer(authority().certificate()));
    for (const char* name : {"Иван Петров", "Bob Builder", "Alice"}) {
      der_.push_back(makeDer(name));
      addTo(store_, der_.back());
    }
    SetLastError(kUntouched);
  }

  Names find(DWORD type, const void* parameter) const {
    Names names;
    PCCERT_CONTEXT context = nullptr;
    while ((context = CertFindCertificateInStore(
                store_.get(), kX509, 0, type, parameter, context)) != nullptr) {
      names.push_back(commonNameOf(context));
    }
    return names;
  }

  Names findByHash(DWORD type, const Bytes& hash) const {
    const CRYPT_HASH_BLOB blob = blobOf(hash);
    return find(type, &blob);
  }

  const StoreHandle& store() const { return store_; }

  const Bytes& ivan() const { return der_[0]; }

  const Bytes& bob() const { return der_[1]; }

  const Bytes& alice() const { return der_[2]; }

  static Bytes digest(const EVP_MD* algorithm, der::Bytes bytes) {
    Bytes value(static_cast<std::size_t>(EVP_MD_get_size(algorithm)));
    EVP_Digest(bytes.data(), bytes.size(), value.data(), nullptr, algorithm, nullptr);
    return value;
  }

 private:
  StoreHandle store_;
  std::vector<Bytes> der_;
};

TEST_F(SearchTest, FindsAll) {
  EXPECT_EQ((Names{"Alice", "Bob Builder", "Иван Петров", "Test Authority"}),
            find(CERT_FIND_ANY, nullptr));
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(SearchTest, FindsByThumbprint) {
  EXPECT_EQ(Names{"Bob Builder"}, findByHash(CERT_FIND_SHA1_HASH, digest(EVP_sha1(), bob())));
  EXPECT_EQ(Names{"Alice"}, findByHash(CERT_FIND_HASH, digest(EVP_sha1(), alice())));
  EXPECT_TRUE(findByHash(CERT_FIND_SHA1_HASH, Bytes(20, 0)).empty());
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(SearchTest, FindsByThumbprintOnDisk) {
  write("My", "ivan.cer", ivan());
  write("My", "bob.cer", bob());
  write("My", "bob2.cer", bob());
  const StoreHandle system = openSystem(L"My");
  const Bytes hash = digest(EVP_sha1(), bob());
  const CRYPT_HASH_BLOB blob = blobOf(hash);
  ContextHandle found = findIn(system, CERT_FIND_SHA1_HASH, &blob);
  ASSERT_NE(nullptr, found);
  found = findIn(system, CERT_FIND_SHA1_HASH, &blob, std::move(found));
  ASSERT_NE(nullptr, found) << "the second copy";
  EXPECT_EQ(nullptr, findIn(system, CERT_FIND_SHA1_HASH, &blob, std::move(found)));
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(SearchTest, FindsAdditionsByThumbprintToo) {
  write("My", "ivan.cer", ivan());
  const StoreHandle system = openSystem(L"My");
  addTo(system, alice());
  const Bytes hash = digest(EVP_sha1(), alice());
  const CRYPT_HASH_BLOB blob = blobOf(hash);
  EXPECT_EQ("Alice", commonNameOf(findIn(system, CERT_FIND_SHA1_HASH, &blob).get()));
}

TEST_F(SearchTest, FindsNothingByHashesOfOtherLengths) {
  Bytes hash = digest(EVP_sha1(), bob());
  hash.pop_back();
  EXPECT_TRUE(findByHash(CERT_FIND_SHA1_HASH, hash).empty());
  hash.resize(21);
  EXPECT_TRUE(findByHash(CERT_FIND_SHA1_HASH, hash).empty());
  const CRYPT_HASH_BLOB none{.cbData = 20, .pbData = nullptr};
  EXPECT_TRUE(find(CERT_FIND_SHA1_HASH, &none).empty());
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(SearchTest, FindsByOtherHashes) {
  EXPECT_EQ(Names{"Alice"}, findByHash(CERT_FIND_MD5_HASH, digest(EVP_md5(), alice())));
  EXPECT_EQ(Names{"Alice"},
            findByHash(CERT_FIND_SIGNATURE_HASH, digest(EVP_sha256(), dataOf(alice())->tbs())));
  EXPECT_TRUE(findByHash(CERT_FIND_MD5_HASH, digest(EVP_sha1(), alice())).empty());
}

TEST_F(SearchTest, FindsByIssuerAndSerialNumber) {
  CERT_INFO wanted{};
  const auto data = dataOf(bob());
  wanted.Issuer = data->info().Issuer;
  wanted.SerialNumber = data->info().SerialNumber;
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_SUBJECT_CERT, &wanted));
  wanted.Subject = dataOf(alice())->info().Subject;
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_SUBJECT_CERT, &wanted)) << "not read";
}

TEST_F(SearchTest, FindsNothingByAnEmptySerialNumber) {
  CERT_INFO wanted{};
  const auto data = dataOf(bob());
  wanted.Issuer = data->info().Issuer;
  EXPECT_TRUE(find(CERT_FIND_SUBJECT_CERT, &wanted).empty());
}

TEST_F(SearchTest, FindsByIssuerAndSerialWithRedundantBytes) {
  CERT_INFO wanted{};
  const auto data = dataOf(bob());
  wanted.Issuer = data->info().Issuer;
  const CRYPT_INTEGER_BLOB& serial = data->info().SerialNumber;
  Bytes longer(serial.pbData, serial.pbData + serial.cbData);
  longer.push_back((longer.back() & 0x80U) != 0 ? 0xFF : 0x00);
  wanted.SerialNumber = blobOf(longer);
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_SUBJECT_CERT, &wanted));
}

TEST_F(SearchTest, GetsTheSubjectsCertificate) {
  const auto data = dataOf(alice());
  CERT_INFO wanted = data->info();
  const ContextHandle found(CertGetSubjectCertificateFromStore(store().get(), kX509, &wanted));
  ASSERT_NE(nullptr, found);
  EXPECT_EQ("Alice", commonNameOf(found.get()));
  EXPECT_EQ(nullptr, CertGetSubjectCertificateFromStore(store().get(), kX509, nullptr));
  EXPECT_EQ(E_INVALIDARG, GetLastError());
  wanted.Issuer = wanted.Subject;
  EXPECT_EQ(nullptr, CertGetSubjectCertificateFromStore(store().get(), kX509, &wanted));
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(SearchTest, FindsByNames) {
  const auto data = dataOf(bob());
  CERT_NAME_BLOB name = data->info().Subject;
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_SUBJECT_NAME, &name));
  name = data->info().Issuer;
  EXPECT_EQ(Names{"Test Authority"}, find(CERT_FIND_SUBJECT_NAME, &name));
  EXPECT_EQ(4U, find(CERT_FIND_ISSUER_NAME, &name).size());
  name.cbData -= 1;
  EXPECT_TRUE(find(CERT_FIND_ISSUER_NAME, &name).empty());
}

TEST_F(SearchTest, FindsByPartOfTheSubjectInAnyCase) {
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_SUBJECT_STR_W, L"bob b"));
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_SUBJECT_STR, L"UILDE"));
  EXPECT_EQ(Names{"Иван Петров"}, find(CERT_FIND_SUBJECT_STR_W, L"ИВАН п"));
  EXPECT_EQ(Names{"Иван Петров"}, find(CERT_FIND_SUBJECT_STR_A, "петров"));
  EXPECT_EQ(4U, find(CERT_FIND_SUBJECT_STR_W, L"ru, test").size());
  EXPECT_TRUE(find(CERT_FIND_SUBJECT_STR_W, L"CN=Bob").empty()) << "values only";
}

TEST_F(SearchTest, FindsByPartOfTheIssuer) {
  EXPECT_EQ(4U, find(CERT_FIND_ISSUER_STR_W, L"test auth").size());
  EXPECT_EQ(4U, find(CERT_FIND_ISSUER_STR_A, "TEST AUTH").size());
  EXPECT_TRUE(find(CERT_FIND_ISSUER_STR_W, L"bob").empty());
}

TEST_F(SearchTest, FindsAllByNoTextAtAll) {
  for (const DWORD type : {CERT_FIND_SUBJECT_STR_W,
                           CERT_FIND_SUBJECT_STR_A,
                           CERT_FIND_ISSUER_STR_W,
                           CERT_FIND_ISSUER_STR_A}) {
    EXPECT_EQ(4U, find(type, nullptr).size());
  }
  EXPECT_EQ(4U, find(CERT_FIND_SUBJECT_STR_W, L"").size());
}

TEST_F(SearchTest, LeavesTheLastErrorAloneWhenItFinds) {
  EXPECT_NE(nullptr, findIn(store(), CERT_FIND_SUBJECT_STR_W, L"alice"));
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(SearchTest, FindsTheIssuer) {
  const ContextHandle subject = makeContext(alice());
  EXPECT_EQ(Names{"Test Authority"}, find(CERT_FIND_ISSUER_OF, subject.get()));
}

TEST_F(SearchTest, FindsWhatExists) {
  const ContextHandle wanted = makeContext(alice());
  EXPECT_EQ(Names{"Alice"}, find(CERT_FIND_EXISTING, wanted.get()));
  const ContextHandle other = makeContext(makeDer("Alice"));
  EXPECT_TRUE(find(CERT_FIND_EXISTING, other.get()).empty());
}

TEST_F(SearchTest, FindsByPublicKey) {
  const auto data = dataOf(lab::toDer(authority().certificate()));
  CERT_PUBLIC_KEY_INFO key = data->info().SubjectPublicKeyInfo;
  EXPECT_EQ(Names{"Test Authority"}, find(CERT_FIND_PUBLIC_KEY, &key));
  key.PublicKey.cbData -= 1;
  EXPECT_TRUE(find(CERT_FIND_PUBLIC_KEY, &key).empty());
  key.PublicKey.cbData += 1;
  key.Algorithm.pszObjId = nullptr;
  EXPECT_TRUE(find(CERT_FIND_PUBLIC_KEY, &key).empty());
}

TEST_F(SearchTest, FindsByKeyIdentifier) {
  const X509Ptr root = lab::readCertificate(lab::toDer(authority().certificate()));
  const ASN1_OCTET_STRING* id = X509_get0_subject_key_id(root.get());
  ASSERT_NE(nullptr, id);
  const unsigned char* octets = ASN1_STRING_get0_data(id);
  Bytes identifier(octets, octets + ASN1_STRING_length(id));
  EXPECT_EQ(Names{"Test Authority"}, findByHash(CERT_FIND_KEY_IDENTIFIER, identifier));
  CERT_ID certId{};
  certId.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  certId.KeyId = blobOf(identifier);
  EXPECT_EQ(Names{"Test Authority"}, find(CERT_FIND_CERT_ID, &certId));
  identifier.back() ^= 1U;
  EXPECT_TRUE(findByHash(CERT_FIND_KEY_IDENTIFIER, identifier).empty());
}

TEST_F(SearchTest, FindsByCertId) {
  const auto data = dataOf(alice());
  CERT_ID id{};
  id.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
  id.IssuerSerialNumber = {.Issuer = data->info().Issuer,
                           .SerialNumber = data->info().SerialNumber};
  EXPECT_EQ(Names{"Alice"}, find(CERT_FIND_CERT_ID, &id));
  const Bytes hash = digest(EVP_sha1(), alice());
  id = {};
  id.dwIdChoice = CERT_ID_SHA1_HASH;
  id.HashId = blobOf(hash);
  EXPECT_EQ(Names{"Alice"}, find(CERT_FIND_CERT_ID, &id));
  id.dwIdChoice = 4;
  EXPECT_TRUE(find(CERT_FIND_CERT_ID, &id).empty());
  EXPECT_EQ(E_INVALIDARG, GetLastError());
}

TEST_F(SearchTest, FindsByProperty) {
  const ContextHandle context = findIn(store(), CERT_FIND_SUBJECT_STR_W, L"bob");
  const Bytes value = {1};
  const CRYPT_DATA_BLOB blob = blobOf(value);
  ASSERT_EQ(TRUE,
            CertSetCertificateContextProperty(context.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, &blob));
  DWORD id = CERT_FRIENDLY_NAME_PROP_ID;
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_PROPERTY, &id));
  id = CERT_DESCRIPTION_PROP_ID;
  EXPECT_TRUE(find(CERT_FIND_PROPERTY, &id).empty());
}

TEST_F(SearchTest, FindsByKeySpec) {
  const ContextHandle context = findIn(store(), CERT_FIND_SUBJECT_STR_W, L"bob");
  const DWORD set = AT_SIGNATURE;
  ASSERT_EQ(TRUE, CertSetCertificateContextProperty(context.get(), CERT_KEY_SPEC_PROP_ID, 0, &set));
  DWORD wanted = AT_SIGNATURE;
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_KEY_SPEC, &wanted));
  wanted = AT_KEYEXCHANGE;
  EXPECT_TRUE(find(CERT_FIND_KEY_SPEC, &wanted).empty());
}

TEST_F(SearchTest, FindsCertificatesWithAPrivateKeyByTheirProperties) {
  EXPECT_TRUE(find(CERT_FIND_HAS_PRIVATE_KEY, nullptr).empty());
  const ContextHandle context = findIn(store(), CERT_FIND_SUBJECT_STR_W, L"bob");
  const CRYPT_KEY_PROV_INFO info{.dwProvType = 80};
  ASSERT_EQ(TRUE,
            CertSetCertificateContextProperty(context.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  EXPECT_EQ(Names{"Bob Builder"}, find(CERT_FIND_HAS_PRIVATE_KEY, nullptr));
}

TEST_F(SearchTest, FindsCertificatesWithAPrivateKeyOnDisk) {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  folder().addKey(key.get());
  write("My", "with.cer", lab::toDer(authority().issue(key.get(), named("With key")).get()));
  write("My", "without.cer", alice());
  const StoreHandle system = openSystem(L"My");
  const ContextHandle found = findIn(system, CERT_FIND_HAS_PRIVATE_KEY, nullptr);
  ASSERT_NE(nullptr, found);
  EXPECT_EQ("With key", commonNameOf(found.get()));
  EXPECT_EQ(nullptr,
            findIn(system,
                   CERT_FIND_HAS_PRIVATE_KEY,
                   nullptr,
                   ContextHandle(CertDuplicateCertificateContext(found.get()))));
}

TEST_F(SearchTest, RefusesUnknownKinds) {
  for (const DWORD type : {1U, CERT_FIND_SUBJECT_ATTR, 0x20000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(nullptr, findIn(store(), type, &type)) << type;
    EXPECT_EQ(E_INVALIDARG, GetLastError()) << type;
  }
}

TEST_F(SearchTest, WantsItsParameter) {
  for (const DWORD type : {CERT_FIND_SHA1_HASH,
                           CERT_FIND_MD5_HASH,
                           CERT_FIND_SIGNATURE_HASH,
                           CERT_FIND_SUBJECT_CERT,
                           CERT_FIND_SUBJECT_NAME,
                           CERT_FIND_ISSUER_NAME,
                           CERT_FIND_ISSUER_OF,
                           CERT_FIND_EXISTING,
                           CERT_FIND_PUBLIC_KEY,
                           CERT_FIND_KEY_IDENTIFIER,
                           CERT_FIND_CERT_ID,
                           CERT_FIND_PROPERTY,
                           CERT_FIND_KEY_SPEC}) {
    EXPECT_EQ(nullptr, findIn(store(), type, nullptr)) << type;
    EXPECT_EQ(E_INVALIDARG, GetLastError()) << type;
  }
}

}  // namespace
}  // namespace qx::test::store_search_test
