#include "provider/cades/time_stamp_info.h"

#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include "provider/chain/time_window.h"
#include "provider/der/writer.h"
#include "tests/provider/message/messages.h"

namespace qx::test::time_stamp_info_test {
namespace {

constexpr std::string_view kSha256 = "2.16.840.1.101.3.4.2.1";

der::Encoding primitive(std::uint8_t identifier, std::string_view content) {
  return der::wrap(identifier, der::Encoding::owned(octets(content)));
}

der::Encoding imprintOf(std::string_view hash, std::size_t length) {
  return der::sequence(*der::algorithm(hash, der::kNullParameters),
                       primitive(der::kOctetString, std::string(length, 'i')));
}

// The fields of a TSTInfo, each good; a test changes one.
struct Fields {
  std::uint64_t version = 1;
  Octets policy = der::oid("1.2.3")->bytes();
  Octets imprint = imprintOf(kSha256, 32).bytes();
  Octets time = primitive(der::kGeneralizedTime, "20260102030405Z").bytes();
  Octets rest;

  Octets encoded() const {
    der::Encoding content = der::integer(version);
    content.append(der::Encoding::borrowed(policy))
        .append(der::Encoding::borrowed(imprint))
        .append(der::integer(77))
        .append(der::Encoding::borrowed(time))
        .append(der::Encoding::borrowed(rest));
    return der::wrap(der::kSequence, std::move(content)).bytes();
  }
};

DWORD errorOfRest(der::Encoding rest) {
  Fields fields;
  fields.rest = rest.bytes();
  return readTimeStampInfo(fields.encoded()).error();
}

std::optional<std::uint64_t> accuracyOf(der::Encoding accuracy) {
  Fields fields;
  fields.rest = accuracy.bytes();
  const Octets encoded = fields.encoded();
  const auto info = readTimeStampInfo(encoded);
  return info ? std::optional(info->accuracy) : std::nullopt;
}

der::Encoding extension(std::optional<bool> critical) {
  der::Encoding fields = *der::oid("1.2.3.4");
  if (critical) {
    fields.append(primitive(der::kBoolean, *critical ? "\xFF" : std::string_view("\0", 1)));
  }
  fields.append(primitive(der::kOctetString, "value"));
  return der::wrap(der::contextConstructed(1), der::sequence(std::move(fields)));
}

TEST(TimeStampInfo, IsReadWithNothingButItsMustFields) {
  const Octets encoded = Fields().encoded();
  const Result<TimeStampInfo> info = readTimeStampInfo(encoded);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->policy, "1.2.3");
  EXPECT_EQ(info->hash, HashAlgorithm::Sha256);
  EXPECT_EQ(text(info->imprint), std::string(32, 'i'));
  EXPECT_EQ(text(info->serial), "\x4D");
  EXPECT_EQ(info->accuracy, 0U);
  EXPECT_TRUE(info->nonce.empty());
}

TEST(TimeStampInfo, IsReadWithAllOfItsFields) {
  der::Encoding rest = der::sequence(der::integer(1));
  rest.append(primitive(der::kBoolean, "\xFF"))
      .append(der::integer(0x0102))
      .append(der::wrap(der::contextConstructed(0), der::null()))
      .append(extension(false));
  Fields fields;
  fields.rest = rest.bytes();
  const Octets encoded = fields.encoded();
  const Result<TimeStampInfo> info = readTimeStampInfo(encoded);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->accuracy, 10'000'000U);
  EXPECT_EQ(text(info->nonce), "\x01\x02");
}

TEST(TimeStampInfo, HasTheTimeToTheFractionOfASecond) {
  Fields fields;
  const auto ticks = [&](std::string_view time) {
    fields.time = primitive(der::kGeneralizedTime, time).bytes();
    const FILETIME read = readTimeStampInfo(fields.encoded())->time;
    return (std::uint64_t{read.dwHighDateTime} << 32U) | read.dwLowDateTime;
  };
  EXPECT_EQ(ticks("20260102030405.25Z") - ticks("20260102030405Z"), 2'500'000U);
}

TEST(TimeStampInfo, IsFromTheFutureBeyondItsAccuracyAndTheSkewOfClocks) {
  Fields fields;
  fields.time = primitive(der::kGeneralizedTime, "20260102030405Z").bytes();
  fields.rest = der::sequence(der::integer(60)).bytes();
  const Octets encoded = fields.encoded();
  const Result<TimeStampInfo> info = readTimeStampInfo(encoded);
  ASSERT_TRUE(info);
  const std::time_t made = secondsOf(info->time);
  EXPECT_FALSE(isFromTheFuture(*info, made));
  EXPECT_FALSE(isFromTheFuture(*info, made - kClockSkew - 60));
  EXPECT_TRUE(isFromTheFuture(*info, made - kClockSkew - 61));
}

