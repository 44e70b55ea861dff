#include "provider/der/reader.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx::der::reader_test {
namespace {

using test::fromHex;
using test::toHex;

DWORD errorOf(std::string_view hex) {
  const auto input = fromHex(hex);
  Reader reader(input);
  const Result<Element> element = reader.next();
  return element ? ERROR_SUCCESS : element.error();
}

// `depth` elements of indefinite length around nothing, each closed.
std::vector<std::uint8_t> nestedIndefinite(std::size_t depth, std::uint8_t identifier = 0x30) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < depth; ++i) {
    bytes.insert(bytes.end(), {identifier, 0x80});
  }
  bytes.insert(bytes.end(), 2 * depth, 0);
  return bytes;
}

std::string octetsOf(std::string_view hex) {
  const auto input = fromHex(hex);
  Reader reader(input);
  const Result<Element> element = reader.next();
  const auto octets = element ? readOctets(*element) : element.failure();
  return octets ? toHex(*octets) : "error " + std::to_string(octets.error());
}

TEST(DerReader, GivesHeaderContentAndWholeOfAnElement) {
  const auto input = fromHex("30 03 020105 0500");
  Reader reader(input);
  const auto element = reader.next();
  ASSERT_TRUE(element);
  EXPECT_EQ(element->identifier, 0x30);
  EXPECT_EQ(element->number, 0x10U);
  EXPECT_TRUE(element->constructed());
  EXPECT_FALSE(element->indefinite);
  EXPECT_EQ(toHex(element->whole), "3003020105");
  EXPECT_EQ(toHex(element->content), "020105");
  EXPECT_EQ(element->content.data(), input.data() + 2) << "nothing is copied";
  EXPECT_EQ(toHex(reader.rest()), "0500");
}

TEST(DerReader, WalksElementsInOrderUntilTheEnd) {
  const auto input = fromHex("0500 020107 0101ff");
  Reader reader(input);
  EXPECT_EQ(reader.peek(), kNull);
  EXPECT_TRUE(reader.next(kNull));
  EXPECT_TRUE(reader.next(kInteger));
  EXPECT_FALSE(reader.expectEnd());
  EXPECT_TRUE(reader.next(kBoolean));
  EXPECT_TRUE(reader.atEnd());
  EXPECT_EQ(reader.peek(), std::nullopt);
  EXPECT_TRUE(reader.expectEnd());
  EXPECT_EQ(reader.next().error(), CRYPT_E_ASN1_EOD);
}

TEST(DerReader, StaysWhereItStoodAfterAnError) {
  const auto input = fromHex("020105");
  Reader reader(input);
  EXPECT_EQ(reader.next(kSequence).error(), CRYPT_E_ASN1_BADTAG);
  EXPECT_TRUE(reader.next(kInteger));
}

TEST(DerReader, TakesAnOptionalElementOnlyWhenItIsThere) {
  const auto input = fromHex("a000 0500");
  Reader reader(input);
  const auto missing = reader.optional(contextConstructed(1));
  ASSERT_TRUE(missing);
  EXPECT_FALSE(*missing);
  const auto found = reader.optional(contextConstructed(0));
  ASSERT_TRUE(found);
  ASSERT_TRUE(*found);
  EXPECT_EQ(toHex(found->value().whole), "a000");
  EXPECT_EQ(toHex(reader.rest()), "0500");
}

TEST(DerReader, ReportsABrokenOptionalElement) {
  const auto input = fromHex("a005 05");
  Reader reader(input);
  EXPECT_EQ(reader.optional(contextConstructed(0)).error(), CRYPT_E_ASN1_EOD);
  EXPECT_FALSE(reader.optional(contextConstructed(0)));
}

TEST(DerReader, ReadsLongLengthsAlsoWhenPadded) {
  EXPECT_EQ(errorOf("04 81 01 aa"), ERROR_SUCCESS);
  EXPECT_EQ(errorOf("04 84 00000001 aa"), ERROR_SUCCESS);
  EXPECT_EQ(errorOf("04 8a 00000000000000000001 aa"), ERROR_SUCCESS);
}

