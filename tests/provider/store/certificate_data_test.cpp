#include "provider/store/certificate_data.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <openssl/sha.h>

#include "provider/openssl/engine.h"
#include "tests/provider/store/der_builder.h"
#include "tests/provider/store/store_support.h"
#include "tests/support/kind_name.h"

namespace qx::test::certificate_data_test {
namespace {

using lab::KeyKind;

std::string textOf(const ASN1_OBJECT* object) {
  char text[128] = {};
  OBJ_obj2txt(text, sizeof text, object, 1);
  return text;
}

Bytes bytesOf(const CRYPT_INTEGER_BLOB& blob) {
  return {blob.pbData, blob.pbData + blob.cbData};
}

Bytes bytesOf(const CRYPT_BIT_BLOB& blob) {
  return {blob.pbData, blob.pbData + blob.cbData};
}

Bytes bytesOf(der::Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

template <class T, class Encode>
Bytes encoded(Encode encode, const T* value) {
  unsigned char* der = nullptr;
  const int size = encode(value, &der);
  const OpensslBytes owner(der);
  return {der, der + std::max(size, 0)};
}

std::int64_t secondsSince1970(const FILETIME& time) {
  const std::uint64_t ticks = (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
  return static_cast<std::int64_t>(ticks / 10'000'000) - 11'644'473'600;
}

std::int64_t secondsSince1970(const ASN1_TIME* time) {
  std::tm parts{};
  EXPECT_EQ(1, ASN1_TIME_to_tm(time, &parts));
  return timegm(&parts);
}

void expectSame(X509_EXTENSION* expected, const CERT_EXTENSION& extension) {
  const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(expected);
  const unsigned char* octets = ASN1_STRING_get0_data(value);
  EXPECT_EQ(textOf(X509_EXTENSION_get_object(expected)), extension.pszObjId);
  EXPECT_EQ(X509_EXTENSION_get_critical(expected), extension.fCritical);
  EXPECT_EQ(Bytes(octets, octets + ASN1_STRING_length(value)), bytesOf(extension.Value));
}

// Every kind of key is certified by an authority with a key of the same kind.
class CertificateOfEachKind : public ::testing::TestWithParam<KeyKind> {
 protected:
  static X509Ptr issue(const lab::CertificateOptions& options) {
    // Never freed: libcrypto may be gone when static objects end.
    static auto& authorities = *new std::map<KeyKind, lab::Authority>;
    auto found = authorities.find(GetParam());
    if (found == authorities.end()) {
      found = authorities
                  .emplace(GetParam(), lab::Authority::selfSigned(GetParam(), named("Authority")))
                  .first;
    }
    const EvpPkeyPtr key = lab::generateKey(GetParam());
    return found->second.issue(key.get(), options);
  }

  static lab::CertificateOptions richOptions() {
    lab::CertificateOptions options = named("Иван Петров");
    options.keyUsage = "digitalSignature,keyEncipherment";
    options.extendedKeyUsage = "emailProtection,1.2.643.2.2.34.6";
    options.subjectAltName = "email:ivan@example.com";
    options.crlUrl = "http://example.com/ca.crl";
    options.extensions = {{.name = "1.2.643.100.111", .value = "DER:0C024F4B"}};
    return options;
  }
};

INSTANTIATE_TEST_SUITE_P(Keys,
                         CertificateOfEachKind,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256,
                                           KeyKind::EcP384),
                         kindOf);

TEST_P(CertificateOfEachKind, IsReadAsLibcryptoReadsIt) {
  const X509Ptr expected = issue(richOptions());
  const auto data = dataOf(lab::toDer(expected.get()));
  const CERT_INFO& info = data->info();

  EXPECT_EQ(CERT_V3, info.dwVersion);
  EXPECT_EQ(encoded(i2d_X509_NAME, X509_get_issuer_name(expected.get())), bytesOf(info.Issuer));
  EXPECT_EQ(encoded(i2d_X509_NAME, X509_get_subject_name(expected.get())), bytesOf(info.Subject));
  EXPECT_EQ(secondsSince1970(X509_get0_notBefore(expected.get())),
            secondsSince1970(info.NotBefore));
  EXPECT_EQ(secondsSince1970(X509_get0_notAfter(expected.get())), secondsSince1970(info.NotAfter));

  const ASN1_INTEGER* serial = X509_get0_serialNumber(expected.get());
  const BigNumPtr number(ASN1_INTEGER_to_BN(serial, nullptr));
  Bytes littleEndian(info.SerialNumber.cbData);
  ASSERT_LE(BN_num_bytes(number.get()), static_cast<int>(littleEndian.size()));
  BN_bn2lebinpad(number.get(), littleEndian.data(), static_cast<int>(littleEndian.size()));
  EXPECT_EQ(littleEndian, bytesOf(info.SerialNumber));

  const ASN1_OBJECT* oid = nullptr;
  X509_ALGOR_get0(&oid, nullptr, nullptr, X509_get0_tbs_sigalg(expected.get()));
  EXPECT_EQ(textOf(oid), info.SignatureAlgorithm.pszObjId);
}

TEST_P(CertificateOfEachKind, HasTheKeyThatLibcryptoSees) {
  const X509Ptr expected = issue(named("Key"));
  const auto data = dataOf(lab::toDer(expected.get()));
  const CERT_PUBLIC_KEY_INFO& key = data->info().SubjectPublicKeyInfo;

  X509_ALGOR* algorithm = nullptr;
  ASN1_OBJECT* oid = nullptr;
  const unsigned char* bits = nullptr;
  int size = 0;
  X509_PUBKEY* spki = X509_get_X509_PUBKEY(expected.get());
  ASSERT_EQ(1, X509_PUBKEY_get0_param(&oid, &bits, &size, &algorithm, spki));
  EXPECT_EQ(textOf(oid), key.Algorithm.pszObjId);
  EXPECT_EQ(Bytes(bits, bits + size), bytesOf(key.PublicKey));
  EXPECT_EQ(0U, key.PublicKey.cUnusedBits);
  EXPECT_EQ(Bytes(bits, bits + size), bytesOf(data->publicKeyBits()));
  EXPECT_EQ(encoded(i2d_X509_PUBKEY, spki), bytesOf(data->spki()));
  const Bytes algorithmDer = encoded(i2d_X509_ALGOR, algorithm);
  const Bytes parameters = bytesOf(key.Algorithm.Parameters);
  ASSERT_FALSE(parameters.empty());
  EXPECT_TRUE(std::equal(parameters.rbegin(), parameters.rend(), algorithmDer.rbegin()));
}

TEST_P(CertificateOfEachKind, HasTheExtensionsThatLibcryptoSees) {
  const X509Ptr expected = issue(richOptions());
  const auto data = dataOf(lab::toDer(expected.get()));
  const CERT_INFO& info = data->info();

  ASSERT_EQ(static_cast<DWORD>(X509_get_ext_count(expected.get())), info.cExtension);
  ASSERT_LE(5U, info.cExtension);
  for (DWORD i = 0; i < info.cExtension; ++i) {
    expectSame(X509_get_ext(expected.get(), static_cast<int>(i)), info.rgExtension[i]);
  }
}

TEST_P(CertificateOfEachKind, IsGivenToLibcryptoOnce) {
  ASSERT_TRUE(gostEngine());
  const X509Ptr expected = issue(named("Shared"));
  const auto data = dataOf(lab::toDer(expected.get()));
  X509* first = data->x509();
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, data->x509());
  EXPECT_EQ(0, X509_cmp(expected.get(), first));
  EXPECT_NE(nullptr, X509_get0_pubkey(first));
}

TEST(CertificateData, KeepsItsOwnCopy) {
  Bytes der = makeDer("Copy");
  const Bytes original = der;
  const auto data = dataOf(der);
  std::ranges::fill(der, 0xEE);
  EXPECT_EQ(original, bytesOf(data->der()));
}

TEST(CertificateData, LeadsIntoItsOwnBytes) {
  const auto data = makeData("Inside");
  const auto inside = [&](const BYTE* pointer) {
    return pointer >= data->der().data() && pointer < data->der().data() + data->der().size();
  };
  EXPECT_TRUE(inside(data->info().Subject.pbData));
  EXPECT_TRUE(inside(data->info().Issuer.pbData));
  EXPECT_TRUE(inside(data->info().SubjectPublicKeyInfo.PublicKey.pbData));
  EXPECT_TRUE(inside(data->info().rgExtension[0].Value.pbData));
  EXPECT_TRUE(inside(data->tbs().data()));
}

TEST(CertificateData, TakesTheSignedPartWithItsHeader) {
  const auto data = makeData("Signed part");
  const X509Ptr expected = lab::readCertificate(bytesOf(data->der()));
  unsigned char* der = nullptr;
  const int size = i2d_re_X509_tbs(expected.get(), &der);
  const OpensslBytes owner(der);
  const Bytes tbs(der, der + size);
  EXPECT_EQ(tbs, bytesOf(data->tbs()));
}

TEST(CertificateData, IsNamedByTheShaOneOfTheWhole) {
  const Bytes der = makeDer("Thumbprint");
  Thumbprint expected{};
  SHA1(der.data(), der.size(), expected.data());
  EXPECT_EQ(expected, dataOf(der)->sha1());
}

TEST(CertificateData, NamesTheKeyFileByItsPublicKey) {
  const X509Ptr certificate = makeCertificate("Key file");
  const std::string expected = keyFileName(X509_get0_pubkey(certificate.get()));
  EXPECT_EQ(expected, dataOf(lab::toDer(certificate.get()))->keyFileName() + ".pem");
}

TEST(CertificateData, LeavesOutWhatStandsBehind) {
  const Bytes der = makeDer("Tail");
  Bytes longer = der;
  longer.insert(longer.end(), {0x00, 0x01, 0x02});
  EXPECT_EQ(der, bytesOf(dataOf(longer)->der()));
}

TEST(CertificateData, FindsAnExtensionByItsOid) {
  const auto data = makeData("Extensions");
  const CERT_EXTENSION* found = data->extension(szOID_SUBJECT_KEY_IDENTIFIER);
  ASSERT_NE(nullptr, found);
  EXPECT_STREQ("2.5.29.14", found->pszObjId);
  EXPECT_EQ(nullptr, data->extension("2.5.29.99"));
}

TEST(CertificateData, GivesOneObjectOfLibcryptoToAllThreads) {
  const auto data = makeData("Threads");
  std::vector<X509*> seen(8);
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (X509*& place : seen) {
    threads.emplace_back([&place, &data] { place = data->x509(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_NE(nullptr, seen.front());
  EXPECT_TRUE(std::ranges::all_of(seen, [&](X509* x509) { return x509 == seen.front(); }));
}

// We do not look into names; one that libcrypto cannot read leaves its callers without an object.
TEST(CertificateData, HasNothingForLibcryptoWhenLibcryptoRefusesIt) {
  CertificateParts parts;
  parts.issuer = sequence({{0x05, 0x00}});
  const auto data = dataOf(parts.der());
  EXPECT_EQ(nullptr, data->x509());
  EXPECT_EQ(nullptr, data->x509());
}

TEST(CertificateData, ReadsAnOldVersionWithoutExtensions) {
  const Bytes der = makeDer("Version 1");
  const X509Ptr certificate = lab::readCertificate(der);
  while (X509_get_ext_count(certificate.get()) > 0) {
    X509_EXTENSION_free(X509_delete_ext(certificate.get(), 0));
  }
  X509_set_version(certificate.get(), X509_VERSION_1);
  ASSERT_LT(0, X509_sign(certificate.get(), authority().key(), EVP_sha256()));
  const auto data = dataOf(lab::toDer(certificate.get()));
  EXPECT_EQ(CERT_V1, data->info().dwVersion);
  EXPECT_EQ(0U, data->info().cExtension);
  EXPECT_EQ(nullptr, data->info().rgExtension);
}

}  // namespace
}  // namespace qx::test::certificate_data_test
