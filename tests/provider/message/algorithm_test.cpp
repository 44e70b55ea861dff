#include "provider/message/algorithm.h"

#include <string>

#include <gtest/gtest.h>

#include "provider/der/blob.h"
#include "provider/message/oids.h"
#include "provider/openssl/owned.h"
#include "tests/provider/der/hex.h"

namespace qx::algorithm_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

DWORD readError(const std::string& hex, Result<der::AlgorithmIdentifier> (*read)(der::Reader&)) {
  const Octets bytes = fromHex(hex);
  der::Reader reader(bytes);
  const auto algorithm = read(reader);
  if (!algorithm) {
    return algorithm.error();
  }
  EXPECT_TRUE(reader.atEnd());
  return ERROR_SUCCESS;
}

/// An algorithm by its parameters, and what is said to it as a hash and as a signature.
struct Case {
  const char* hex;
  DWORD asHash;
  DWORD asSignature;
};

constexpr DWORD kGood = ERROR_SUCCESS;
constexpr DWORD kCorrupt = CRYPT_E_ASN1_CORRUPT;

TEST(Algorithms, HaveTheParametersOfTheirKindOnly) {
  const Case cases[] = {
      {.hex = "3004 06022a03", .asHash = kGood, .asSignature = kGood},
      {.hex = "3006 06022a03 0500", .asHash = kGood, .asSignature = kGood},
      {.hex = "3008 06022a03 0602 2a04", .asHash = kGood, .asSignature = kCorrupt},
      {.hex = "3006 06022a03 3000", .asHash = kCorrupt, .asSignature = kGood},
      {.hex = "3006 06022a03 3100", .asHash = kCorrupt, .asSignature = kCorrupt},
      {.hex = "3006 06022a03 0400", .asHash = kCorrupt, .asSignature = kCorrupt},
      {.hex = "3007 06022a03 050100", .asHash = kCorrupt, .asSignature = kCorrupt},
      {.hex = "3007 06022a03 020101", .asHash = kCorrupt, .asSignature = kCorrupt},
      {.hex = "3006 06022a03 a000", .asHash = kCorrupt, .asSignature = kCorrupt},
      {.hex = "3006 06022a03 8000", .asHash = kCorrupt, .asSignature = kCorrupt},
      {.hex = "3008 06022a03 0500 0500", .asHash = kCorrupt, .asSignature = kCorrupt},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(readError(one.hex, readHashAlgorithm), one.asHash) << one.hex;
    EXPECT_EQ(readError(one.hex, readSignatureAlgorithm), one.asSignature) << one.hex;
  }
}

TEST(Algorithms, OfGostSignaturesHaveNoParameters) {
  // RFC 4491, 2.2; RFC 9215, 2.
  for (const char* oid : {"06062a8503020203", "06082a85030701010302", "06082a85030701010303"}) {
    const Octets identifier = fromHex(oid);
    for (const char* parameters : {"", "0500", "3000"}) {
      Octets content = identifier;
      const Octets more = fromHex(parameters);
      content.insert(content.end(), more.begin(), more.end());
      const std::string hex = toHex(der::sequence(der::Encoding::owned(content)).bytes());
      EXPECT_EQ(readError(hex, readSignatureAlgorithm), more.empty() ? kGood : kCorrupt) << hex;
    }
  }
}

TEST(Algorithms, AreRefusedWhenMalformed) {
  for (const auto read : {readHashAlgorithm, readSignatureAlgorithm}) {
    EXPECT_EQ(readError("", read), CRYPT_E_ASN1_EOD);
    EXPECT_EQ(readError("0500", read), CRYPT_E_ASN1_BADTAG);
    EXPECT_EQ(readError("3000", read), CRYPT_E_ASN1_EOD);
    EXPECT_EQ(readError("3002 0500", read), CRYPT_E_ASN1_BADTAG);
    EXPECT_EQ(readError("3002 0600", read), CRYPT_E_ASN1_CORRUPT);
    EXPECT_EQ(readError("3005 06022a03 05", read), CRYPT_E_ASN1_EOD);
  }
}

TEST(Algorithms, OfACallerMayHaveOneElementAsParameters) {
  EXPECT_TRUE(areParameters({}));
  for (const char* good : {"0500", "3000", "06022a03", "30800000"}) {
    EXPECT_TRUE(areParameters(fromHex(good))) << good;
  }
  for (const char* bad : {"05", "0501", "05000500", "0000", "3080", "ff"}) {
    EXPECT_FALSE(areParameters(fromHex(bad))) << bad;
  }
}

TEST(Algorithms, AreWrittenWithNullWhereNothingIsSaid) {
  EXPECT_EQ(toHex(encodeAlgorithm("2.16.840.1.101.3.4.2.1", {})->bytes()),
            "300d06096086480165030402010500");
  EXPECT_EQ(toHex(encodeAlgorithm("1.2.643.2.2.9", fromHex("06072a850302021e01"))->bytes()),
            "301106062a850302020906072a850302021e01");
  EXPECT_EQ(encodeAlgorithm("no oid", {}).error(), CRYPT_E_OID_FORMAT);
}

