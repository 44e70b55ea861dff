// A data table: object identifiers, their names and numbers.
#include "provider/oid/table.h"

#include <array>
#include <cstddef>
#include <iterator>

#include "platform/cert.h"

namespace qx {
namespace {

// At most this many words stand in an entry's extra information.
constexpr std::size_t kMaxExtra = 3;

struct Extra {
  std::array<DWORD, kMaxExtra> words{};
  DWORD count = 0;
};

constexpr Extra kNone{};

constexpr Extra extra(DWORD first) {
  return {.words = {first}, .count = 1};
}

constexpr Extra extra(DWORD first, DWORD second) {
  return {.words = {first, second}, .count = 2};
}

constexpr Extra extra(DWORD first, DWORD second, DWORD third) {
  return {.words = {first, second, third}, .count = 3};
}

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which a row is read
struct Row {
  DWORD group = 0;
  LPCSTR oid = nullptr;
  LPCWSTR name = nullptr;
  DWORD value = 0;
  Extra extra;
  LPCWSTR cngAlgorithm = L"";
  LPCWSTR cngExtra = L"";
};

constexpr DWORD kHash = CRYPT_HASH_ALG_OID_GROUP_ID;
constexpr DWORD kCipher = CRYPT_ENCRYPT_ALG_OID_GROUP_ID;
constexpr DWORD kKey = CRYPT_PUBKEY_ALG_OID_GROUP_ID;
constexpr DWORD kSign = CRYPT_SIGN_ALG_OID_GROUP_ID;
constexpr DWORD kRdn = CRYPT_RDN_ATTR_OID_GROUP_ID;
constexpr DWORD kAttribute = CRYPT_EXT_OR_ATTR_OID_GROUP_ID;
constexpr DWORD kUsage = CRYPT_ENHKEY_USAGE_OID_GROUP_ID;
constexpr DWORD kPolicy = CRYPT_POLICY_OID_GROUP_ID;

constexpr DWORD kNoNull = CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG;
constexpr DWORD kCngOnly = CALG_OID_INFO_CNG_ONLY;
constexpr DWORD kParameters = CALG_OID_INFO_PARAMETERS;

// Types of name values in the order of preference, ended by 0; none means PRINTABLE, then UNICODE.
constexpr Extra kPrintable = extra(CERT_RDN_PRINTABLE_STRING, 0);
constexpr Extra kIa5 = extra(CERT_RDN_IA5_STRING, 0);
constexpr Extra kIa5OrUtf8 = extra(CERT_RDN_IA5_STRING, CERT_RDN_UTF8_STRING, 0);

// Sources: RSA and PKCS #9 names RFC 8017, 2985; ECC RFC 5480, 5758; GOST RFC 4357, 4491, 9215 and
// the TC 26 arc 1.2.643.7; name attributes X.520 with the upper bounds of RFC 5280, appendix A.1.
// The name of an attribute is its keyword in the text of a name.
// clang-format off
constexpr Row kRows[] = {
    {kHash, szOID_OIWSEC_sha1, L"sha1", CALG_SHA1, kNone, L"SHA1"},
    {kHash, szOID_RSA_MD5, L"md5", CALG_MD5, kNone, L"MD5"},
    {kHash, szOID_RSA_MD4, L"md4", CALG_MD4, kNone, L"MD4"},
    {kHash, szOID_RSA_MD2, L"md2", CALG_MD2, kNone, L"MD2"},
    {kHash, szOID_NIST_sha256, L"sha256", CALG_SHA_256, kNone, L"SHA256"},
    {kHash, szOID_NIST_sha384, L"sha384", CALG_SHA_384, kNone, L"SHA384"},
    {kHash, szOID_NIST_sha512, L"sha512", CALG_SHA_512, kNone, L"SHA512"},
    {kHash, "1.2.643.2.2.9", L"GOST R 34.11-94", CALG_QX_GR3411, kNone},
    {kHash, "1.2.643.7.1.1.2.2", L"GOST R 34.11-2012 256 bit", CALG_QX_GR3411_2012_256, kNone},
    {kHash, "1.2.643.7.1.1.2.3", L"GOST R 34.11-2012 512 bit", CALG_QX_GR3411_2012_512, kNone},

    {kCipher, "1.3.14.3.2.7", L"des", CALG_DES, kNone, L"DES"},
    {kCipher, "1.2.840.113549.3.7", L"3des", CALG_3DES, kNone, L"3DES"},
    {kCipher, "1.2.840.113549.3.2", L"rc2", CALG_RC2, kNone, L"RC2"},
    {kCipher, "1.2.840.113549.3.4", L"rc4", CALG_RC4, kNone, L"RC4"},
    {kCipher, szOID_NIST_AES128_CBC, L"aes128", CALG_AES_128, extra(128), L"AES"},
    {kCipher, "2.16.840.1.101.3.4.1.22", L"aes192", CALG_AES_192, extra(192), L"AES"},
    {kCipher, szOID_NIST_AES256_CBC, L"aes256", CALG_AES_256, extra(256), L"AES"},
    {kCipher, "1.2.643.2.2.21", L"GOST 28147-89", CALG_QX_GR28147, kNone},

    // An algorithm of both classes stands here once for each.
    {kKey, szOID_RSA_RSA, L"RSA", CALG_RSA_KEYX, kNone, L"RSA"},
    {kKey, szOID_RSA_RSA, L"RSA", CALG_RSA_SIGN, kNone, L"RSA"},
    {kKey, szOID_X957_DSA, L"DSA", CALG_DSS_SIGN, kNone, L"DSA"},
    {kKey, szOID_ECC_PUBLIC_KEY, L"ECC", kParameters, kNone, L"CryptOIDInfoECCParameters"},
    {kKey, szOID_ECC_PUBLIC_KEY, L"ECDSA", CALG_ECDSA, kNone},
    {kKey, szOID_ECC_PUBLIC_KEY, L"ECDH", CALG_ECDH, kNone},
    {kKey, "1.2.643.2.2.19", L"GOST R 34.10-2001", CALG_QX_GR3410_2001_SIGN, kNone},
    {kKey, "1.2.643.2.2.19", L"GOST R 34.10-2001 DH", CALG_QX_GR3410_2001_KEYX, kNone},
    {kKey, "1.2.643.7.1.1.1.1", L"GOST R 34.10-2012 256 bit", CALG_QX_GR3410_2012_256_SIGN, kNone},
    {kKey, "1.2.643.7.1.1.1.1", L"GOST R 34.10-2012 256 bit DH", CALG_QX_GR3410_2012_256_KEYX, kNone},
    {kKey, "1.2.643.7.1.1.1.2", L"GOST R 34.10-2012 512 bit", CALG_QX_GR3410_2012_512_SIGN, kNone},
    {kKey, "1.2.643.7.1.1.1.2", L"GOST R 34.10-2012 512 bit DH", CALG_QX_GR3410_2012_512_KEYX, kNone},

    {kSign, szOID_RSA_SHA1RSA, L"sha1RSA", CALG_SHA1, extra(CALG_RSA_SIGN, 0), L"SHA1", L"RSA"},
    {kSign, szOID_OIWSEC_sha1RSASign, L"sha1RSA", CALG_SHA1, extra(CALG_RSA_SIGN, 0), L"SHA1", L"RSA"},
    {kSign, szOID_RSA_MD5RSA, L"md5RSA", CALG_MD5, extra(CALG_RSA_SIGN, 0), L"MD5", L"RSA"},
    {kSign, szOID_RSA_MD2RSA, L"md2RSA", CALG_MD2, extra(CALG_RSA_SIGN, 0), L"MD2", L"RSA"},
    {kSign, szOID_RSA_SHA256RSA, L"sha256RSA", CALG_SHA_256, extra(CALG_RSA_SIGN, 0), L"SHA256", L"RSA"},
    {kSign, szOID_RSA_SHA384RSA, L"sha384RSA", CALG_SHA_384, extra(CALG_RSA_SIGN, 0), L"SHA384", L"RSA"},
    {kSign, szOID_RSA_SHA512RSA, L"sha512RSA", CALG_SHA_512, extra(CALG_RSA_SIGN, 0), L"SHA512", L"RSA"},
    {kSign, szOID_RSA_SSA_PSS, L"RSASSA-PSS", kParameters, extra(CALG_RSA_SIGN, 0), L"CryptOIDInfoPSSParameters", L"RSA"},
    {kSign, "1.2.840.10040.4.3", L"sha1DSA", CALG_SHA1, extra(CALG_DSS_SIGN, kNoNull), L"SHA1", L"DSA"},
    // The published entries of ECDSA name no algorithm id; those behind them can be searched by it.
    {kSign, szOID_ECDSA_SHA1, L"sha1ECDSA", kCngOnly, extra(kParameters, kNoNull), L"SHA1", L"CryptOIDInfoECCParameters"},
    {kSign, szOID_ECDSA_SHA256, L"sha256ECDSA", kCngOnly, extra(kParameters, kNoNull), L"SHA256", L"CryptOIDInfoECCParameters"},
    {kSign, szOID_ECDSA_SHA384, L"sha384ECDSA", kCngOnly, extra(kParameters, kNoNull), L"SHA384", L"CryptOIDInfoECCParameters"},
    {kSign, szOID_ECDSA_SHA512, L"sha512ECDSA", kCngOnly, extra(kParameters, kNoNull), L"SHA512", L"CryptOIDInfoECCParameters"},
    {kSign, szOID_ECDSA_SHA1, L"sha1ECDSA", CALG_SHA1, extra(CALG_ECDSA, kNoNull), L"SHA1", L"ECDSA"},
    {kSign, szOID_ECDSA_SHA256, L"sha256ECDSA", CALG_SHA_256, extra(CALG_ECDSA, kNoNull), L"SHA256", L"ECDSA"},
    {kSign, szOID_ECDSA_SHA384, L"sha384ECDSA", CALG_SHA_384, extra(CALG_ECDSA, kNoNull), L"SHA384", L"ECDSA"},
    {kSign, szOID_ECDSA_SHA512, L"sha512ECDSA", CALG_SHA_512, extra(CALG_ECDSA, kNoNull), L"SHA512", L"ECDSA"},
    {kSign, "1.2.643.2.2.3", L"GOST R 34.11-94/34.10-2001", CALG_QX_GR3411, extra(CALG_QX_GR3410_2001_SIGN, kNoNull)},
    {kSign, "1.2.643.7.1.1.3.2", L"GOST R 34.11-2012/34.10-2012 256 bit", CALG_QX_GR3411_2012_256, extra(CALG_QX_GR3410_2012_256_SIGN, kNoNull)},
    {kSign, "1.2.643.7.1.1.3.3", L"GOST R 34.11-2012/34.10-2012 512 bit", CALG_QX_GR3411_2012_512, extra(CALG_QX_GR3410_2012_512_SIGN, kNoNull)},

    {kRdn, "2.5.4.3", L"CN", 64, kNone},
    {kRdn, "2.5.4.7", L"L", 128, kNone},
    {kRdn, "2.5.4.10", L"O", 64, kNone},
    {kRdn, "2.5.4.11", L"OU", 64, kNone},
    {kRdn, szOID_RSA_emailAddr, L"E", 255, kIa5},
    {kRdn, "2.5.4.6", L"C", 2, kPrintable},
    {kRdn, "2.5.4.8", L"S", 128, kNone},
    {kRdn, "2.5.4.9", L"STREET", 128, kNone},
    {kRdn, "2.5.4.12", L"T", 64, kNone},
    {kRdn, "2.5.4.42", L"G", 32768, kNone},
    {kRdn, "2.5.4.43", L"I", 32768, kNone},
    {kRdn, "2.5.4.4", L"SN", 32768, kNone},
    {kRdn, "0.9.2342.19200300.100.1.25", L"DC", 63, kIa5OrUtf8},
    {kRdn, "2.5.4.5", L"SERIALNUMBER", 64, kPrintable},
    {kRdn, "2.5.4.13", L"Description", 1024, kNone},
    {kRdn, "2.5.4.17", L"PostalCode", 40, kNone},
    {kRdn, "2.5.4.18", L"POBox", 40, kNone},
    {kRdn, "2.5.4.20", L"Phone", 32, kPrintable},
    {kRdn, "2.5.4.24", L"X21Address", 15, kNone},
    {kRdn, "2.5.4.46", L"dnQualifier", 0, kPrintable},

    {kAttribute, szOID_RSA_contentType, L"Content Type", 0, kNone},
    {kAttribute, szOID_RSA_messageDigest, L"Message Digest", 0, kNone},
    {kAttribute, szOID_RSA_signingTime, L"Signing Time", 0, kNone},
    {kAttribute, szOID_RSA_counterSign, L"Counter Sign", 0, kNone},
    {kAttribute, szOID_SUBJECT_KEY_IDENTIFIER, L"Subject Key Identifier", 0, kNone},
    {kAttribute, "2.5.29.15", L"Key Usage", 0, kNone},
    {kAttribute, "2.5.29.17", L"Subject Alternative Name", 0, kNone},
    {kAttribute, "2.5.29.18", L"Issuer Alternative Name", 0, kNone},
    {kAttribute, "2.5.29.19", L"Basic Constraints", 0, kNone},
    {kAttribute, "2.5.29.30", L"Name Constraints", 0, kNone},
    {kAttribute, "2.5.29.31", L"CRL Distribution Points", 0, kNone},
    {kAttribute, "2.5.29.32", L"Certificate Policies", 0, kNone},
    {kAttribute, "2.5.29.35", L"Authority Key Identifier", 0, kNone},
    {kAttribute, "2.5.29.37", L"Enhanced Key Usage", 0, kNone},
    {kAttribute, "1.3.6.1.5.5.7.1.1", L"Authority Information Access", 0, kNone},

    {kUsage, "1.3.6.1.5.5.7.3.1", L"Server Authentication", 0, kNone},
    {kUsage, "1.3.6.1.5.5.7.3.2", L"Client Authentication", 0, kNone},
    {kUsage, "1.3.6.1.5.5.7.3.3", L"Code Signing", 0, kNone},
    {kUsage, "1.3.6.1.5.5.7.3.4", L"Secure Email", 0, kNone},
    {kUsage, "1.3.6.1.5.5.7.3.8", L"Time Stamping", 0, kNone},
    {kUsage, "1.3.6.1.5.5.7.3.9", L"OCSP Signing", 0, kNone},

    {kPolicy, "2.5.29.32.0", L"All Issuance Policies", 0, kNone},
};
// clang-format on

using Table = std::array<CRYPT_OID_INFO_LONG, std::size(kRows)>;

CRYPT_OID_INFO_LONG published(const Row& row) {
  CRYPT_OID_INFO_LONG entry{};
  entry.cbSize = sizeof entry;
  entry.pszOID = row.oid;
  entry.pwszName = row.name;
  entry.dwGroupId = row.group;
  entry.dwValue = row.value;
  entry.pwszCNGAlgid = row.cngAlgorithm;
  entry.pwszCNGExtraAlgid = row.cngExtra;
  if (row.extra.count != 0) {
    entry.ExtraInfo.cbData = row.extra.count * static_cast<DWORD>(sizeof(DWORD));
    // The published record has no const here; readers of the table do not write.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    entry.ExtraInfo.pbData = reinterpret_cast<BYTE*>(const_cast<DWORD*>(row.extra.words.data()));
  }
  return entry;
}

Table makeTable() {
  Table table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table.at(i) = published(kRows[i]);
  }
  return table;
}

}  // namespace

std::span<const CRYPT_OID_INFO_LONG> oidTable() {
  static const Table kTable = makeTable();
  return kTable;
}

}  // namespace qx
