#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <openssl/asn1.h>

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/der/writer.h"
#include "provider/openssl/owned.h"
#include "tests/provider/der/hex.h"

// Values with one octet that is not as it should be.

namespace qx::der::values_hostile_test {
namespace {

using test::bytesOfText;
using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kNone = -1;

// The time in seconds since 1601, or kNone.
std::int64_t ourSeconds(std::uint8_t identifier, const Octets& text) {
  const Octets encoded = wrap(identifier, Encoding::borrowed(text)).bytes();
  const Result<FILETIME> time = readTime(*readWhole(encoded, identifier));
  if (!time) {
    EXPECT_EQ(time.error(), CRYPT_E_ASN1_CORRUPT);
    return kNone;
  }
  const std::uint64_t ticks = (std::uint64_t{time->dwHighDateTime} << 32U) | time->dwLowDateTime;
  return static_cast<std::int64_t>(ticks) / kTicksPerSecond;
}

std::int64_t theirSeconds(int type, const Octets& text) {
  const Asn1TimePtr time(ASN1_STRING_type_new(type));
  ASN1_STRING_set(time.get(), text.data(), static_cast<int>(text.size()));
  std::tm parts{};
  return ASN1_TIME_to_tm(time.get(), &parts) == 1 ? timegm(&parts) + kSecondsFrom1601To1970 : kNone;
}

struct TimeForm {
  std::uint8_t identifier;
  int type;
  const char* text;
  std::size_t from;  // years before 1601 are not ours
};

// What libcrypto does not know: a comma before the fraction (X.680, 46.2), and a fraction after which no
// zone follows, where the last digit stands in the place of the Z.
bool isOursAlone(bool hasFraction, std::uint8_t before, unsigned now) {
  return hasFraction &&
         ((before == '.' && now == ',') || (before == 'Z' && now >= '0' && now <= '9'));
}

TEST(DerHostileTime, IsReadOrRefusedAsLibcryptoDoes) {
  const TimeForm forms[] = {
      {.identifier = kUtcTime, .type = V_ASN1_UTCTIME, .text = "240229235959Z", .from = 0},
      {.identifier = kUtcTime, .type = V_ASN1_UTCTIME, .text = "2402292359Z", .from = 0},
      {.identifier = kGeneralizedTime,
       .type = V_ASN1_GENERALIZEDTIME,
       .text = "20240131120000.5Z",
       .from = 4},
      {.identifier = kGeneralizedTime,
       .type = V_ASN1_GENERALIZEDTIME,
       .text = "20240131120000.25Z",
       .from = 4},
  };
  for (const TimeForm& form : forms) {
    const Octets good = bytesOfText(form.text);
    ASSERT_NE(ourSeconds(form.identifier, good), kNone) << form.text;
    const bool hasFraction = std::string_view(form.text).find('.') != std::string_view::npos;
    for (std::size_t at = form.from; at < good.size(); ++at) {
      for (unsigned octet = 0; octet < 256; ++octet) {
        Octets text = good;
        text[at] = static_cast<std::uint8_t>(octet);
        EXPECT_EQ(ourSeconds(form.identifier, text),
                  isOursAlone(hasFraction, good[at], octet) ? ourSeconds(form.identifier, good)
                                                            : theirSeconds(form.type, text))
            << toHex(text);
      }
    }
  }
}

TEST(DerHostileTime, OfEveryOtherLengthIsRefused) {
  const Octets digits(40, '1');
  for (std::size_t length = 0; length < digits.size(); ++length) {
    const Octets text(digits.begin(), digits.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(ourSeconds(kUtcTime, text) != kNone, length == 10 || length == 12) << length;
    EXPECT_EQ(ourSeconds(kGeneralizedTime, text), kNone) << "the year 1111, or none at all";
  }
}

TEST(DerHostileTime, WithAFractionOfAnyLengthIsRead) {
  const std::int64_t whole = ourSeconds(kGeneralizedTime, bytesOfText("20240131120000Z"));
  for (std::size_t length = 1; length < 1000; length += 37) {
    const std::string text = "20240131120000." + std::string(length, '9') + "Z";
    EXPECT_EQ(ourSeconds(kGeneralizedTime, bytesOfText(text)), whole) << length;
  }
}

TEST(DerHostileInteger, OfTwoOctetsIsTheNumberThatTheyAre) {
  for (unsigned value = 0; value < 0x10000; ++value) {
    const Octets content{static_cast<std::uint8_t>(value >> 8U), static_cast<std::uint8_t>(value)};
    const Octets encoded = wrap(kInteger, Encoding::borrowed(content)).bytes();
    const Result<std::uint64_t> number = readUnsigned(*readWhole(encoded, kInteger));
    ASSERT_EQ(static_cast<bool>(number), value < 0x8000) << value;
    if (number) {
      ASSERT_EQ(*number, value);
    }
  }
}

TEST(DerHostileInteger, OfEveryLengthIsReadOrRefused) {
  const auto errorOfLength = [](std::size_t length) {
    const Octets ones(length, 0x01);
    const Octets encoded = wrap(kInteger, Encoding::borrowed(ones)).bytes();
    return readUnsigned(*readWhole(encoded, kInteger)).error();
  };
  EXPECT_EQ(errorOfLength(0), CRYPT_E_ASN1_CORRUPT);
  for (std::size_t length = 1; length < 40; ++length) {
    EXPECT_EQ(errorOfLength(length), length > 8 ? DWORD{CRYPT_E_ASN1_LARGE} : DWORD{ERROR_SUCCESS});
  }
}

// Every octet of a good AlgorithmIdentifier changed: it is read whole or not at all.
TEST(DerHostileAlgorithm, NeverShowsParametersThatAreNoElement) {
  const Octets good = fromHex("30 12 0607 2a850302021e01 3007 0605 2a85030202");
  for (std::size_t at = 2; at < good.size(); ++at) {
    for (unsigned octet = 0; octet < 256; ++octet) {
      Octets changed = good;
      changed[at] = static_cast<std::uint8_t>(octet);
      const Result<Element> sequence = readWhole(changed, kSequence);
      ASSERT_TRUE(sequence);
      const Result<AlgorithmIdentifier> algorithm = readAlgorithm(*sequence);
      if (algorithm && !algorithm->parameters.empty()) {
        Reader parameters(algorithm->parameters);
        EXPECT_TRUE(parameters.next()) << toHex(changed);
        EXPECT_TRUE(parameters.atEnd()) << toHex(changed);
        EXPECT_EQ(&algorithm->parameters.back(), &changed.back()) << "nothing is left out";
      }
    }
  }
}

}  // namespace
}  // namespace qx::der::values_hostile_test
