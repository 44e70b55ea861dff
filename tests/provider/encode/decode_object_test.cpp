#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/cert_chain.h"
#include "platform/encode.h"
#include "platform/errors.h"
#include "platform/oid_info.h"
#include "platform/strings.h"

#include "tests/provider/encode/libcrypto_encoder.h"
#include "tests/provider/name/der_name.h"

namespace qx::test::decode_object_test {
namespace {

using qx::test::DerName;
using qx::test::encodedInteger;
using qx::test::encodedOid;
using qx::test::encodedTime;
using Bytes = std::vector<std::uint8_t>;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

Bytes bytesOf(const CRYPT_DATA_BLOB& blob) {
  return {blob.pbData, blob.pbData + blob.cbData};
}

/// What one call gave: the record at the start of the buffer, or the error.
template <class Record>
class Decoded {
 public:
  Decoded(LPCSTR type, const Bytes& der) : Decoded(type, der.data(), der.size()) {}

  Decoded(LPCSTR type, const std::uint8_t* der, std::size_t size) {
    SetLastError(ERROR_BUSY);
    DWORD needed = 0;
    const auto length = static_cast<DWORD>(size);
    if (CryptDecodeObject(kEncoding, type, der, length, 0, nullptr, &needed) == FALSE) {
      error_ = GetLastError();
      return;
    }
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    buffer_.resize((needed / sizeof(std::uint64_t)) + 2, kFill);
    DWORD used = needed + 8;
    EXPECT_EQ(CryptDecodeObject(kEncoding, type, der, length, 0, buffer_.data(), &used), TRUE);
    EXPECT_EQ(used, needed);
    // Nothing is written behind the size that it tells.
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(buffer_.data());
    for (std::size_t i = used; i < buffer_.size() * sizeof(std::uint64_t); ++i) {
      EXPECT_EQ(bytes[i], 0xEE) << i;
    }
    size_ = used;
    expectTooSmall(type, der, length);
  }

  const Record& operator*() const { return *get(); }

  const Record* operator->() const { return get(); }

  DWORD error() const { return error_; }

  DWORD size() const { return size_; }

  /// Whether an address lies in the buffer: the record is one piece.
  bool holds(const void* address) const {
    const auto* start = reinterpret_cast<const std::uint8_t*>(buffer_.data());
    const auto* place = static_cast<const std::uint8_t*>(address);
    return place > start && place < start + size_;
  }

 private:
  static constexpr std::uint64_t kFill = 0xEEEEEEEEEEEEEEEE;

  static void expectTooSmall(LPCSTR type, const std::uint8_t* der, DWORD length) {
    std::uint64_t small = 0;
    DWORD size = 1;
    EXPECT_EQ(CryptDecodeObject(kEncoding, type, der, length, 0, &small, &size), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_MORE_DATA);
    EXPECT_GT(size, 1U);
  }

  const Record* get() const {
    EXPECT_FALSE(buffer_.empty()) << std::hex << error_;
    return reinterpret_cast<const Record*>(buffer_.data());
  }

