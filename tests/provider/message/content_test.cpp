#include "provider/message/content.h"

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx::content_test {
namespace {

using test::bytesOfText;
using test::fromHex;
using test::toHex;

const std::vector<HashAlgorithm> kHashes = {HashAlgorithm::Sha1, HashAlgorithm::Gost94};

std::string hashText(MessageContent& content, HashAlgorithm algorithm = HashAlgorithm::Sha1) {
  const Result<HashValue> hash = content.hash(algorithm);
  return hash ? toHex(hash->bytes()) : "error";
}

std::string sha1(std::string_view text) {
  return toHex(hashOf(HashAlgorithm::Sha1, bytesOfText(text)).bytes());
}

/// Whether content could pass for attributes; the same answer in one piece and in parts of any size.
bool mayBeAttributes(const std::vector<std::uint8_t>& octets) {
  MessageContent whole;
  whole.setOctets(octets);
  for (const std::size_t step : {1U, 3U, 40U}) {
    MessageContent parts;
    for (std::size_t at = 0; at < octets.size(); at += step) {
      const der::Bytes part = der::Bytes(octets).subspan(at, std::min(step, octets.size() - at));
      EXPECT_TRUE(parts.addPart(part, /*final=*/false, kHashes));
    }
    EXPECT_TRUE(parts.addPart({}, /*final=*/true, kHashes));
    EXPECT_EQ(parts.mayBeAttributes(), whole.mayBeAttributes()) << toHex(octets);
  }
  return whole.mayBeAttributes();
}

TEST(MessageContent, IsHashedWhereItLies) {
  std::vector<std::uint8_t> octets = bytesOfText("abc");
  MessageContent content;
  content.setOctets(octets);
  octets[0] = 'x';
  EXPECT_EQ(hashText(content), sha1("xbc")) << "borrowed";
  octets[0] = 'y';
  EXPECT_EQ(hashText(content), sha1("xbc")) << "hashed once";
}

TEST(MessageContent, IsHashedWithAnyAlgorithmWhileItIsThere) {
  const auto octets = bytesOfText("abc");
  MessageContent content;
  content.setOctets(octets);
  for (const HashAlgorithm algorithm : {HashAlgorithm::Md2, HashAlgorithm::Streebog512}) {
    EXPECT_EQ(hashText(content, algorithm), toHex(hashOf(algorithm, octets).bytes()));
  }
}

TEST(MessageContent, GivesTheOctetsOfAString) {
  const auto input = fromHex("2480 0402 6162 2480 0401 63 0000 0400 0000");
  MessageContent content;
  ASSERT_TRUE(content.setString(*der::Reader(input).next()));
  EXPECT_EQ(content.size(), 3U);
  std::vector<std::uint8_t> octets(3);
  content.writeTo(octets.data());
  EXPECT_EQ(toHex(octets), "616263");
  EXPECT_EQ(hashText(content), sha1("abc"));
}

TEST(MessageContent, RefusesAStringThatIsBrokenInside) {
  const auto input = fromHex("2404 0402 6162 00");
  MessageContent good;
  EXPECT_TRUE(good.setString(*der::Reader(input).next()));
  const auto broken = fromHex("2403 0402 61");
  MessageContent content;
  EXPECT_EQ(content.setString(*der::Reader(broken).next()).error(), CRYPT_E_ASN1_EOD);
}

TEST(MessageContent, HashesPartsAsTheyCome) {
  MessageContent content;
  for (const char* text : {"a", "", "bc"}) {
    auto part = bytesOfText(text);
    ASSERT_TRUE(content.addPart(part, /*final=*/false, kHashes));
    std::ranges::fill(part, std::uint8_t{0});
  }
  EXPECT_FALSE(content.isComplete());
  ASSERT_TRUE(content.addPart({}, /*final=*/true, kHashes));
  EXPECT_TRUE(content.isComplete());
  EXPECT_EQ(hashText(content), sha1("abc"));
  EXPECT_EQ(content.hash(HashAlgorithm::Sha256).error(), NTE_BAD_HASH_STATE) << "was not asked for";
}

TEST(MessageContent, OfOnePartIsKept) {
  const auto octets = bytesOfText("abc");
  MessageContent content;
  ASSERT_TRUE(content.addPart(octets, /*final=*/true, {}));
  EXPECT_EQ(content.size(), 3U);
  EXPECT_EQ(hashText(content), sha1("abc"));
}

TEST(MessageContent, IsSpoiltWhenItsHashIsAskedForTooEarly) {
  const auto octets = bytesOfText("abc");
  MessageContent content;
  EXPECT_EQ(content.hash(HashAlgorithm::Sha1).error(), NTE_BAD_HASH_STATE);
  EXPECT_EQ(content.addPart(octets, /*final=*/true, kHashes).error(), NTE_BAD_HASH_STATE);
}

TEST(MessageContent, KnowsASetOfAttributes) {
  EXPECT_TRUE(
      mayBeAttributes(fromHex("311a 3018 06092a864886f70d010903 310b 06092a864886f70d010701")));
  std::vector<std::uint8_t> longer = fromHex("318201f4 308201f0 0603 2a0304");
  longer.resize(504);
  EXPECT_TRUE(mayBeAttributes(longer)) << "its head and its size tell";
}

TEST(MessageContent, DoesNotTakeOtherContentForAttributes) {
  for (const char* hex : {"",
                          "31",
                          "3100",
                          "3102 0500",
                          "3104 3002 0500",
                          "3105 3003 060100 00",
                          "3080 3003 060100 0000",
                          "3003 060100",
                          "310500"}) {
    EXPECT_FALSE(mayBeAttributes(fromHex(hex))) << hex;
  }
  // Text that begins with the same octets, of any length.
  for (std::size_t length = 1; length < 200; ++length) {
    EXPECT_FALSE(mayBeAttributes(bytesOfText("1" + std::string(length, '0')))) << length;
  }
}

}  // namespace
}  // namespace qx::content_test
