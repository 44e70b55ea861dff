#include "provider/message/recipient.h"

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "provider/message/limits.h"
#include "tests/provider/der/hex.h"

namespace qx::recipient_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

constexpr auto kEnd = static_cast<DWORD>(CRYPT_E_ASN1_EOD);
constexpr auto kBadTag = static_cast<DWORD>(CRYPT_E_ASN1_BADTAG);
constexpr auto kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);

// An element whose content is written in hexadecimal.
std::string element(const std::string& tag, const std::string& content) {
  const std::size_t size = fromHex(content).size();
  EXPECT_LT(size, 0x10000U);
  const Octets length =
      size < 0x80
          ? Octets{static_cast<std::uint8_t>(size)}
          : Octets{0x82, static_cast<std::uint8_t>(size >> 8U), static_cast<std::uint8_t>(size)};
  return tag + toHex(length) + content;
}

const std::string kVersion = "020100";
const std::string kIssuerAndSerial = element("30", "3000 020105");
const std::string kAlgorithm = element("30", "06022a03 0500");

std::string transportEntry(const std::string& id = kIssuerAndSerial,
                           const std::string& key = "0402 aabb",
                           const std::string& behind = "") {
  return element("30", kVersion + id + kAlgorithm + key + behind);
}

const std::string kOriginatorKey = element("a1", "3003 06012a 0302 0001");

struct AgreementParts {
  std::string originator = kOriginatorKey;
  std::string ukm = element("a1", "0402 0102");
  std::string keys = element("30", kIssuerAndSerial + "0402 ccdd");
  std::string behind;
};

std::string agreementEntry(const AgreementParts& parts = {}) {
  return element("a1",
                 "020103" + element("a0", parts.originator) + parts.ukm + kAlgorithm +
                     element("30", parts.keys) + parts.behind);
}

/// Recipients over octets that live as long.
struct Read {
  explicit Read(const std::string& content) : octets(fromHex(content)) {
    result.emplace(readRecipients(octets));
  }

  const Recipient& operator[](std::size_t index) const { return (**result)[index]; }

  DWORD error() const { return *result ? ERROR_SUCCESS : result->error(); }

  std::size_t size() const { return *result ? (*result)->size() : 0; }

  Octets octets;
  std::optional<Result<std::vector<Recipient>>> result;
};

TEST(Recipients, MayBeNobody) {
  const Read read("");
  EXPECT_EQ(read.error(), ERROR_SUCCESS);
  EXPECT_EQ(read.size(), 0U);
}

TEST(Recipients, OfKeyTransportAreNamedByIssuerAndSerial) {
  const Read read(transportEntry());
  ASSERT_EQ(read.size(), 1U);
  EXPECT_FALSE(read[0].id.isKeyId());
  EXPECT_EQ(toHex(read[0].id.serial), "05");
  EXPECT_EQ(read[0].algorithm.oid, "1.2.3");
  EXPECT_EQ(toHex(read[0].algorithm.parameters), "0500");
  EXPECT_EQ(toHex(read[0].encryptedKey), "aabb");
  EXPECT_FALSE(read[0].agreement);
}

TEST(Recipients, OfKeyTransportMayBeNamedByKeyId) {
  const Read read(transportEntry("8003 010203"));
  ASSERT_EQ(read.size(), 1U);
  EXPECT_TRUE(read[0].id.isKeyId());
  EXPECT_EQ(toHex(read[0].id.keyId), "010203");
}

TEST(Recipients, MayHaveTheirKeyInSegments) {
  const Read read(transportEntry(kIssuerAndSerial, "2480 0401aa 0401bb 0000"));
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(toHex(read[0].encryptedKey), "aabb");
}

TEST(Recipients, OfKeyAgreementShareIt) {
  const Read read(agreementEntry({.keys = element("30", kIssuerAndSerial + "0402 ccdd") +
                                          element("30", kIssuerAndSerial + "0402 eeff")}));
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(toHex(read[0].encryptedKey), "ccdd");
  EXPECT_EQ(toHex(read[1].encryptedKey), "eeff");
  for (std::size_t i = 0; i < 2; ++i) {
    ASSERT_TRUE(read[i].agreement);
    EXPECT_EQ(toHex(read[i].agreement->originatorKey), toHex(fromHex("3003 06012a 0302 0001")));
    ASSERT_TRUE(read[i].agreement->ukm);
    EXPECT_EQ(toHex(read[i].agreement->ukm->content), "0102");
    EXPECT_EQ(read[i].algorithm.oid, "1.2.3");
  }
}

TEST(Recipients, OfKeyAgreementMayLackAUkm) {
  const Read read(agreementEntry({.ukm = ""}));
  ASSERT_EQ(read.size(), 1U);
  EXPECT_FALSE(read[0].agreement->ukm);
}

TEST(Recipients, OfKeyAgreementMayHaveAnOriginatorWithACertificate) {
  const Read byName(agreementEntry({.originator = kIssuerAndSerial}));
  ASSERT_EQ(byName.size(), 1U);
  EXPECT_TRUE(byName[0].agreement->originatorKey.empty());
  EXPECT_EQ(toHex(byName[0].agreement->originator.serial), "05");
  const Read byKey(agreementEntry({.originator = "8002 0a0b"}));
  ASSERT_EQ(byKey.size(), 1U);
  EXPECT_EQ(toHex(byKey[0].agreement->originator.keyId), "0a0b");
}