TEST(Algorithms, OfEcdsaAreWrittenWithoutParameters) {
  // RFC 5758, 3.2
  for (const char* oid :
       {"1.2.840.10045.4.1", "1.2.840.10045.4.3.2", "1.2.840.10045.4.3.3", "1.2.840.10045.4.3.4"}) {
    const Octets bytes = encodeAlgorithm(oid, {})->bytes();
    const unsigned char* next = bytes.data();
    const X509AlgorPtr theirs(d2i_X509_ALGOR(nullptr, &next, static_cast<long>(bytes.size())));
    ASSERT_NE(theirs, nullptr) << oid;
    int type = 0;
    X509_ALGOR_get0(nullptr, &type, nullptr, theirs.get());
    EXPECT_EQ(type, V_ASN1_UNDEF) << oid;
  }
}

struct Named {
  const char* publicKey;
  HashAlgorithm hash;
  const char* expected;
};

TEST(Algorithms, OfSignaturesFollowFromKeyAndHash) {
  const Named cases[] = {
      {.publicKey = "1.2.840.10045.2.1",
       .hash = HashAlgorithm::Sha1,
       .expected = "300906072a8648ce3d0401"},
      {.publicKey = "1.2.840.10045.2.1",
       .hash = HashAlgorithm::Sha256,
       .expected = "300a06082a8648ce3d040302"},
      {.publicKey = "1.2.840.10045.2.1",
       .hash = HashAlgorithm::Sha512,
       .expected = "300a06082a8648ce3d040304"},
      {.publicKey = "1.2.840.113549.1.1.1",
       .hash = HashAlgorithm::Sha256,
       .expected = "300d06092a864886f70d0101010500"},
      {.publicKey = "1.2.643.7.1.1.1.1",
       .hash = HashAlgorithm::Streebog256,
       .expected = "300c06082a850307010101010500"},
      {.publicKey = "", .hash = HashAlgorithm::Sha256, .expected = "300406000500"},
  };
  for (const Named& one : cases) {
    EXPECT_EQ(toHex(encodeSignatureAlgorithm(one.publicKey, one.hash)->bytes()), one.expected)
        << one.publicKey;
  }
  for (const HashAlgorithm hash : {HashAlgorithm::Md5,
                                   HashAlgorithm::Gost94,
                                   HashAlgorithm::Streebog256,
                                   HashAlgorithm::Streebog512}) {
    EXPECT_EQ(encodeSignatureAlgorithm(oids::kEcPublicKey, hash).error(), NTE_BAD_ALGID)
        << "no name for it";
  }
}

TEST(Algorithms, AreShownAsRecordsInOnePiece) {
  const Octets bytes = fromHex("3008 06022a03 0602 2a04");
  der::Reader reader(bytes);
  const der::AlgorithmIdentifier algorithm = *readHashAlgorithm(reader);
  alignas(8) std::uint8_t buffer[100];
  DWORD size = sizeof buffer;
  ParamOutput output(buffer, &size);
  ASSERT_TRUE(putAlgorithm(algorithm, output));
  const auto* record = reinterpret_cast<const CRYPT_ALGORITHM_IDENTIFIER*>(buffer);
  EXPECT_STREQ(record->pszObjId, "1.2.3");
  EXPECT_EQ(toHex(bytesOf(record->Parameters)), "06022a04");
  EXPECT_GE(record->Parameters.pbData, buffer + sizeof *record);
  EXPECT_LE(record->Parameters.pbData + record->Parameters.cbData, buffer + size);
}

TEST(Blobs, ShowACallersBytes) {
  Octets bytes = fromHex("0102");
  EXPECT_EQ(toHex(bytesOf({.cbData = 2, .pbData = bytes.data()})), "0102");
  EXPECT_TRUE(bytesOf({.cbData = 0, .pbData = bytes.data()}).empty());
  EXPECT_TRUE(bytesOf({.cbData = 7, .pbData = nullptr}).empty()) << "a length without bytes";
}

TEST(Blobs, AreOneElementOrNot) {
  EXPECT_TRUE(isOneElement(fromHex("0500")));
  EXPECT_TRUE(isOneElement(fromHex("3080 0500 0000")));
  for (const char* bad : {"", "05", "0500 00", "0500 0500", "0000", "04820001"}) {
    EXPECT_FALSE(isOneElement(fromHex(bad))) << bad;
  }
}

TEST(Oids, AreTheOnesThatLibcryptoKnows) {
  const std::pair<std::string_view, int> names[] = {
      {oids::kData, NID_pkcs7_data},
      {oids::kSignedData, NID_pkcs7_signed},
      {oids::kDigestedData, NID_pkcs7_digest},
      {oids::kContentType, NID_pkcs9_contentType},
      {oids::kMessageDigest, NID_pkcs9_messageDigest},
      {oids::kSigningCertificate, NID_id_smime_aa_signingCertificate},
      {oids::kSigningCertificateV2, NID_id_smime_aa_signingCertificateV2},
      {oids::kRsaPss, NID_rsassaPss},
      {oids::kEcPublicKey, NID_X9_62_id_ecPublicKey},
  };
  for (const auto& [oid, nid] : names) {
    EXPECT_EQ(OBJ_txt2nid(std::string(oid).c_str()), nid) << oid;
  }
}

}  // namespace
}  // namespace qx::algorithm_test