TEST(DerReader, RefusesALengthThatRunsPastTheEnd) {
  EXPECT_EQ(errorOf("04 02 aa"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("04 84 7fffffff aa"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("04 84 ffffffff aa"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("04 88 7fffffffffffffff aa"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("04 88 ffffffffffffffff aa"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("04 88 fffffffffffffff6 aa"), CRYPT_E_ASN1_EOD);
}

TEST(DerReader, RefusesALengthThatNoSizeCanHold) {
  EXPECT_EQ(errorOf("04 89 010000000000000000 aa"), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(errorOf("04 ff " + std::string(254, 'f')), CRYPT_E_ASN1_LARGE);
}

TEST(DerReader, RefusesEveryTruncation) {
  const auto whole = fromHex("30 80 04 81 80" + std::string(256, '4') + "7f8101 02 0102 0000");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    Reader reader(Bytes(whole).first(length));
    EXPECT_FALSE(reader.next()) << length;
  }
  Reader reader(whole);
  EXPECT_TRUE(reader.next());
}

TEST(DerReader, ReadsHighTagNumbers) {
  const auto input = fromHex("bf 81 7f 00  9f 8f ff ff ff 7f 00");
  Reader reader(input);
  const auto first = reader.next();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->number, 255U);
  EXPECT_EQ(first->identifier, 0xBF);
  const auto second = reader.next();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->number, 0xFFFFFFFFU);
}

TEST(DerReader, RefusesTagNumbersAbove32Bits) {
  EXPECT_EQ(errorOf("9f 90 80 80 80 00 00"), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(errorOf("9f ff ff ff ff ff ff 7f 00"), CRYPT_E_ASN1_LARGE);
}

TEST(DerReader, ReadsAnIndefiniteLength) {
  const auto input = fromHex("30 80 020101 30 80 0500 0000 0000 ffff");
  Reader reader(input);
  const auto element = reader.next();
  ASSERT_TRUE(element);
  EXPECT_TRUE(element->indefinite);
  EXPECT_EQ(toHex(element->content), "020101308005000000");
  EXPECT_EQ(toHex(element->whole), "30800201013080050000000000");
  EXPECT_EQ(toHex(reader.rest()), "ffff");
}

TEST(DerReader, DoesNotTakeZerosInADefiniteElementForTheEnd) {
  const auto input = fromHex("24 80 0404 00000000 0000");
  Reader reader(input);
  const auto element = reader.next();
  ASSERT_TRUE(element);
  EXPECT_EQ(toHex(element->content), "040400000000");
}

TEST(DerReader, RefusesAnIndefiniteLengthOfAPrimitiveElement) {
  EXPECT_EQ(errorOf("04 80 aa 0000"), CRYPT_E_ASN1_CORRUPT);
}

TEST(DerReader, RefusesAnEndMarkerThatEndsNothing) {
  EXPECT_EQ(errorOf("0000"), CRYPT_E_ASN1_CORRUPT);
}

TEST(DerReader, RefusesAnIndefiniteLengthThatNeverEnds) {
  EXPECT_EQ(errorOf("30 80"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("30 80 0500"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("30 80 0500 00"), CRYPT_E_ASN1_EOD);
}

TEST(DerReader, LimitsTheNestingOfIndefiniteLengths) {
  const auto allowed = nestedIndefinite(kMaxDepth);
  EXPECT_TRUE(Reader(allowed).next());
  for (const std::size_t depth : {std::size_t{kMaxDepth} + 1, std::size_t{10'000}}) {
    const auto refused = nestedIndefinite(depth);
    EXPECT_EQ(Reader(refused).next().error(), CRYPT_E_ASN1_LARGE) << depth;
  }
}

TEST(DerReader, ReadsAHeaderWithoutItsContent) {
  const auto input = fromHex("30 82 1000 06");
  const auto header = readHeader(input);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->identifier, kSequence);
  EXPECT_EQ(header->size, 4U);
  EXPECT_EQ(header->contentSize, 0x1000U);
  EXPECT_EQ(readHeader(Bytes(input).first(3)).error(), CRYPT_E_ASN1_EOD);
}

TEST(DerReader, ReadsAWholeInputAndNothingBehindIt) {
  const auto input = fromHex("0500 00");
  EXPECT_TRUE(readWhole(Bytes(input).first(2), kNull));
  EXPECT_EQ(readWhole(input, kNull).error(), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(readWhole(Bytes(input).first(2), kInteger).error(), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(readWhole({}, kNull).error(), CRYPT_E_ASN1_EOD);
}

TEST(DerOctetString, GivesThePrimitiveFormInPlace) {
  const auto input = fromHex("04 03 010203");
  OctetStringReader reader(*Reader(input).next());
  const auto octets = reader.next();
  ASSERT_TRUE(octets && *octets);
  EXPECT_EQ(octets->value().data(), input.data() + 2);
  const auto end = reader.next();
  ASSERT_TRUE(end);
  EXPECT_FALSE(*end);
}

TEST(DerOctetString, JoinsTheSegmentsOfTheConstructedForm) {
  EXPECT_EQ(octetsOf("24 80 0402 0102 0400 0401 03 0000"), "010203");
  EXPECT_EQ(octetsOf("24 08 0402 0102 2402 0400"), "0102");
  EXPECT_EQ(octetsOf("24 0a 2480 0402 aabb 0000 0400"), "aabb");
  EXPECT_EQ(octetsOf("24 00"), "");
}

TEST(DerOctetString, ReadsAStringUnderAContextTag) {
  const auto input = fromHex("a0 80 0401 01 0401 02 0000");
  const auto element = *Reader(input).next();
  EXPECT_EQ(toHex(*readOctets(element, contextTag(0))), "0102");
  const auto primitive = fromHex("80 02 0304");
  EXPECT_EQ(toHex(*readOctets(*Reader(primitive).next(), contextTag(0))), "0304");
  EXPECT_EQ(readOctets(element).error(), CRYPT_E_ASN1_BADTAG);
}

TEST(DerOctetString, RefusesSegmentsOfAnotherType) {
  EXPECT_EQ(octetsOf("24 03 020101"), "error " + std::to_string(CRYPT_E_ASN1_BADTAG));
  EXPECT_EQ(octetsOf("24 03 800101"), "error " + std::to_string(CRYPT_E_ASN1_BADTAG));
  EXPECT_EQ(octetsOf("05 00"), "error " + std::to_string(CRYPT_E_ASN1_BADTAG));
}

TEST(DerOctetString, RefusesASegmentThatRunsPastItsParent) {
  EXPECT_EQ(octetsOf("24 03 0402 01"), "error " + std::to_string(CRYPT_E_ASN1_EOD));
}

// Definite lengths: only the descent into the string counts these levels.
std::vector<std::uint8_t> nestedDefinite(std::size_t depth) {
  std::vector<std::uint8_t> bytes{0x04, 0x01, 0xAA};
  for (std::size_t i = 0; i < depth; ++i) {
    std::vector<std::uint8_t> outer{0x24, 0x83};
    for (const unsigned shift : {16U, 8U, 0U}) {
      outer.push_back(static_cast<std::uint8_t>(bytes.size() >> shift));
    }
    outer.insert(outer.end(), bytes.begin(), bytes.end());
    bytes = std::move(outer);
  }
  return bytes;
}

TEST(DerOctetString, LimitsItsNesting) {
  const auto allowed = nestedDefinite(kMaxDepth);
  EXPECT_TRUE(readOctets(*Reader(allowed).next()));
  for (const std::size_t depth : {std::size_t{kMaxDepth} + 1, std::size_t{2'000}}) {
    const auto refused = nestedDefinite(depth);
    EXPECT_EQ(readOctets(*Reader(refused).next()).error(), CRYPT_E_ASN1_LARGE) << depth;
  }
}

}  // namespace
}  // namespace qx::der::reader_test