  std::vector<std::uint64_t> buffer_;
  DWORD size_ = 0;
  DWORD error_ = ERROR_SUCCESS;
};

DWORD errorOf(LPCSTR type, const Bytes& der) {
  return Decoded<std::uint64_t>(type, der).error();
}

// Universal tags (X.680, table 8).
constexpr int kOctets = 0x04;
constexpr int kUtf8 = 0x0C;
constexpr int kPrintable = 0x13;
constexpr int kUtcTime = 0x17;
constexpr int kGeneralizedTime = 0x18;

Bytes timeText(int tag, std::string_view text) {
  return bytesOf(qx::test::encodedElement(tag, text));
}

std::string shown(const FILETIME& time) {
  SYSTEMTIME parts{};
  EXPECT_EQ(FileTimeToSystemTime(&time, &parts), TRUE);
  std::array<char, 64> text{};
  EXPECT_GT(std::snprintf(text.data(),
                          text.size(),
                          "%04u-%02u-%02u %02u:%02u:%02u.%03u",
                          parts.wYear,
                          parts.wMonth,
                          parts.wDay,
                          parts.wHour,
                          parts.wMinute,
                          parts.wSecond,
                          parts.wMilliseconds),
            0);
  return text.data();
}

TEST(DecodeTime, ReadsUtcTime) {
  for (const LPCSTR type : {PKCS_UTC_TIME, LPCSTR{szOID_RSA_signingTime}, X509_CHOICE_OF_TIME}) {
    const Decoded<FILETIME> time(type, timeText(kUtcTime, "240229235958Z"));
    EXPECT_EQ(shown(*time), "2024-02-29 23:59:58.000");
    EXPECT_EQ(time.size(), sizeof(FILETIME));
  }
}

TEST(DecodeTime, PutsTheYearsFrom50IntoTheLastCentury) {
  EXPECT_EQ(shown(*Decoded<FILETIME>(PKCS_UTC_TIME, timeText(kUtcTime, "500101000000Z"))),
            "1950-01-01 00:00:00.000");
  EXPECT_EQ(shown(*Decoded<FILETIME>(PKCS_UTC_TIME, timeText(kUtcTime, "491231235959Z"))),
            "2049-12-31 23:59:59.000");
}

TEST(DecodeTime, ReadsGeneralizedTimeWithItsFractions) {
  const Bytes time = timeText(kGeneralizedTime, "20310405060708.125Z");
  EXPECT_EQ(shown(*Decoded<FILETIME>(X509_CHOICE_OF_TIME, time)), "2031-04-05 06:07:08.125");
  EXPECT_EQ(shown(*Decoded<FILETIME>(PKCS_UTC_TIME, time)), "2031-04-05 06:07:08.125");
}

TEST(DecodeTime, KnowsASigningTimeOnlyWhereUtcTimeReaches) {
  for (const char* text : {"19491231235959Z", "20500101000000Z", "99991231235959Z"}) {
    const Bytes time = timeText(kGeneralizedTime, text);
    EXPECT_EQ(errorOf(szOID_RSA_signingTime, time), CRYPT_E_ASN1_BADTAG) << text;
    EXPECT_EQ(errorOf(PKCS_UTC_TIME, time), CRYPT_E_ASN1_BADTAG) << text;
    EXPECT_EQ(errorOf(X509_CHOICE_OF_TIME, time), ERROR_SUCCESS) << text;
  }
  EXPECT_EQ(errorOf(PKCS_UTC_TIME, timeText(kGeneralizedTime, "20491231235959Z")), ERROR_SUCCESS);
  EXPECT_EQ(errorOf(PKCS_UTC_TIME, timeText(kGeneralizedTime, "19500101000000Z")), ERROR_SUCCESS);
}

TEST(DecodeTime, AgreesWithLibcrypto) {
  for (std::time_t seconds = -600'000'000; seconds < 2'500'000'000; seconds += 12'345'678) {
    const Decoded<FILETIME> decoded(X509_CHOICE_OF_TIME, encodedTime(seconds));
    const std::uint64_t ticks =
        static_cast<std::uint64_t>(decoded->dwHighDateTime) << 32U | decoded->dwLowDateTime;
    ASSERT_EQ(ticks, (static_cast<std::uint64_t>(seconds) + 11'644'473'600U) * 10'000'000U);
  }
}

TEST(DecodeTime, RefusesOtherTypesAndNonsense) {
  EXPECT_EQ(errorOf(PKCS_UTC_TIME, encodedInteger("1")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(PKCS_UTC_TIME, timeText(kUtcTime, "241332000000Z")), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(PKCS_UTC_TIME, timeText(kUtcTime, "")), CRYPT_E_ASN1_CORRUPT);
}

// Two DWORDs stand on four bytes, on a caller's stack as well as in a record of his.
TEST(DecodeTime, WritesIntoABufferThatIsAlignedToFourBytes) {
  const Bytes der = timeText(kUtcTime, "240229235958Z");
  alignas(8) std::array<BYTE, 24> room{};
  for (std::size_t offset = 0; offset < 8; ++offset) {
    room.fill(0xEE);
    BYTE* const place = room.data() + offset;
    DWORD size = sizeof(FILETIME);
    const BOOL decoded = CryptDecodeObject(
        kEncoding, PKCS_UTC_TIME, der.data(), static_cast<DWORD>(der.size()), 0, place, &size);
    EXPECT_EQ(size, sizeof(FILETIME));
    if (offset % alignof(FILETIME) != 0) {
      EXPECT_EQ(decoded, FALSE) << offset;
      EXPECT_EQ(GetLastError(), E_INVALIDARG);
      EXPECT_EQ(*place, 0xEE);
      continue;
    }
    ASSERT_EQ(decoded, TRUE) << offset;
    FILETIME time{};
    std::memcpy(&time, place, sizeof time);
    EXPECT_EQ(shown(time), "2024-02-29 23:59:58.000");
    EXPECT_EQ(place[sizeof time], 0xEE);
  }
}

TEST(DecodeOctets, GivesTheirBytes) {
  const Bytes der = {0x04, 0x03, 1, 2, 3};
  const Decoded<CRYPT_DATA_BLOB> blob(X509_OCTET_STRING, der);
  EXPECT_EQ(bytesOf(*blob), (Bytes{1, 2, 3}));
  EXPECT_TRUE(blob.holds(blob->pbData));
  EXPECT_EQ(bytesOf(*Decoded<CRYPT_DATA_BLOB>(szOID_SUBJECT_KEY_IDENTIFIER, der)),
            (Bytes{1, 2, 3}));
  EXPECT_EQ(Decoded<CRYPT_DATA_BLOB>(X509_OCTET_STRING, {0x04, 0x00})->cbData, 0U);
  EXPECT_EQ(errorOf(X509_OCTET_STRING, {0x03, 0x02, 0, 1}), CRYPT_E_ASN1_BADTAG);
}

TEST(DecodeOid, GivesDottedText) {
  const Decoded<LPSTR> text(X509_OBJECT_IDENTIFIER, encodedOid("1.2.643.7.1.1.1.1"));
  EXPECT_STREQ(*text, "1.2.643.7.1.1.1.1");
  EXPECT_TRUE(text.holds(*text));
  EXPECT_EQ(errorOf(X509_OBJECT_IDENTIFIER, {0x06, 0x00}), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(X509_OBJECT_IDENTIFIER, {0x06, 0x02, 0x2A, 0x86}), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(X509_OBJECT_IDENTIFIER, {0x04, 0x01, 0x2A}), CRYPT_E_ASN1_BADTAG);
}

TEST(DecodeInteger, GivesThirtyTwoBits) {
  for (const char* decimal :
       {"0", "1", "127", "128", "-1", "-128", "-129", "2147483647", "-2147483648"}) {
    EXPECT_EQ(*Decoded<std::int32_t>(X509_INTEGER, encodedInteger(decimal)),
              static_cast<std::int32_t>(std::stol(decimal)));
  }
  EXPECT_EQ(errorOf(X509_INTEGER, encodedInteger("2147483648")), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(errorOf(X509_INTEGER, {0x02, 0x00}), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(X509_INTEGER, {0x0A, 0x01, 0x05}), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(*Decoded<std::int32_t>(X509_ENUMERATED, {0x0A, 0x01, 0x05}), 5);
  EXPECT_EQ(errorOf(X509_ENUMERATED, {0x02, 0x01, 0x05}), CRYPT_E_ASN1_BADTAG);
}

TEST(DecodeLongInteger, GivesLittleEndianBytes) {
  const auto integer = [](LPCSTR type, const Bytes& der) {
    return bytesOf(*Decoded<CRYPT_INTEGER_BLOB>(type, der));
  };
  EXPECT_EQ(integer(X509_MULTI_BYTE_INTEGER, {0x02, 0x03, 1, 2, 3}), (Bytes{3, 2, 1}));
  EXPECT_EQ(integer(X509_MULTI_BYTE_INTEGER, {0x02, 0x02, 0x00, 0x80}), (Bytes{0x80, 0x00}));
  EXPECT_EQ(integer(X509_MULTI_BYTE_UINT, {0x02, 0x02, 0x00, 0x80}), Bytes{0x80});
  EXPECT_EQ(integer(X509_MULTI_BYTE_UINT, {0x02, 0x01, 0x00}), Bytes{0x00});
  EXPECT_EQ(integer(X509_MULTI_BYTE_UINT, {0x02, 0x02, 0x01, 0x00}), (Bytes{0x00, 0x01}));
  EXPECT_EQ(errorOf(X509_MULTI_BYTE_INTEGER, {0x02, 0x00}), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(X509_MULTI_BYTE_UINT, {0x02, 0x00}), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(X509_MULTI_BYTE_UINT, {0x04, 0x00}), CRYPT_E_ASN1_BADTAG);
}

TEST(DecodeBits, KeepsTheOrderOfTheBytes) {
  for (const LPCSTR type : {X509_BITS, X509_KEY_USAGE, LPCSTR{"2.5.29.15"}}) {
    const Decoded<CRYPT_BIT_BLOB> bits(type, {0x03, 0x03, 0x07, 0x06, 0x80});
    EXPECT_EQ((Bytes{bits->pbData, bits->pbData + bits->cbData}), (Bytes{0x06, 0x80}));
    EXPECT_EQ(bits->cUnusedBits, 7U);
    EXPECT_TRUE(bits.holds(bits->pbData));
  }
  EXPECT_EQ(errorOf(X509_BITS, {0x03, 0x00}), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(X509_BITS, {0x03, 0x02, 0x08, 0x00}), CRYPT_E_ASN1_CORRUPT);
}

TEST(DecodeAlgorithm, GivesOidAndParameters) {
  const Decoded<CRYPT_ALGORITHM_IDENTIFIER> decoded(X509_ALGORITHM_IDENTIFIER,
                                                    qx::test::encodedSha256Algorithm());
  EXPECT_STREQ(decoded->pszObjId, szOID_NIST_sha256);
  EXPECT_EQ(bytesOf(decoded->Parameters), (Bytes{0x05, 0x00}));
  EXPECT_TRUE(decoded.holds(decoded->pszObjId));
  EXPECT_TRUE(decoded.holds(decoded->Parameters.pbData));
  const Decoded<CRYPT_ALGORITHM_IDENTIFIER> bare(X509_ALGORITHM_IDENTIFIER,
                                                 {0x30, 0x03, 0x06, 0x01, 0x2A});
  EXPECT_STREQ(bare->pszObjId, "1.2");
  EXPECT_EQ(bare->Parameters.cbData, 0U);
  EXPECT_EQ(errorOf(X509_ALGORITHM_IDENTIFIER, {0x31, 0x00}), CRYPT_E_ASN1_BADTAG);
}

TEST(DecodePublicKey, GivesAlgorithmAndBits) {
  const Bytes der = {0x30, 0x0B, 0x30, 0x05, 0x06, 0x01, 0x2A, 0x05, 0x00, 0x03, 0x02, 0x00, 0x55};
  const Decoded<CERT_PUBLIC_KEY_INFO> key(X509_PUBLIC_KEY_INFO, der);
  EXPECT_STREQ(key->Algorithm.pszObjId, "1.2");
  EXPECT_EQ(bytesOf(key->Algorithm.Parameters), (Bytes{0x05, 0x00}));
  ASSERT_EQ(key->PublicKey.cbData, 1U);
  EXPECT_EQ(*key->PublicKey.pbData, 0x55);
  EXPECT_EQ(errorOf(X509_PUBLIC_KEY_INFO, {0x30, 0x02, 0x30, 0x00}), CRYPT_E_ASN1_EOD);
}

TEST(DecodeUsages, GivesAListOfOids) {
  const Bytes der = {0x30, 0x08, 0x06, 0x01, 0x2A, 0x06, 0x03, 0x55, 0x1D, 0x25};
  for (const LPCSTR type : {X509_ENHANCED_KEY_USAGE, LPCSTR{"2.5.29.37"}}) {
    const Decoded<CTL_USAGE> usage(type, der);
    ASSERT_EQ(usage->cUsageIdentifier, 2U);
    EXPECT_STREQ(usage->rgpszUsageIdentifier[0], "1.2");
    EXPECT_STREQ(usage->rgpszUsageIdentifier[1], "2.5.29.37");
    EXPECT_TRUE(usage.holds(usage->rgpszUsageIdentifier[1]));
  }
  EXPECT_EQ(Decoded<CTL_USAGE>(X509_ENHANCED_KEY_USAGE, {0x30, 0x00})->cUsageIdentifier, 0U);
  EXPECT_EQ(errorOf(X509_ENHANCED_KEY_USAGE, {0x30, 0x02, 0x05, 0x00}), CRYPT_E_ASN1_BADTAG);
}

const Bytes kAttribute = {0x30, 0x0A, 0x06, 0x01, 0x2A, 0x31, 0x05, 0x02, 0x01, 0x07, 0x05, 0x00};

void expectAttribute(const CRYPT_ATTRIBUTE& attribute) {
  EXPECT_STREQ(attribute.pszObjId, "1.2");
  ASSERT_EQ(attribute.cValue, 2U);
  EXPECT_EQ(bytesOf(attribute.rgValue[0]), (Bytes{0x02, 0x01, 0x07}));
  EXPECT_EQ(bytesOf(attribute.rgValue[1]), (Bytes{0x05, 0x00}));
}

TEST(DecodeAttribute, GivesItsValuesWhole) {
  const Decoded<CRYPT_ATTRIBUTE> attribute(PKCS_ATTRIBUTE, kAttribute);
  expectAttribute(*attribute);
  EXPECT_TRUE(attribute.holds(attribute->rgValue));
  EXPECT_TRUE(attribute.holds(attribute->rgValue[1].pbData));
  EXPECT_EQ(errorOf(PKCS_ATTRIBUTE, {0x31, 0x00}), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(PKCS_ATTRIBUTE, {0x30, 0x03, 0x06, 0x01, 0x2A}), CRYPT_E_ASN1_EOD);
}

TEST(DecodeAttributes, AreASet) {
  Bytes der = {0x31, static_cast<std::uint8_t>(kAttribute.size())};
  der.insert(der.end(), kAttribute.begin(), kAttribute.end());
  const Decoded<CRYPT_ATTRIBUTES> attributes(PKCS_ATTRIBUTES, der);
  ASSERT_EQ(attributes->cAttr, 1U);
  expectAttribute(attributes->rgAttr[0]);
  EXPECT_EQ(Decoded<CRYPT_ATTRIBUTES>(PKCS_ATTRIBUTES, {0x31, 0x00})->cAttr, 0U);
  EXPECT_EQ(errorOf(PKCS_ATTRIBUTES, kAttribute), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(PKCS_ATTRIBUTES, {0x31, 0x02, 0x31, 0x00}), CRYPT_E_ASN1_BADTAG);
}

const DerName kName = {{"2.5.4.6", kPrintable, "RU"},
                       {"2.5.4.3", kUtf8, "\xD0\x96"},
                       {"2.5.4.5", kOctets, "\x01", /*sameRdn=*/true}};

TEST(DecodeName, GivesRdnsWithTheirBytes) {
  const Decoded<CERT_NAME_INFO> name(X509_NAME, kName.der());
  ASSERT_EQ(name->cRDN, 2U);
  ASSERT_EQ(name->rgRDN[0].cRDNAttr, 1U);
  ASSERT_EQ(name->rgRDN[1].cRDNAttr, 2U);
  const CERT_RDN_ATTR& country = name->rgRDN[0].rgRDNAttr[0];
  EXPECT_STREQ(country.pszObjId, "2.5.4.6");
  EXPECT_EQ(country.dwValueType, CERT_RDN_PRINTABLE_STRING);
  EXPECT_EQ(bytesOf(country.Value), bytesOf("RU"));
  const CERT_RDN_ATTR& common = name->rgRDN[1].rgRDNAttr[0];
  EXPECT_EQ(common.dwValueType, CERT_RDN_UTF8_STRING);
  EXPECT_EQ(bytesOf(common.Value), bytesOf("\xD0\x96"));
  EXPECT_TRUE(name.holds(common.Value.pbData));
  EXPECT_TRUE(name.holds(common.pszObjId));
  EXPECT_EQ(Decoded<CERT_NAME_INFO>(X509_NAME, {0x30, 0x00})->cRDN, 0U);
  EXPECT_EQ(errorOf(X509_NAME, {0x31, 0x00}), CRYPT_E_ASN1_BADTAG);
}

TEST(DecodeName, GivesWideCharactersWhereAsked) {
  const Decoded<CERT_NAME_INFO> name(X509_UNICODE_NAME, kName.der());
  ASSERT_EQ(name->cRDN, 2U);
  const CERT_RDN_ATTR& common = name->rgRDN[1].rgRDNAttr[0];
  EXPECT_EQ(common.Value.cbData, sizeof(wchar_t));
  EXPECT_STREQ(reinterpret_cast<const wchar_t*>(common.Value.pbData), L"\u0416");
  // What is no text keeps its bytes.
  EXPECT_EQ(bytesOf(name->rgRDN[1].rgRDNAttr[1].Value), Bytes{0x01});
  const DerName bad = {{"2.5.4.3", kUtf8, "\xFF"}};
  EXPECT_EQ(errorOf(X509_UNICODE_NAME, bad.der()), CRYPT_E_ASN1_CORRUPT);
}

TEST(DecodeObject, KnowsNoOtherTypes) {
  for (const LPCSTR type :
       {X509_CERT, PKCS7_SIGNER_INFO, LPCSTR{nullptr}, LPCSTR{"1.2.3"}, LPCSTR{""}}) {
    EXPECT_EQ(errorOf(type, {0x05, 0x00}), ERROR_FILE_NOT_FOUND);
  }
}

TEST(DecodeObject, WantsAnEncodingThatItKnows) {
  const Bytes der = {0x02, 0x01, 0x05};
  DWORD size = 0;
  EXPECT_EQ(CryptDecodeObject(0, X509_INTEGER, der.data(), 3, 0, nullptr, &size), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  for (const DWORD encoding : {X509_ASN_ENCODING, PKCS_7_ASN_ENCODING}) {
    EXPECT_EQ(CryptDecodeObject(encoding, X509_INTEGER, der.data(), 3, 0, nullptr, &size), TRUE);
  }
}

TEST(DecodeObject, RefusesNullPointers) {
  const Bytes der = {0x02, 0x01, 0x05};
  DWORD size = 0;
  EXPECT_EQ(CryptDecodeObject(kEncoding, X509_INTEGER, der.data(), 3, 0, nullptr, nullptr), FALSE);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
  EXPECT_EQ(CryptDecodeObject(kEncoding, X509_INTEGER, nullptr, 3, 0, nullptr, &size), FALSE);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
  EXPECT_EQ(CryptDecodeObject(kEncoding, X509_INTEGER, nullptr, 0, 0, nullptr, &size), FALSE);
  EXPECT_EQ(GetLastError(), CRYPT_E_ASN1_EOD);
}

TEST(DecodeObject, IgnoresWhatFollowsTheValueAndTakesLongLengths) {
  EXPECT_EQ(*Decoded<std::int32_t>(X509_INTEGER, {0x02, 0x01, 0x05, 0xFF, 0xFF}), 5);
  EXPECT_EQ(*Decoded<std::int32_t>(X509_INTEGER, {0x02, 0x82, 0x00, 0x01, 0x05}), 5);
}

// Every type against every input that was cut or changed; the sanitizers watch.
TEST(DecodeObject, SurvivesDamage) {
  const std::vector<std::pair<LPCSTR, Bytes>> inputs = {
      {PKCS_UTC_TIME, timeText(kUtcTime, "240229235958Z")},
      {X509_OCTET_STRING, {0x24, 0x06, 0x04, 0x01, 1, 0x04, 0x01, 2}},
      {X509_ALGORITHM_IDENTIFIER, {0x30, 0x05, 0x06, 0x01, 0x2A, 0x05, 0x00}},
      {X509_ENHANCED_KEY_USAGE, {0x30, 0x08, 0x06, 0x01, 0x2A, 0x06, 0x03, 0x55, 0x1D, 0x25}},
      {PKCS_ATTRIBUTE, kAttribute},
      {X509_NAME, kName.der()},
      {X509_UNICODE_NAME, kName.der()}};
  for (const auto& [type, whole] : inputs) {
    EXPECT_EQ(errorOf(type, whole), ERROR_SUCCESS);
    for (std::size_t size = 0; size < whole.size(); ++size) {
      // An exact copy, so that reading on is seen.
      const auto copy = std::make_unique<std::uint8_t[]>(size);
      std::memcpy(copy.get(), whole.data(), size);
      EXPECT_EQ(Decoded<std::uint64_t>(type, copy.get(), size).error(), CRYPT_E_ASN1_EOD);
    }
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
      Bytes changed = whole;
      changed[bit / 8] = static_cast<std::uint8_t>(changed[bit / 8] ^ 1U << bit % 8);
      const DWORD error = errorOf(type, changed);
      EXPECT_TRUE(error == ERROR_SUCCESS ||
                  (error >= CRYPT_E_ASN1_ERROR && error <= CRYPT_E_ASN1_NOEOD))
          << std::hex << error;
    }
  }
}

}  // namespace
}  // namespace qx::test::decode_object_test
