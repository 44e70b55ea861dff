#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/err.h>

#include "provider/der/oid.h"
#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/der/writer.h"
#include "provider/openssl/owned.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/der/large_memory.h"

// The same values, read and written by libcrypto.

namespace qx::der::oracle_test {
namespace {

using test::LargeMemory;
using test::toHex;
using Octets = std::vector<std::uint8_t>;
using Asn1TypePtr = OpensslOwner<ASN1_TYPE, ASN1_TYPE_free>;
using Asn1OctetStringPtr = OpensslOwner<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;
using Asn1BitStringPtr = OpensslOwner<ASN1_BIT_STRING, ASN1_BIT_STRING_free>;

void freeAnyStack(ASN1_SEQUENCE_ANY* all) {
  sk_ASN1_TYPE_pop_free(all, ASN1_TYPE_free);
}

using AnyStackPtr = OpensslOwner<ASN1_SEQUENCE_ANY, freeAnyStack>;

// What an i2d function writes, as hexadecimal digits.
template <class Object>
std::string writtenBy(int (*write)(const Object*, unsigned char**), const Object* object) {
  unsigned char* bytes = nullptr;
  const int size = write(object, &bytes);
  const OpensslBytes owner(bytes);
  return size < 0 ? "error" : toHex({bytes, static_cast<std::size_t>(size)});
}

/// Values that are the same in each run, and look like none in particular.
class Values {
 public:
  std::uint64_t number() {
    // Of every size, not only large ones.
    return engine_() >> (engine_() % 64);
  }

  std::size_t below(std::size_t limit) { return engine_() % limit; }

  Octets octets(std::size_t size) {
    Octets bytes(size);
    for (std::uint8_t& octet : bytes) {
      octet = static_cast<std::uint8_t>(engine_());
    }
    return bytes;
  }

