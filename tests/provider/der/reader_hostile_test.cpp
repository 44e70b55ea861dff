#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/err.h>

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/der/large_memory.h"

// What the reader does with what nobody should have written.

namespace qx::der::reader_hostile_test {
namespace {

using test::fromHex;
using test::LargeMemory;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

// A copy on the heap that ends where the input ends, so that a step beyond it is seen by the sanitizer.
class Exact {
 public:
  explicit Exact(Bytes bytes) : size_(bytes.size()), copy_(new std::uint8_t[bytes.size()]) {
    std::ranges::copy(bytes, copy_.get());
  }

  Bytes bytes() const { return {copy_.get(), size_}; }

 private:
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> copy_;
};

void readAsEveryValue(const Element& element) {
  (void)readOctets(element);
  (void)readUnsigned(element);
  (void)readOid(element);
  (void)readTime(element);
  (void)readBitString(element);
  (void)readBoolean(element);
}

// Reads everything there is to read, also inside elements; how many elements that were.
std::size_t walk(Bytes input) {
  std::size_t count = 0;
  std::vector<Reader> open{Reader(input)};
  while (!open.empty()) {
    const std::size_t before = open.back().rest().size();
    const Result<Element> element = open.back().next();
    const std::size_t left = open.back().rest().size();
    if (!element) {
      EXPECT_EQ(left, before) << "an error moves nothing";
      open.pop_back();
      continue;
    }
    EXPECT_LT(left, before) << "each step leads on";
    EXPECT_GE(element->whole.size(), element->content.size() + 2);
    ++count;
    readAsEveryValue(*element);
    if (element->constructed()) {
      open.emplace_back(element->content);
    }
  }
  return count;
}

// Every kind of tag, length and string that the reader tells apart.
const Octets kDocument = fromHex(
    "30 80"
    "  020105 0101ff 0500 06032a0304 0302040f 170d 3234303133313132303030305a"
    "  24 80 0402 0102 2404 0402 0304 0000"
    "  a1 03 020107 bf8101 02 0500"
    "  30 81 06 0404 00000000"
    "0000");

TEST(DerHostile, DocumentIsReadWhole) {
  EXPECT_EQ(walk(kDocument), 17U);
}

TEST(DerHostile, NoCutDocumentIsReadPastItsEnd) {
  for (std::size_t length = 0; length < kDocument.size(); ++length) {
    const Exact cut(Bytes(kDocument).first(length));
    EXPECT_FALSE(Reader(cut.bytes()).next()) << length;
    EXPECT_EQ(walk(cut.bytes()), 0U);
  }
}

TEST(DerHostile, NoFlippedBitLeadsPastTheEnd) {
  for (std::size_t bit = 0; bit < kDocument.size() * 8; ++bit) {
    Octets flipped = kDocument;
    flipped[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    const Exact exact(flipped);
    EXPECT_LE(walk(exact.bytes()), flipped.size() / 2) << bit;
  }
}

TEST(DerHostile, NoOctetLeadsPastTheEndWhateverItIs) {
  for (std::size_t at = 0; at < kDocument.size(); ++at) {
    for (unsigned value = 0; value < 256; ++value) {
      Octets changed = kDocument;
      changed[at] = static_cast<std::uint8_t>(value);
      const Exact exact(changed);
      EXPECT_LE(walk(exact.bytes()), changed.size() / 2) << at << ' ' << value;
    }
  }
}

constexpr std::uint8_t kStringOfParts = kOctetString | kConstructed;

struct Lie {
  const char* length;
  DWORD error;
};

// Each stands where a length of one octet should be, before three octets of content.
const Lie kLies[] = {
    {.length = "04", .error = CRYPT_E_ASN1_EOD},
    {.length = "7f", .error = CRYPT_E_ASN1_EOD},
    {.length = "80", .error = CRYPT_E_ASN1_CORRUPT},
    {.length = "8104", .error = CRYPT_E_ASN1_EOD},
    {.length = "81ff", .error = CRYPT_E_ASN1_EOD},
    {.length = "82ffff", .error = CRYPT_E_ASN1_EOD},
    {.length = "847fffffff", .error = CRYPT_E_ASN1_EOD},
    {.length = "8480000000", .error = CRYPT_E_ASN1_EOD},
    {.length = "84ffffffff", .error = CRYPT_E_ASN1_EOD},
    {.length = "850100000003", .error = CRYPT_E_ASN1_EOD},
    {.length = "887fffffffffffffff", .error = CRYPT_E_ASN1_EOD},
    {.length = "888000000000000003", .error = CRYPT_E_ASN1_EOD},
    {.length = "88ffffffffffffffff", .error = CRYPT_E_ASN1_EOD},
    {.length = "88fffffffffffffffc", .error = CRYPT_E_ASN1_EOD},
    {.length = "89010000000000000003", .error = CRYPT_E_ASN1_LARGE},
    {.length = "ff", .error = CRYPT_E_ASN1_EOD},
};

TEST(DerHostile, NoLengthIsBelieved) {
  for (const Lie& lie : kLies) {
    Octets input = fromHex(std::string("04") + lie.length);
    input.insert(input.end(), {0xAA, 0xAA, 0xAA});
    const Exact exact(input);
    EXPECT_EQ(Reader(exact.bytes()).next().error(), lie.error) << lie.length;
  }
}

TEST(DerHostile, NoLengthIsBelievedInsideOthers) {
  for (const Lie& lie : kLies) {
    const Octets length = fromHex(lie.length);
    Octets inner{0x04};
    inner.insert(inner.end(), length.begin(), length.end());
    inner.insert(inner.end(), {0xAA, 0xAA, 0xAA});
    Octets definite{0x24, static_cast<std::uint8_t>(inner.size())};
    definite.insert(definite.end(), inner.begin(), inner.end());
    const Exact exact(definite);
    const Result<Element> outer = Reader(exact.bytes()).next();
    ASSERT_TRUE(outer) << lie.length;
    EXPECT_EQ(readOctets(*outer).error(), lie.error) << lie.length;
    Octets indefinite{0x24, 0x80};
    indefinite.insert(indefinite.end(), inner.begin(), inner.end());
    indefinite.insert(indefinite.end(), {0, 0});
    EXPECT_FALSE(Reader(indefinite).next()) << lie.length;
  }
}

TEST(DerHostile, NestingTenThousandDeepIsRefused) {
  constexpr std::size_t kDepth = 10'000;
  for (const std::uint8_t identifier : {kSequence, kSet, kStringOfParts, contextConstructed(0)}) {
    Octets open;
    for (std::size_t i = 0; i < kDepth; ++i) {
      open.insert(open.end(), {identifier, 0x80});
    }
    EXPECT_EQ(Reader(open).next().error(), CRYPT_E_ASN1_LARGE) << "never closed";
    open.insert(open.end(), 2 * kDepth, 0);
    EXPECT_EQ(Reader(open).next().error(), CRYPT_E_ASN1_LARGE);
  }
}

TEST(DerHostile, ManyElementsOfIndefiniteLengthSideBySideAreNoNesting) {
  Octets input{0x30, 0x80};
  for (int i = 0; i < 10'000; ++i) {
    input.insert(input.end(), {0x30, 0x80, 0x00, 0x00});
  }
  input.insert(input.end(), {0, 0});
  const Result<Element> element = Reader(input).next();
  ASSERT_TRUE(element);
  EXPECT_EQ(element->content.size(), 40'000U);
}

// Half a level more of each kind: the limit of one does not hide the other.
TEST(DerHostile, StringNestedBothWaysIsLimited) {
  Octets string = fromHex("0401aa");
  for (unsigned depth = 0; depth <= kMaxDepth; ++depth) {
    const bool indefinite = depth % 2 == 0;
    Octets outer{0x24};
    if (indefinite) {
      outer.push_back(0x80);
    } else {
      outer.insert(outer.end(),
                   {0x82,
                    static_cast<std::uint8_t>(string.size() >> 8U),
                    static_cast<std::uint8_t>(string.size())});
    }
    outer.insert(outer.end(), string.begin(), string.end());
    if (indefinite) {
      outer.insert(outer.end(), {0, 0});
    }
    string = outer;
    const Result<Element> element = Reader(string).next();
    ASSERT_TRUE(element) << depth;
    EXPECT_EQ(readOctets(*element).error(),
              depth < kMaxDepth ? DWORD{ERROR_SUCCESS} : DWORD{CRYPT_E_ASN1_LARGE})
        << depth;
  }
}

TEST(DerLarge, ContentOfTwoGigabytesAndMoreIsNotTouched) {
  constexpr std::size_t kSize = std::size_t{5} << 30U;
  const LargeMemory memory(kSize + 7);
  const Octets header = fromHex("04 85 0140000000");
  std::ranges::copy(header, memory.data());
  const Result<Element> element = Reader(memory.bytes()).next();
  ASSERT_TRUE(element);
  EXPECT_EQ(element->content.size(), kSize);
  EXPECT_EQ(element->whole.size(), kSize + 7);
  EXPECT_EQ(Reader(memory.bytes().first(kSize + 6)).next().error(), CRYPT_E_ASN1_EOD);
}

TEST(DerLarge, SegmentsOfGigabytesAreCountedWhole) {
  constexpr std::size_t kPart = std::size_t{3} << 30U;
  const LargeMemory memory((2 * (kPart + 6)) + 4);
  std::uint8_t* out = memory.data();
  std::ranges::copy(fromHex("24 80"), out);
  std::ranges::copy(fromHex("04 84 c0000000"), out + 2);
  std::ranges::copy(fromHex("04 84 c0000000"), out + 2 + 6 + kPart);
  const Result<Element> element = Reader(memory.bytes()).next();
  ASSERT_TRUE(element);
  std::size_t total = 0;
  ASSERT_TRUE(visitOctets(*element, [&total](Bytes part) { total += part.size(); }));
  EXPECT_EQ(total, 2 * kPart);
}

// What libcrypto makes of the header at the beginning of these bytes.
struct Theirs {
  bool good = false;
  bool indefinite = false;
  int number = 0;
  std::size_t headerSize = 0;
  std::size_t contentSize = 0;
};

Theirs askLibcrypto(Bytes input) {
  const unsigned char* next = input.data();
  long length = 0;
  int number = 0;
  int tagClass = 0;
  const int flags =
      ASN1_get_object(&next, &length, &number, &tagClass, static_cast<long>(input.size()));
  ERR_clear_error();
  return {.good = (flags & 0x80) == 0,
          .indefinite = (flags & 1) != 0,
          .number = number,
          .headerSize = static_cast<std::size_t>(next - input.data()),
          .contentSize = static_cast<std::size_t>(length)};
}

// All pairs of a first and a second octet, before content of several sorts.
TEST(DerOracle, HeadersAreReadAsLibcryptoReadsThem) {
  for (const char* tail : {"", "00", "05", "7f01", "810500", "000000000005", "ffffffffffffffff"}) {
    Octets input(2);
    const Octets more = fromHex(tail);
    input.insert(input.end(), more.begin(), more.end());
    input.insert(input.end(), 200, 0x55);
    for (unsigned header = 0; header < 0x10000; ++header) {
      input[0] = static_cast<std::uint8_t>(header >> 8U);
      input[1] = static_cast<std::uint8_t>(header);
      const Theirs theirs = askLibcrypto(input);
      const Result<Header> ours = readHeader(input);
      const bool fits = ours && ours->contentSize <= input.size() - ours->size;
      ASSERT_EQ(fits, theirs.good) << toHex(Bytes(input).first(12));
      if (fits) {
        ASSERT_EQ(ours->number, static_cast<unsigned>(theirs.number)) << toHex(input);
        ASSERT_EQ(ours->indefinite, theirs.indefinite) << toHex(input);
        ASSERT_EQ(ours->size, theirs.headerSize) << toHex(input);
        ASSERT_EQ(ours->contentSize, ours->indefinite ? 0 : theirs.contentSize) << toHex(input);
      }
    }
  }
}

}  // namespace
}  // namespace qx::der::reader_hostile_test
