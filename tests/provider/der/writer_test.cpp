#include "provider/der/writer.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/openssl/owned.h"
#include "tests/provider/der/hex.h"

namespace qx::der::writer_test {
namespace {

using test::fromHex;
using test::toHex;

std::string hexOf(const Encoding& encoding) {
  EXPECT_EQ(encoding.bytes().size(), encoding.size());
  return toHex(encoding.bytes());
}

TEST(DerWriter, WritesShortAndLongLengths) {
  for (const std::size_t size : {0U, 1U, 127U, 128U, 255U, 256U, 65'535U, 65'536U}) {
    const std::vector<std::uint8_t> octets(size, 0x5A);
    const auto bytes = octetString(octets).bytes();
    // libcrypto writes the same.
    EXPECT_EQ(bytes.size(),
              static_cast<std::size_t>(ASN1_object_size(
                  /*constructed=*/0, static_cast<int>(size), V_ASN1_OCTET_STRING)));
    const auto element = readWhole(bytes, kOctetString);
    ASSERT_TRUE(element) << size;
    EXPECT_TRUE(
        std::equal(octets.begin(), octets.end(), element->content.begin(), element->content.end()));
  }
}

TEST(DerWriter, CopiesBorrowedBytesOnlyWhenItWrites) {
  std::vector<std::uint8_t> content{1, 2, 3};
  const Encoding encoding = octetString(content);
  content[0] = 9;
  EXPECT_EQ(hexOf(encoding), "0403090203");
}

TEST(DerWriter, KeepsItsOwnBytesWhenItIsMoved) {
  Encoding first = Encoding::owned({1, 2, 3});
  first.append(Encoding::owned({4}));
  Encoding second = std::move(first);
  std::vector<Encoding> many;
  many.push_back(std::move(second));
  many.reserve(many.capacity() + 1);
  EXPECT_EQ(hexOf(wrap(kSequence, std::move(many.front()))), "300401020304");
}

TEST(DerWriter, JoinsPiecesInOrder) {
  EXPECT_EQ(hexOf(sequence(integer(1), null(), wrap(contextConstructed(0), integer(2)))),
            "300a0201010500a003020102");
}

TEST(DerWriter, WritesIntegersAsShortAsPossible) {
  EXPECT_EQ(hexOf(integer(0)), "020100");
  EXPECT_EQ(hexOf(integer(127)), "02017f");
  EXPECT_EQ(hexOf(integer(128)), "02020080");
  EXPECT_EQ(hexOf(integer(256)), "02020100");
  EXPECT_EQ(hexOf(integer(UINT64_MAX)), "020900ffffffffffffffff");
}

TEST(DerWriter, TurnsSerialNumbersRoundAndDropsRedundantSignOctets) {
  const std::pair<const char*, const char*> cases[] = {
      {"010203", "0203030201"},
      {"80", "020180"},
      {"8000", "02020080"},
      {"800000", "02020080"},
      {"7f00", "02017f"},
      {"88ff", "020188"},
      {"88ffff", "020188"},
      {"7fff", "0202ff7f"},
      {"00", "020100"},
      {"0000", "020100"},
      {"ff", "0201ff"},
      {"ffff", "0201ff"},
      {"", "020100"},
  };
  for (const auto& [littleEndian, expected] : cases) {
    const auto octets = fromHex(littleEndian);
    EXPECT_EQ(hexOf(integerFromLittleEndian(octets)), expected) << littleEndian;
  }
}

TEST(DerWriter, SortsASetOfByItsEncodedElements) {
  std::vector<Encoding> elements;
  elements.push_back(Encoding::owned(fromHex("020203e8")));
  elements.push_back(Encoding::owned(fromHex("020102")));
  elements.push_back(Encoding::owned(fromHex("0500")));
  elements.push_back(Encoding::owned(fromHex("020101")));
  EXPECT_EQ(hexOf(setOf(elements)), "310c020101020102020203e80500");
  EXPECT_EQ(hexOf(setOf(elements, contextConstructed(1))), "a10c020101020102020203e80500");
  EXPECT_EQ(hexOf(setOf({})), "3100");
}

TEST(DerWriter, WritesAlgorithms) {
  EXPECT_EQ(hexOf(*algorithm("2.16.840.1.101.3.4.2.1", kNullParameters)),
            "300d06096086480165030402010500");
  EXPECT_EQ(hexOf(*algorithm("1.2.643.7.1.1.1.1", {})), "300a06082a85030701010101");
  EXPECT_EQ(algorithm("nonsense", {}).error(), CRYPT_E_OID_FORMAT);
  EXPECT_EQ(oid("1").error(), CRYPT_E_OID_FORMAT);
}

// What libcrypto writes for the seconds since 1970.
TEST(DerWriter, WritesTimesAsLibcryptoDoes) {
  for (const std::int64_t seconds : {std::int64_t{0},
                                     std::int64_t{951'825'599},
                                     std::int64_t{951'782'400},
                                     std::int64_t{-631'152'000},
                                     std::int64_t{-631'152'001},
                                     std::int64_t{2'524'607'999},
                                     std::int64_t{2'524'608'000},
                                     std::int64_t{4'102'444'799}}) {
    const OpensslOwner<ASN1_TIME, ASN1_TIME_free> theirs(ASN1_TIME_set(nullptr, seconds));
    unsigned char* der = nullptr;
    const int length = i2d_ASN1_TIME(theirs.get(), &der);
    ASSERT_GT(length, 0);
    const OpensslOwner<void, freeOpensslMemory> owned(der);
    EXPECT_EQ(hexOf(time(std::chrono::sys_seconds(std::chrono::seconds(seconds)))),
              toHex({der, static_cast<std::size_t>(length)}))
        << seconds;
  }
}

TEST(DerWriter, ShowsItsPiecesWithoutCopying) {
  const std::vector<std::uint8_t> content(1000, 7);
  std::size_t seen = 0;
  bool inPlace = false;
  octetString(content).visit([&](Bytes piece) {
    seen += piece.size();
    inPlace = inPlace || piece.data() == content.data();
  });
  EXPECT_EQ(seen, 1004U);
  EXPECT_TRUE(inPlace);
}

}  // namespace
}  // namespace qx::der::writer_test