 private:
  std::mt19937_64 engine_{20240131};  // NOLINT(cert-msc32-c,cert-msc51-cpp): always the same
};

TEST(DerOracle, WritesUnsignedIntegers) {
  Values values;
  for (int i = 0; i < 2000; ++i) {
    const std::uint64_t value = values.number();
    const Asn1IntegerPtr integerOf(ASN1_INTEGER_new());
    ASSERT_EQ(ASN1_INTEGER_set_uint64(integerOf.get(), value), 1);
    const Octets ours = integer(value).bytes();
    EXPECT_EQ(toHex(ours), writtenBy(i2d_ASN1_INTEGER, integerOf.get())) << value;
    EXPECT_EQ(*readUnsigned(*readWhole(ours, kInteger)), value);
  }
}

// The number that two's complement of these octets, least first, stands for.
BigNumPtr numberOf(const Octets& littleEndian) {
  BigNumPtr number(
      BN_lebin2bn(littleEndian.data(), static_cast<int>(littleEndian.size()), nullptr));
  if (!littleEndian.empty() && (littleEndian.back() & 0x80U) != 0) {
    const BigNumPtr power(BN_new());
    BN_set_bit(power.get(), static_cast<int>(littleEndian.size()) * 8);
    BN_sub(number.get(), number.get(), power.get());
  }
  return number;
}

TEST(DerOracle, WritesSerialNumbers) {
  Values values;
  for (std::size_t i = 0; i < 2000; ++i) {
    Octets octets = values.octets(i % 21);
    // Redundant octets of both signs.
    octets.insert(octets.end(), i % 3, i % 2 == 0 ? 0xFF : 0x00);
    const BigNumPtr number = numberOf(octets);
    const Asn1IntegerPtr theirs(BN_to_ASN1_INTEGER(number.get(), nullptr));
    const Octets ours = integerFromLittleEndian(octets).bytes();
    EXPECT_EQ(toHex(ours), writtenBy(i2d_ASN1_INTEGER, theirs.get())) << toHex(octets);
    // And back: the interface's octets, shortest form.
    const Octets again = littleEndian(readWhole(ours, kInteger)->content);
    EXPECT_EQ(BN_cmp(numberOf(again).get(), number.get()), 0) << toHex(octets);
  }
}

TEST(DerOracle, WritesOctetStringsOfEverySize) {
  Values values;
  for (const std::size_t size : {0U,
                                 1U,
                                 126U,
                                 127U,
                                 128U,
                                 129U,
                                 254U,
                                 255U,
                                 256U,
                                 257U,
                                 65'534U,
                                 65'535U,
                                 65'536U,
                                 65'537U,
                                 100'000U}) {
    const Octets octets = values.octets(size);
    const Asn1OctetStringPtr theirs(ASN1_OCTET_STRING_new());
    ASSERT_EQ(ASN1_OCTET_STRING_set(theirs.get(), octets.data(), static_cast<int>(size)), 1);
    EXPECT_EQ(toHex(octetString(octets).bytes()), writtenBy(i2d_ASN1_OCTET_STRING, theirs.get()));
  }
}

TEST(DerOracle, TellsTheSizeOfGigabytesWithoutWritingThem) {
  for (const std::size_t size : {(std::size_t{1} << 31U) - 1,
                                 std::size_t{1} << 31U,
                                 (std::size_t{1} << 32U) - 1,
                                 std::size_t{1} << 32U,
                                 std::size_t{6} << 30U}) {
    const LargeMemory memory(size);
    const Encoding string = octetString(memory.bytes());
    const std::size_t lengthOctets = size >> 32U != 0 ? 5 : 4;
    EXPECT_EQ(string.size(), 2 + lengthOctets + size);
    std::size_t pieces = 0;
    string.visit([&](Bytes piece) { pieces += std::size_t{piece.size() > 100}; });
    EXPECT_EQ(pieces, 1U) << "in one piece, where it was";
  }
}

TEST(DerOracle, SortsSets) {
  Values values;
  for (int round = 0; round < 100; ++round) {
    const AnyStackPtr theirs(sk_ASN1_TYPE_new_null());
    std::vector<Encoding> ours;
    const std::size_t count = values.below(12);
    for (std::size_t i = 0; i < count; ++i) {
      const Octets octets = values.octets(values.below(4));
      const Asn1OctetStringPtr string(ASN1_OCTET_STRING_new());
      ASN1_OCTET_STRING_set(string.get(), octets.data(), static_cast<int>(octets.size()));
      ASN1_TYPE* type = ASN1_TYPE_new();
      ASSERT_EQ(ASN1_TYPE_set1(type, V_ASN1_OCTET_STRING, string.get()), 1);
      sk_ASN1_TYPE_push(theirs.get(), type);
      ours.push_back(Encoding::owned(octetString(octets).bytes()));
    }
    EXPECT_EQ(toHex(setOf(ours).bytes()), writtenBy(i2d_ASN1_SET_ANY, theirs.get()));
  }
}

std::string randomOid(Values& values) {
  const std::uint64_t first = values.below(3);
  const std::uint64_t second = first < 2 ? values.below(40) : values.number() >> 8U;
  std::string dotted = std::to_string(first) + '.' + std::to_string(second);
  for (std::size_t more = values.below(12); more > 0; --more) {
    dotted += '.' + std::to_string(values.number());
  }
  return dotted;
}

TEST(DerOracle, WritesAndReadsOids) {
  Values values;
  for (int i = 0; i < 1000; ++i) {
    const std::string dotted = randomOid(values);
    const Asn1ObjectPtr theirs(OBJ_txt2obj(dotted.c_str(), /*no_name=*/1));
    ASSERT_NE(theirs, nullptr) << dotted;
    const Result<Encoding> ours = oid(dotted);
    ASSERT_TRUE(ours) << dotted;
    EXPECT_EQ(toHex(ours->bytes()), writtenBy(i2d_ASN1_OBJECT, theirs.get())) << dotted;
    EXPECT_EQ(*readOid(*readWhole(ours->bytes(), kOid)), dotted);
  }
}

// Octets that nobody chose: what both read they read alike.
TEST(DerOracle, ReadsRandomOidsAsLibcryptoDoes) {
  Values values;
  int read = 0;
  for (int i = 0; i < 3000; ++i) {
    const Octets content = values.octets(1 + values.below(6));
    const Octets encoded = wrap(kOid, Encoding::borrowed(content)).bytes();
    const unsigned char* next = encoded.data();
    const Asn1ObjectPtr theirs(d2i_ASN1_OBJECT(nullptr, &next, static_cast<long>(encoded.size())));
    ERR_clear_error();
    const Result<std::string> ours = oidToText(content);
    ASSERT_EQ(static_cast<bool>(ours), theirs != nullptr) << toHex(content);
    if (ours) {
      char text[200];
      ASSERT_GT(OBJ_obj2txt(text, sizeof text, theirs.get(), /*no_name=*/1), 0);
      EXPECT_EQ(*ours, text);
      ++read;
    }
  }
  EXPECT_GT(read, 500);
}

TEST(DerOracle, ReadsBitStrings) {
  Values values;
  for (int i = 0; i < 2000; ++i) {
    Octets content = values.octets(2 + values.below(9));
    content.front() %= 10;  // 8 and 9 are too many
    const Octets encoded = wrap(kBitString, Encoding::borrowed(content)).bytes();
    const unsigned char* next = encoded.data();
    const Asn1BitStringPtr theirs(
        d2i_ASN1_BIT_STRING(nullptr, &next, static_cast<long>(encoded.size())));
    ERR_clear_error();
    const Result<BitString> ours = readBitString(*readWhole(encoded, kBitString));
    ASSERT_EQ(static_cast<bool>(ours), theirs != nullptr) << toHex(encoded);
    if (ours) {
      EXPECT_EQ(ours->unusedBits, static_cast<unsigned>(theirs->flags & 7));
      // libcrypto clears the bits that do not count; the interface shows them as they came.
      EXPECT_EQ(toHex(ours->octets), toHex(Bytes(content).subspan(1)));
      EXPECT_EQ(static_cast<int>(ours->octets.size()), theirs->length);
    }
  }
}

std::uint64_t ticksOf(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}

constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

// The time as libcrypto writes it: UTCTime or GeneralizedTime, by its year.
Octets writtenTime(std::time_t seconds) {
  const Asn1TimePtr time(ASN1_TIME_set(nullptr, seconds));
  unsigned char* bytes = nullptr;
  const int size = i2d_ASN1_TIME(time.get(), &bytes);
  const OpensslBytes owner(bytes);
  return {bytes, bytes + size};
}

TEST(DerOracle, ReadsEveryDayOfTheCalendar) {
  constexpr std::time_t kDay = 86'400;
  constexpr std::time_t kFirst = -7'300 * kDay;  // in 1950
  constexpr std::time_t kLast = 58'000 * kDay;   // in 2128
  constexpr std::time_t kUneven = 7'919;
  for (std::time_t day = kFirst; day < kLast; day += kDay) {
    // Each day another time of day.
    const std::time_t second = day + (((day - kFirst) / kDay * kUneven) % kDay);
    const Octets encoded = writtenTime(second);
    const Result<FILETIME> time = readTime(*Reader(encoded).next());
    ASSERT_TRUE(time) << second;
    const auto expected = static_cast<std::uint64_t>(second + kSecondsFrom1601To1970) * 10'000'000;
    ASSERT_EQ(ticksOf(*time), expected) << toHex(encoded);
  }
}

void expectDay(int year, int month, int day) {
  const std::string text = std::to_string((year * 10'000) + (month * 100) + day) + "000000Z";
  std::tm parts{.tm_mday = day, .tm_mon = month - 1, .tm_year = year - 1900};
  const std::time_t seconds = timegm(&parts);
  const bool exists = parts.tm_mday == day;  // else the C library made another date of it
  const Octets octets = test::bytesOfText(text);
  const Octets encoded = wrap(kGeneralizedTime, Encoding::borrowed(octets)).bytes();
  const Result<FILETIME> time = readTime(*Reader(encoded).next());
  ASSERT_EQ(static_cast<bool>(time), exists) << text;
  if (exists) {
    EXPECT_EQ(ticksOf(*time),
              static_cast<std::uint64_t>(seconds + kSecondsFrom1601To1970) * 10'000'000)
        << text;
  }
}

TEST(DerOracle, ReadsTheFirstAndLastDaysOfEveryMonthSince1601) {
  for (int year = 1601; year <= 9999; year += year < 2200 ? 1 : 97) {
    for (int month = 1; month <= 12; ++month) {
      for (const int day : {1, 28, 29, 30, 31, 32}) {
        expectDay(year, month, day);
      }
    }
  }
}

/// A tree of elements, written with definite and indefinite lengths as they come.
struct Tree {
  Octets encoded;
  std::vector<Octets> leaves;
};

// NOLINTNEXTLINE(misc-no-recursion): as deep as `depth`
Tree randomTree(Values& values, unsigned depth) {
  Tree tree;
  Octets content;
  for (std::size_t children = 1 + values.below(4); children > 0; --children) {
    Tree child;
    if (depth == 0 || values.below(2) == 0) {
      child.leaves = {values.octets(values.below(200))};
      child.encoded = octetString(child.leaves.front()).bytes();
    } else {
      child = randomTree(values, depth - 1);
    }
    content.insert(content.end(), child.encoded.begin(), child.encoded.end());
    tree.leaves.insert(tree.leaves.end(), child.leaves.begin(), child.leaves.end());
  }
  if (values.below(2) == 0) {
    tree.encoded = wrap(kSequence, Encoding::borrowed(content)).bytes();
  } else {
    tree.encoded = {kSequence, 0x80};
    tree.encoded.insert(tree.encoded.end(), content.begin(), content.end());
    tree.encoded.insert(tree.encoded.end(), {0, 0});
  }
  return tree;
}

std::vector<Octets> leavesOf(Bytes input) {
  std::vector<Octets> leaves;
  std::vector<Reader> open{Reader(input)};
  while (!open.empty()) {
    if (open.back().atEnd()) {
      open.pop_back();
      continue;
    }
    const Result<Element> element = open.back().next();
    EXPECT_TRUE(element);
    if (!element) {
      break;
    }
    if (element->constructed()) {
      open.emplace_back(element->content);
    } else {
      leaves.emplace_back(element->content.begin(), element->content.end());
    }
  }
  return leaves;
}

TEST(DerOracle, ReadsTreesOfBothKindsOfLength) {
  Values values;
  for (int i = 0; i < 200; ++i) {
    const Tree tree = randomTree(values, 6);
    Octets input = tree.encoded;
    input.insert(input.end(), 50, 0x55);
    const unsigned char* next = input.data();
    const Asn1TypePtr theirs(d2i_ASN1_TYPE(nullptr, &next, static_cast<long>(input.size())));
    ASSERT_NE(theirs, nullptr);
    const Result<Element> ours = Reader(input).next();
    ASSERT_TRUE(ours);
    EXPECT_EQ(ours->whole.size(), static_cast<std::size_t>(next - input.data()));
    EXPECT_EQ(leavesOf(ours->content), tree.leaves);
  }
}

}  // namespace
}  // namespace qx::der::oracle_test
