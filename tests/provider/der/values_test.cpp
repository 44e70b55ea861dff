#include "provider/der/values.h"

#include <cstdint>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "provider/openssl/owned.h"
#include "tests/provider/der/hex.h"

namespace qx::der::values_test {
namespace {

using test::fromHex;
using test::toHex;

template <class Read>
auto read(std::string_view hex, const Read& readValue) {
  const auto input = fromHex(hex);
  return readValue(*Reader(input).next());
}

auto unsignedOf(std::string_view hex) {
  return read(hex, [](const Element& element) { return readUnsigned(element); });
}

TEST(DerValues, ReadUnsignedIntegers) {
  EXPECT_EQ(*unsignedOf("02 01 00"), 0U);
  EXPECT_EQ(*unsignedOf("02 01 7f"), 127U);
  EXPECT_EQ(*unsignedOf("02 02 0080"), 128U);
  EXPECT_EQ(*unsignedOf("02 09 00ffffffffffffffff"), UINT64_MAX);
}

TEST(DerValues, RefuseIntegersThatAreNegativeEmptyOrTooLarge) {
  EXPECT_EQ(unsignedOf("02 01 80").error(), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(unsignedOf("02 00").error(), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(unsignedOf("02 09 010000000000000000").error(), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(unsignedOf("02 0a 00010000000000000000").error(), CRYPT_E_ASN1_LARGE);
}

TEST(DerValues, ReadTheNextElementAsAnUnsignedInteger) {
  const auto input = fromHex("020105 0500");
  Reader reader(input);
  EXPECT_EQ(*readUnsigned(reader), 5U);
  EXPECT_EQ(readUnsigned(reader).error(), CRYPT_E_ASN1_BADTAG);
}

TEST(DerValues, ReadTheNextElementAsAnIdentifierOrAnAlgorithm) {
  const auto input = fromHex("06032a0304 300706032a03040500 0201ff");
  Reader reader(input);
  EXPECT_EQ(*readOid(reader), "1.2.3.4");
  EXPECT_EQ(readAlgorithm(reader)->oid, "1.2.3.4");
  EXPECT_EQ(readOid(reader).error(), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(readAlgorithm(reader).error(), CRYPT_E_ASN1_BADTAG);
}

TEST(DerValues, ReadBooleans) {
  const auto readIt = [](const Element& element) { return readBoolean(element); };
  EXPECT_TRUE(*read("0101ff", readIt));
  EXPECT_TRUE(*read("010101", readIt));
  EXPECT_FALSE(*read("010100", readIt));
  EXPECT_EQ(read("0100", readIt).error(), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(read("01020000", readIt).error(), CRYPT_E_ASN1_CORRUPT);
}

TEST(DerValues, ReadBitStrings) {
  const auto input = fromHex("03 03 04 a5f0");
  const auto bits = readBitString(*Reader(input).next());
  ASSERT_TRUE(bits);
  EXPECT_EQ(bits->unusedBits, 4U);
  EXPECT_EQ(toHex(bits->octets), "a5f0");
  const auto readIt = [](const Element& element) { return readBitString(element); };
  EXPECT_TRUE(read("03 01 00", readIt));
  for (const char* hex : {"03 00", "03 01 01", "03 02 08ff", "04 02 0000", "23 04 03020000"}) {
    EXPECT_EQ(read(hex, readIt).error(), CRYPT_E_ASN1_CORRUPT) << hex;
  }
}

TEST(DerValues, ReverseIntegersForTheInterface) {
  EXPECT_EQ(toHex(littleEndian(fromHex("010203"))), "030201");
  EXPECT_TRUE(littleEndian({}).empty());
}

TEST(DerValues, ReadAlgorithmsWithAndWithoutParameters) {
  const auto input = fromHex("30 0d 06 09 608648016503040201 05 00");
  const auto algorithm = readAlgorithm(*Reader(input).next());
  ASSERT_TRUE(algorithm);
  EXPECT_EQ(algorithm->oid, "2.16.840.1.101.3.4.2.1");
  EXPECT_EQ(toHex(algorithm->parameters), "0500");
  const auto bare = fromHex("30 04 06 02 2a03");
  EXPECT_TRUE(readAlgorithm(*Reader(bare).next())->parameters.empty());
}

TEST(DerValues, RefuseMalformedAlgorithms) {
  const auto readIt = [](const Element& element) { return readAlgorithm(element); };
  EXPECT_EQ(read("30 00", readIt).error(), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(read("30 02 0500", readIt).error(), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(read("30 02 0600", readIt).error(), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(read("30 05 06 01 2a 05 01", readIt).error(), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(read("30 07 06 01 2a 0500 0500", readIt).error(), CRYPT_E_ASN1_CORRUPT);
}

Result<std::uint64_t> ticksOf(std::uint8_t identifier, std::string_view text) {
  std::vector<std::uint8_t> encoded{identifier, static_cast<std::uint8_t>(text.size())};
  encoded.insert(encoded.end(), text.begin(), text.end());
  const auto time = readTime(*Reader(encoded).next());
  if (!time) {
    return time.failure();
  }
  return (std::uint64_t{time->dwHighDateTime} << 32U) | time->dwLowDateTime;
}

// libcrypto's idea of the same time.
std::uint64_t expectedTicks(int type, const std::string& text) {
  const Asn1TimePtr time(ASN1_TIME_new());
  std::tm parts{};
  EXPECT_EQ(ASN1_TIME_set_string_X509(time.get(), text.c_str()), 1) << text;
  EXPECT_EQ(ASN1_STRING_type(time.get()), type) << text;
  EXPECT_EQ(ASN1_TIME_to_tm(time.get(), &parts), 1) << text;
  return static_cast<std::uint64_t>(timegm(&parts) + 11'644'473'600) * 10'000'000;
}

TEST(DerTime, AgreesWithLibcrypto) {
  for (const char* text : {"700101000000Z",
                           "500101000000Z",
                           "491231235959Z",
                           "000229120000Z",
                           "240229235959Z",
                           "991231235959Z"}) {
    const auto ticks = ticksOf(kUtcTime, text);
    ASSERT_TRUE(ticks) << text;
    EXPECT_EQ(*ticks, expectedTicks(V_ASN1_UTCTIME, text)) << text;
  }
  for (const char* text : {"20500101000000Z", "21000228235959Z", "99991231235959Z"}) {
    const auto ticks = ticksOf(kGeneralizedTime, text);
    ASSERT_TRUE(ticks) << text;
    EXPECT_EQ(*ticks, expectedTicks(V_ASN1_GENERALIZEDTIME, text)) << text;
  }
}

TEST(DerTime, BeginsWithTheYear1601) {
  EXPECT_EQ(*ticksOf(kGeneralizedTime, "16010101000000Z"), 0U);
  EXPECT_EQ(*ticksOf(kGeneralizedTime, "16010101000000.0000001Z"), 1U);
  EXPECT_FALSE(ticksOf(kGeneralizedTime, "16001231235959Z"));
}

TEST(DerTime, KeepsFractionsAndDoesWithoutSeconds) {
  const std::uint64_t base = *ticksOf(kGeneralizedTime, "20240131120000Z");
  EXPECT_EQ(*ticksOf(kGeneralizedTime, "20240131120000.5Z"), base + 5'000'000);
  EXPECT_EQ(*ticksOf(kGeneralizedTime, "20240131120000,25Z"), base + 2'500'000);
  EXPECT_EQ(*ticksOf(kGeneralizedTime, "20240131120000.123456789Z"), base + 1'234'567);
  EXPECT_EQ(*ticksOf(kGeneralizedTime, "202401311200Z"), base);
  EXPECT_EQ(*ticksOf(kGeneralizedTime, "20240131120000"), base);
  EXPECT_EQ(*ticksOf(kUtcTime, "2401311200Z"), base);
}

TEST(DerTime, AddsTheOffsetOfAZone) {
  EXPECT_EQ(*ticksOf(kUtcTime, "240131161000+0100"), *ticksOf(kUtcTime, "240131171000Z"));
  EXPECT_EQ(*ticksOf(kUtcTime, "240131161000-0130"), *ticksOf(kUtcTime, "240131144000Z"));
}

TEST(DerTime, RefusesWhatIsNoTime) {
  for (const char* text : {"",
                           "Z",
                           "240231120000Z",
                           "230229120000Z",
                           "240431120000Z",
                           "241301000000Z",
                           "240001000000Z",
                           "240100000000Z",
                           "240101240000Z",
                           "240101006000Z",
                           "240101000060Z",
                           "240101000000ZZ",
                           "240101000000.5Z",
                           "240101000000+01",
                           "240101000000+2400",
                           "24010100000 Z",
                           "x40101000000Z"}) {
    EXPECT_EQ(ticksOf(kUtcTime, text).error(), CRYPT_E_ASN1_CORRUPT) << text;
  }
  EXPECT_EQ(ticksOf(kGeneralizedTime, "20240101000000.Z").error(), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(ticksOf(kGeneralizedTime, "19000229000000Z").error(), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(ticksOf(kOctetString, "240101000000Z").error(), CRYPT_E_ASN1_BADTAG);
}

}  // namespace
}  // namespace qx::der::values_test
