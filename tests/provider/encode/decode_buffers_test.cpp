// Every type of CryptDecodeObject into buffers of every size and at every address: what is written
// stays inside, points inside, and does not depend on where it lies.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/cert_chain.h"
#include "platform/encode.h"
#include "platform/errors.h"
#include "platform/oid_info.h"

#include "tests/provider/encode/libcrypto_encoder.h"
#include "tests/provider/name/der_name.h"

namespace qx::test::decode_buffers_test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr std::uint8_t kFill = 0xEE;

struct Input {
  const char* what;
  LPCSTR type;
  Bytes der;
  std::size_t alignment;
};

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

std::vector<Input> inputs() {
  const qx::test::DerName name = {{"2.5.4.6", 0x13, "RU"},
                                  {"2.5.4.3", 0x0C, "\xD0\x96"},
                                  {"2.5.4.5", 0x13, "1", /*sameRdn=*/true}};
  const Bytes attribute = {0x30, 0x0A, 0x06, 0x01, 0x2A, 0x31, 0x05, 0x02, 0x01, 0x07, 0x05, 0x00};
  Bytes attributes = {0x31, 0x0C};
  attributes.insert(attributes.end(), attribute.begin(), attribute.end());
  return {
      {"Time",
       PKCS_UTC_TIME,
       bytesOf("\x17\x0D"
               "240229235958Z"),
       4},
      {"SigningTime",
       szOID_RSA_signingTime,
       bytesOf("\x17\x0D"
               "240229235958Z"),
       4},
      {"Octets", X509_OCTET_STRING, {0x04, 0x03, 1, 2, 3}, 8},
      {"OctetsInPieces", X509_OCTET_STRING, {0x24, 0x06, 0x04, 0x01, 1, 0x04, 0x01, 2}, 8},
      {"NoOctets", X509_OCTET_STRING, {0x04, 0x00}, 8},
      {"Oid", X509_OBJECT_IDENTIFIER, qx::test::encodedOid("1.2.643.7.1.1.1.1"), 8},
      {"Integer", X509_INTEGER, qx::test::encodedInteger("-5"), 1},
      {"Enumerated", X509_ENUMERATED, {0x0A, 0x01, 0x05}, 1},
      {"LongInteger", X509_MULTI_BYTE_INTEGER, {0x02, 0x09, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 8},
      {"LongUnsigned", X509_MULTI_BYTE_UINT, {0x02, 0x02, 0x00, 0x80}, 8},
      {"Bits", X509_BITS, {0x03, 0x03, 0x07, 0x06, 0x80}, 8},
      {"Algorithm", X509_ALGORITHM_IDENTIFIER, qx::test::encodedSha256Algorithm(), 8},
      {"PublicKey",
       X509_PUBLIC_KEY_INFO,
       {0x30, 0x0B, 0x30, 0x05, 0x06, 0x01, 0x2A, 0x05, 0x00, 0x03, 0x02, 0x00, 0x55},
       8},
      {"Usages",
       X509_ENHANCED_KEY_USAGE,
       {0x30, 0x08, 0x06, 0x01, 0x2A, 0x06, 0x03, 0x55, 0x1D, 0x25},
       8},
      {"Attribute", PKCS_ATTRIBUTE, attribute, 8},
      {"Attributes", PKCS_ATTRIBUTES, attributes, 8},
      {"Name", X509_NAME, name.der(), 8},
      {"WideName", X509_UNICODE_NAME, name.der(), 8},
  };
}

/// One call of CryptDecodeObject.
struct Call {
  BOOL decoded;
  DWORD error;
  DWORD size;
};

Call decode(const Input& input, void* out, DWORD size) {
  SetLastError(ERROR_BUSY);
  Call call{};
  call.size = size;
  call.decoded = CryptDecodeObject(kEncoding,
                                   input.type,
                                   input.der.data(),
                                   static_cast<DWORD>(input.der.size()),
                                   /*dwFlags=*/0,
                                   out,
                                   &call.size);
  call.error = GetLastError();
  return call;
}

/// Room on eight bytes with a margin on both sides.
class Room {
 public:
  static constexpr std::size_t kMargin = 64;

  explicit Room(std::size_t size) : words_((size / 8) + (2 * kMargin / 8) + 2, kWord) {}

  std::uint8_t* at(std::size_t offset) {
    return reinterpret_cast<std::uint8_t*>(words_.data()) + kMargin + offset;
  }

  /// Whether nothing is written but `size` bytes at the offset.
  bool isUntouchedAround(std::size_t offset, std::size_t size) {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(words_.data());
    const std::uint8_t* const last = first + (words_.size() * 8);
    const auto isFill = [](std::uint8_t byte) { return byte == kFill; };
    return std::all_of(first, static_cast<const std::uint8_t*>(at(offset)), isFill) &&
           std::all_of(static_cast<const std::uint8_t*>(at(offset)) + size, last, isFill);
  }

 private:
  static constexpr std::uint64_t kWord = 0xEEEEEEEEEEEEEEEE;
  std::vector<std::uint64_t> words_;
};

class DecodeBuffers : public testing::TestWithParam<Input> {
 protected:
  DWORD needed() const {
    const Call call = decode(GetParam(), nullptr, 0);
    EXPECT_EQ(call.decoded, TRUE) << std::hex << call.error;
    return call.size;
  }
};

TEST_P(DecodeBuffers, OfAnySizeBelowAreTooSmallAndStayAsTheyAre) {
  const DWORD size = needed();
  for (DWORD given = 0; given < size; ++given) {
    Room room(size);
    const Call call = decode(GetParam(), room.at(0), given);
    ASSERT_EQ(call.decoded, FALSE) << given;
    ASSERT_EQ(call.error, ERROR_MORE_DATA) << given;
    ASSERT_EQ(call.size, size) << given;
    ASSERT_TRUE(room.isUntouchedAround(0, 0)) << given;
  }
}

TEST_P(DecodeBuffers, OfTheSizeAndAboveGetTheSame) {
  const DWORD size = needed();
  for (const DWORD given : {size, size + 1, size + 50, DWORD{0xFFFFFFFF}}) {
    Room room(size);
    const Call call = decode(GetParam(), room.at(0), given);
    ASSERT_EQ(call.decoded, TRUE) << given;
    ASSERT_EQ(call.error, ERROR_SUCCESS) << given;
    ASSERT_EQ(call.size, size) << given;
    ASSERT_TRUE(room.isUntouchedAround(0, size)) << given;
  }
}

TEST_P(DecodeBuffers, AtAddressesThatFitNoRecordAreRefused) {
  const DWORD size = needed();
  for (std::size_t offset = 0; offset < 8; ++offset) {
    Room room(size);
    const Call call = decode(GetParam(), room.at(offset), size);
    const bool fits = offset % GetParam().alignment == 0;
    ASSERT_EQ(call.decoded, fits ? TRUE : FALSE) << offset;
    ASSERT_EQ(call.error, fits ? ERROR_SUCCESS : E_INVALIDARG) << offset;
    ASSERT_TRUE(room.isUntouchedAround(offset, fits ? size : 0)) << offset;
  }
}

// Two records of one input differ in their pointers only, by the distance of their buffers.
TEST_P(DecodeBuffers, AtTwoPlacesHoldTheSameRecord) {
  const DWORD size = needed();
  Room room((2 * std::size_t{size}) + 64);
  const std::size_t distance = (std::size_t{size} + 15) / 8 * 8;
  ASSERT_EQ(decode(GetParam(), room.at(0), size).decoded, TRUE);
  ASSERT_EQ(decode(GetParam(), room.at(distance), size).decoded, TRUE);
  const auto start = reinterpret_cast<std::uintptr_t>(room.at(0));
  for (std::size_t offset = 0; offset + 8 <= size; offset += 8) {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    std::memcpy(&first, room.at(offset), 8);
    std::memcpy(&second, room.at(distance + offset), 8);
    const bool isPointer = first >= start && first < start + size;
    ASSERT_EQ(second, isPointer ? first + distance : first) << offset;
  }
}

TEST_P(DecodeBuffers, IgnoreTheSizeWhenItIsAskedFor) {
  const DWORD size = needed();
  for (const DWORD given : {DWORD{1}, size, DWORD{0xFFFFFFFF}}) {
    const Call call = decode(GetParam(), nullptr, given);
    EXPECT_EQ(call.decoded, TRUE);
    EXPECT_EQ(call.size, size);
  }
}

TEST_P(DecodeBuffers, AreLeftAloneByAFailure) {
  Input damaged = GetParam();
  damaged.der.resize(1);
  Room room(64);
  const Call call = decode(damaged, room.at(0), 64);
  EXPECT_EQ(call.decoded, FALSE);
  EXPECT_EQ(call.error, CRYPT_E_ASN1_EOD);
  EXPECT_TRUE(room.isUntouchedAround(0, 0));
}

TEST_P(DecodeBuffers, TakeNoOtherTypesElement) {
  Input other = GetParam();
  other.der = {0x05, 0x00};
  const Call call = decode(other, nullptr, 0);
  EXPECT_EQ(call.decoded, FALSE);
  EXPECT_EQ(call.error, CRYPT_E_ASN1_BADTAG);
}

std::string nameOf(const testing::TestParamInfo<Input>& parameter) {
  return parameter.param.what;
}

INSTANTIATE_TEST_SUITE_P(Types, DecodeBuffers, testing::ValuesIn(inputs()), nameOf);

// Elements nested deeper than anybody means, and lengths that lie.
TEST(DecodeHostile, NestingIsLimited) {
  Bytes der;
  for (int i = 0; i < 10'000; ++i) {
    der.insert(der.end(), {0x24, 0x80});
  }
  DWORD size = 0;
  EXPECT_EQ(CryptDecodeObject(kEncoding,
                              X509_OCTET_STRING,
                              der.data(),
                              static_cast<DWORD>(der.size()),
                              0,
                              nullptr,
                              &size),
            FALSE);
  EXPECT_GE(GetLastError(), CRYPT_E_ASN1_ERROR);
  EXPECT_LE(GetLastError(), CRYPT_E_ASN1_NOEOD);
}

TEST(DecodeHostile, LengthsBeyondTheInputAreRefused) {
  for (const Bytes& der : {Bytes{0x04, 0x7F, 1},
                           Bytes{0x04, 0x81, 0xFF, 1},
                           Bytes{0x04, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, 1},
                           Bytes{0x04, 0x84, 0x7F, 0xFF, 0xFF, 0xFF, 1},
                           Bytes{0x04, 0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1},
                           Bytes{0x04, 0x88, 0x80, 0, 0, 0, 0, 0, 0, 0, 1}}) {
    DWORD size = 0;
    EXPECT_EQ(CryptDecodeObject(kEncoding,
                                X509_OCTET_STRING,
                                der.data(),
                                static_cast<DWORD>(der.size()),
                                0,
                                nullptr,
                                &size),
              FALSE);
    EXPECT_TRUE(GetLastError() == CRYPT_E_ASN1_EOD || GetLastError() == CRYPT_E_ASN1_LARGE)
        << std::hex << GetLastError();
  }
}

}  // namespace
}  // namespace qx::test::decode_buffers_test