// RecipientKeyIdentifier: the date and what follows are not looked at.
TEST(Recipients, OfKeyAgreementMayBeNamedByKeyId) {
  const std::string date = "180f 32303236303130313030303030305a";
  for (const std::string& behind : {std::string(), date, date + "3000"}) {
    const Read read(
        agreementEntry({.keys = element("30", element("a0", "0402 0a0b" + behind) + "0400")}));
    ASSERT_EQ(read.size(), 1U) << behind;
    EXPECT_EQ(toHex(read[0].id.keyId), "0a0b");
    EXPECT_TRUE(read[0].encryptedKey.empty());
  }
}

TEST(Recipients, StandInTheOrderOfTheMessage) {
  const Read read(transportEntry(kIssuerAndSerial, "040101") +
                  agreementEntry({.keys = element("30", kIssuerAndSerial + "040102") +
                                          element("30", kIssuerAndSerial + "040103")}) +
                  "a203020100" + transportEntry(kIssuerAndSerial, "040104"));
  ASSERT_EQ(read.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(read[i].encryptedKey, Octets{static_cast<std::uint8_t>(i + 1)});
    EXPECT_EQ(read[i].agreement.has_value(), i == 1 || i == 2) << i;
  }
}

TEST(Recipients, OfKindsThatHaveNoNameAreRefused) {
  for (const char* tag : {"02", "04", "31", "80", "a0", "a5", "82"}) {
    EXPECT_EQ(Read(element(tag, "020100")).error(), kBadTag) << tag;
  }
}

TEST(Recipients, AreRefusedWhereverTheyAreCut) {
  for (const std::string& whole : {transportEntry(), agreementEntry()}) {
    const Octets octets = fromHex(whole);
    for (std::size_t length = 1; length < octets.size(); ++length) {
      EXPECT_EQ(Read(toHex(der::Bytes(octets).first(length))).error(), kEnd) << length;
    }
  }
}

TEST(Recipients, AreRefusedWithSomethingBehind) {
  EXPECT_EQ(Read(transportEntry(kIssuerAndSerial, "0400", "0500")).error(), kCorrupt);
  EXPECT_EQ(Read(agreementEntry({.behind = "0500"})).error(), kCorrupt);
  EXPECT_EQ(Read(agreementEntry({.keys = element("30", kIssuerAndSerial + "0400 0500")})).error(),
            kCorrupt);
}

TEST(Recipients, AreRefusedWithOtherParts) {
  const std::vector<std::pair<std::string, DWORD>> bad = {
      {element("30", ""), kEnd},
      {element("30", "0500"), kBadTag},
      {element("30", kVersion), kEnd},
      {element("30", kVersion + "0400"), kBadTag},
      {element("30", kVersion + kIssuerAndSerial), kEnd},
      {element("30", kVersion + kIssuerAndSerial + "0500"), kBadTag},
      {element("30", kVersion + kIssuerAndSerial + kAlgorithm), kEnd},
      {element("30", kVersion + kIssuerAndSerial + kAlgorithm + "0500"), kBadTag},
      {element("a1", ""), kEnd},
      {element("a1", "020103"), kEnd},
      {element("a1", "020103 3000"), kBadTag},
      {element("a1", "020103 a000"), kEnd},
      {element("a1", "020103" + element("a0", kOriginatorKey) + "a100"), kEnd},
      {element("a1", "020103" + element("a0", kOriginatorKey) + kAlgorithm), kEnd},
      {element("a1", "020103" + element("a0", kOriginatorKey) + kAlgorithm + "3100"), kBadTag},
      {agreementEntry({.originator = "0500"}), kBadTag},
      {agreementEntry({.keys = "0400"}), kBadTag},
      {agreementEntry({.keys = "3000"}), kEnd},
      {agreementEntry({.keys = element("30", kIssuerAndSerial)}), kEnd},
      {agreementEntry({.keys = element("30", kIssuerAndSerial + "0500")}), kBadTag},
      {agreementEntry({.keys = element("30", "a000 0400")}), kEnd},
      {agreementEntry({.keys = element("30", "a0020500 0400")}), kBadTag},
  };
  for (const auto& [content, error] : bad) {
    EXPECT_EQ(Read(content).error(), error) << content;
  }
}

TEST(Recipients, OfAgreementsAreLimitedLikeOthers) {
  std::string keys;
  for (std::size_t i = 0; i < kMaxRecipients; ++i) {
    keys += element("30", kIssuerAndSerial + "0400");
  }
  EXPECT_EQ(Read(agreementEntry({.keys = keys})).size(), kMaxRecipients);
  EXPECT_EQ(Read(agreementEntry({.keys = keys}) + transportEntry()).error(),
            static_cast<DWORD>(CRYPT_E_ASN1_LARGE));
  EXPECT_EQ(Read(agreementEntry({.keys = keys + element("30", kIssuerAndSerial + "0400")})).error(),
            static_cast<DWORD>(CRYPT_E_ASN1_LARGE));
}

}  // namespace
}  // namespace qx::recipient_test