TEST(TimeStampInfo, IsFromTheFutureWithoutOverflowWhateverItSays) {
  Fields fields;
  fields.time = primitive(der::kGeneralizedTime, "99991231235959.999Z").bytes();
  const Octets latest = fields.encoded();
  EXPECT_TRUE(isFromTheFuture(*readTimeStampInfo(latest), std::time(nullptr)));
  fields.rest = der::sequence(der::integer(0xFFFF'FFFF)).bytes();
  const Octets vaguest = fields.encoded();
  EXPECT_TRUE(isFromTheFuture(*readTimeStampInfo(vaguest), std::time(nullptr)));
}

// Each of these could be read as more than one moment.
TEST(TimeStampInfo, RefusesTimesThatAreNotInUtc) {
  Fields fields;
  for (const std::string_view time : {"20260102030405", "20260102030405+0000", "20260102"}) {
    fields.time = primitive(der::kGeneralizedTime, time).bytes();
    EXPECT_EQ(readTimeStampInfo(fields.encoded()).error(), CRYPT_E_ASN1_CORRUPT) << time;
  }
  fields.time = primitive(der::kUtcTime, "260102030405Z").bytes();
  EXPECT_EQ(readTimeStampInfo(fields.encoded()).error(), CRYPT_E_ASN1_BADTAG);
}

TEST(TimeStampInfo, RefusesOtherVersions) {
  Fields fields;
  for (const std::uint64_t version : {0U, 2U}) {
    fields.version = version;
    EXPECT_EQ(readTimeStampInfo(fields.encoded()).error(), CRYPT_E_ASN1_CORRUPT);
  }
}

TEST(TimeStampInfo, RefusesHashesThatProveNothing) {
  Fields fields;
  for (const std::string_view hash : {"1.2.840.113549.2.5", "1.2.840.113549.1.1.11", "1.2.3"}) {
    fields.imprint = imprintOf(hash, 32).bytes();
    EXPECT_EQ(readTimeStampInfo(fields.encoded()).error(), CRYPT_E_UNKNOWN_ALGO) << hash;
  }
}

TEST(TimeStampInfo, RefusesAnImprintThatIsNoHashOfItsKind) {
  Fields fields;
  for (const std::size_t length : {0U, 31U, 33U, 64U}) {
    fields.imprint = imprintOf(kSha256, length).bytes();
    EXPECT_EQ(readTimeStampInfo(fields.encoded()).error(), CRYPT_E_ASN1_CORRUPT) << length;
  }
}

TEST(TimeStampInfo, AddsUpTheParts) {
  der::Encoding parts = der::integer(2);
  parts.append(primitive(der::contextTag(0), "\x03")).append(primitive(der::contextTag(1), "\x04"));
  EXPECT_EQ(accuracyOf(der::wrap(der::kSequence, std::move(parts))), 20'030'040U);
  EXPECT_EQ(accuracyOf(der::sequence(primitive(der::contextTag(1), "\x05"))), 50U);
  EXPECT_EQ(accuracyOf(der::wrap(der::kSequence, {})), 0U);
}

TEST(TimeStampInfo, RefusesPartsBeyondTheirRange) {
  EXPECT_FALSE(accuracyOf(der::sequence(der::integer(0x1'0000'0000))));
  EXPECT_FALSE(accuracyOf(der::sequence(primitive(der::contextTag(0), "\x03\xE8"))));
  EXPECT_TRUE(accuracyOf(der::sequence(primitive(der::contextTag(0), "\x03\xE7"))));
  EXPECT_FALSE(accuracyOf(der::sequence(primitive(der::contextTag(0), "\x83"))));
  EXPECT_FALSE(accuracyOf(der::sequence(der::null())));
}

TEST(TimeStampInfo, RefusesOnlyCriticalExtensions) {
  EXPECT_EQ(errorOfRest(extension(std::nullopt)), ERROR_SUCCESS);
  EXPECT_EQ(errorOfRest(extension(false)), ERROR_SUCCESS);
  EXPECT_EQ(errorOfRest(extension(true)), CRYPT_E_ASN1_CORRUPT);
}

TEST(TimeStampInfo, RefusesWhatComesBehindIt) {
  EXPECT_EQ(errorOfRest(der::null()), CRYPT_E_ASN1_CORRUPT);
  Octets encoded = Fields().encoded();
  encoded.push_back(0);
  EXPECT_EQ(readTimeStampInfo(encoded).error(), CRYPT_E_ASN1_CORRUPT);
}

TEST(TimeStampInfo, RefusesEveryPieceOfItself) {
  const Octets whole = Fields().encoded();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(readTimeStampInfo(der::Bytes(whole).first(size))) << size;
  }
}

}  // namespace
}  // namespace qx::test::time_stamp_info_test
