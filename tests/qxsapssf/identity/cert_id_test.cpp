#include "qxsapssf/identity/cert_id.h"

#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scripted_provider/scripted_provider.h"

namespace qx::cert_id_test {
namespace {

using scripted::AllocationFailure;
using scripted::provider;
using ::testing::ElementsAre;

std::int32_t lengthOf(const std::string& text) {
  return static_cast<std::int32_t>(text.size());
}

bool isHex(const std::string& text) {
  return isHexString(text.c_str(), lengthOf(text));
}

TEST(IsHexString, AcceptsDigitsOfEitherCaseAndWhiteSpace) {
  EXPECT_TRUE(isHex("0123456789abcdefABCDEF"));
  EXPECT_TRUE(isHex(" 3F\tA0\n12\r\v\f"));
  EXPECT_TRUE(isHex("3FA"));
  EXPECT_TRUE(isHex("   "));
}

TEST(IsHexString, RefusesAnyOtherCharacter) {
  for (const std::string text : {"3F G0", "CN=a", "0x3F", "3F:A0", "3F\xA0", "-1"}) {
    EXPECT_FALSE(isHex(text)) << text;
  }
  EXPECT_FALSE(isHex(std::string("3F\0A0", 5)));
}

TEST(IsHexString, LooksAtItsLengthOnly) {
  EXPECT_TRUE(isHexString("3Fxx", 2));
  EXPECT_TRUE(isHexString("xx", 0));
  EXPECT_TRUE(isHexString("xx", -5));
}

struct Read {
  DWORD count = 77;
  std::vector<BYTE> bytes = std::vector<BYTE>(32, 0xEE);
};

Read readHex(const std::string& text, std::int32_t length) {
  Read read;
  readFromHexString(text.c_str(), length, read.bytes.data(), read.count);
  if (read.count != 77) {
    read.bytes.resize(read.count);
  }
  return read;
}

TEST(ReadFromHexString, ReadsPairsWithWhiteSpaceBetweenThem) {
  EXPECT_THAT(readHex("3F A0 12", 8).bytes, ElementsAre(0x3F, 0xA0, 0x12));
  EXPECT_THAT(readHex(" \t3fa0\n 9C ", 11).bytes, ElementsAre(0x3F, 0xA0, 0x9C));
  EXPECT_EQ(readHex("", 0).count, 0U);
  EXPECT_EQ(readHex("   ", 3).count, 0U);
}

TEST(ReadFromHexString, OnlyCountsWithoutABuffer) {
  DWORD count = 77;
  readFromHexString("3F A0 12", 8, nullptr, count);
  EXPECT_EQ(count, 3U);
}

TEST(ReadFromHexString, LeavesTheCountAloneAtAnOddDigitOrAStrayCharacter) {
  EXPECT_EQ(readHex("3FA", 3).count, 77U);
  EXPECT_EQ(readHex("3F A 0", 6).count, 77U);
  EXPECT_EQ(readHex("3F G0", 5).count, 77U);
  EXPECT_EQ(readHex("x", 1).count, 77U);
}

TEST(ReadFromHexString, StoresThePairsBeforeTheStrayCharacter) {
  const Read read = readHex("3FA", 3);
  EXPECT_EQ(read.bytes[0], 0x3F);
  EXPECT_EQ(read.bytes[1], 0xEE);
}

TEST(ReadFromHexString, LooksOneCharacterPastItsLengthForTheSecondDigit) {
  EXPECT_THAT(readHex("3FA0", 3).bytes, ElementsAre(0x3F, 0xA0));
  EXPECT_EQ(readHex("3FA ", 3).count, 77U);
}

TEST(ReadFromHexString, StopsAtItsLength) {
  EXPECT_THAT(readHex("3FA012", 4).bytes, ElementsAre(0x3F, 0xA0));
  EXPECT_EQ(readHex("3FA012", -1).count, 0U);
  EXPECT_EQ(readHex("  3F", 2).count, 0U);
}

std::vector<BYTE> bytesOf(const OwnedBytes& hash) {
  return {hash.data(), hash.data() + hash.size()};
}

bool parse(const std::string& text, OwnedBytes& hash) {
  return parse_CertHashID(text.c_str(), lengthOf(text), hash);
}

TEST(ParseCertHashId, ReadsAThumbprint) {
  OwnedBytes hash;
  EXPECT_TRUE(parse("3F A0 12", hash));
  EXPECT_THAT(bytesOf(hash), ElementsAre(0x3F, 0xA0, 0x12));
}

TEST(ParseCertHashId, ReadsAnOddNumberOfDigitsAsAnEmptyHash) {
  OwnedBytes hash;
  EXPECT_TRUE(parse("3FA", hash));
  EXPECT_FALSE(hash);
  EXPECT_EQ(hash.size(), 0U);
}

TEST(ParseCertHashId, ReplacesTheBytesOfThePreviousThumbprint) {
  OwnedBytes hash;
  ASSERT_TRUE(parse("00112233445566778899", hash));
  ASSERT_TRUE(parse("AB", hash));
  EXPECT_THAT(bytesOf(hash), ElementsAre(0xAB));
}

TEST(ParseCertHashId, LeavesTheHashAloneWhenThereIsNothingToRead) {
  OwnedBytes hash;
  ASSERT_TRUE(parse("AB", hash));
  EXPECT_TRUE(parse("  ", hash));
  EXPECT_THAT(bytesOf(hash), ElementsAre(0xAB));
}

TEST(ParseCertHashId, FailsForWantOfMemoryAndSaysHowManyBytesItWanted) {
  provider().reset();
  OwnedBytes hash;
  bool parsed = true;
  {
    const AllocationFailure failure(1);
    parsed = parse_CertHashID("3FA012", 6, hash);
  }
  EXPECT_FALSE(parsed);
  EXPECT_FALSE(hash);
  ASSERT_EQ(provider().trace().size(), 1U);
  EXPECT_EQ(provider().trace()[0].text, "#error#: Failed to allocate buffer of 3 chars\n");
  EXPECT_EQ(provider().trace()[0].function, "parse_CertHashID");
}

TEST(IsBlank, MeansSpacesOnly) {
  EXPECT_TRUE(isBlank(""));
  EXPECT_TRUE(isBlank(" "));
  EXPECT_TRUE(isBlank("    "));
  EXPECT_FALSE(isBlank(" \t"));
  EXPECT_FALSE(isBlank(" a "));
  EXPECT_FALSE(isBlank(std::string_view(" \0", 2)));
}

TEST(IsTime, WantsFourteenDigitsAtTheBeginning) {
  EXPECT_TRUE(isTime("20240131120000My"));
  EXPECT_TRUE(isTime("20240131120000"));
  EXPECT_TRUE(isTime("99999999999999x"));
  EXPECT_FALSE(isTime("2024013112000"));
  EXPECT_FALSE(isTime("2024013112000x"));
  EXPECT_FALSE(isTime(" 2024013112000"));
  EXPECT_FALSE(isTime(""));
}

}  // namespace
}  // namespace qx::cert_id_test
