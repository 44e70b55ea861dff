#include "provider/message/enveloped_data.h"

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "provider/cipher/gost28147.h"
#include "provider/message/encrypted_content.h"
#include "tests/provider/der/hex.h"

namespace qx::enveloped_data_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

constexpr auto kEnd = static_cast<DWORD>(CRYPT_E_ASN1_EOD);
constexpr auto kBadTag = static_cast<DWORD>(CRYPT_E_ASN1_BADTAG);
constexpr auto kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);

std::string element(const std::string& tag, const std::string& content) {
  const std::size_t size = fromHex(content).size();
  EXPECT_LT(size, 0x80U);
  return tag + toHex(Octets{static_cast<std::uint8_t>(size)}) + content;
}

const std::string kType = "06092a864886f70d010701";
const std::string kAlgorithm = element("30", "06022a03");

struct Parts {
  std::string version = "020102";
  std::string originator;
  std::string recipients = "3100";
  std::string content = element("30", kType + kAlgorithm + "8003 414243");
  std::string behind;
};

/// An EnvelopedData over octets that live as long.
struct Read {
  explicit Read(const Parts& parts)
      : Read(fromHex(element(
            "30",
            parts.version + parts.originator + parts.recipients + parts.content + parts.behind))) {}

  explicit Read(Octets bytes) : octets(std::move(bytes)) {
    der::Reader reader(octets);
    const auto bare = reader.next();
    result.emplace(bare ? readEnvelopedData(*bare) : bare.failure());
  }

  DWORD error() const { return *result ? ERROR_SUCCESS : result->error(); }

  const EnvelopedData& operator*() const { return **result; }

  Octets octets;
  std::optional<Result<EnvelopedData>> result;
};

TEST(EnvelopedDataForm, IsReadInItsParts) {
  const Read read(Parts{});
  ASSERT_EQ(read.error(), ERROR_SUCCESS);
  EXPECT_EQ((*read).version, 2U);
  EXPECT_TRUE((*read).recipients.empty());
  EXPECT_EQ((*read).contentType, "1.2.840.113549.1.7.1");
  EXPECT_EQ((*read).algorithm.oid, "1.2.3");
  ASSERT_TRUE((*read).encrypted);
  EXPECT_EQ(toHex((*read).encrypted->content), "414243");
  EXPECT_TRUE((*read).unprotected.empty());
}

TEST(EnvelopedDataForm, MayHaveAnyVersionUpToFour) {
  for (const DWORD version : {0U, 1U, 2U, 3U, 4U}) {
    const Read read({.version = "02010" + std::to_string(version)});
    ASSERT_EQ(read.error(), ERROR_SUCCESS);
    EXPECT_EQ((*read).version, version);
  }
  for (const char* version : {"020105", "02017f", "02020100", "020900ffffffffffffffff"}) {
    EXPECT_EQ(Read({.version = version}).error(), kCorrupt) << version;
  }
  EXPECT_NE(Read({.version = "0201ff"}).error(), ERROR_SUCCESS) << "negative";
  EXPECT_NE(Read({.version = "0200"}).error(), ERROR_SUCCESS) << "no number";
}

TEST(EnvelopedDataForm, MayTellOfItsOriginator) {
  EXPECT_EQ(Read({.originator = "a000"}).error(), ERROR_SUCCESS);
  EXPECT_EQ(Read({.originator = "a004 a0003000"}).error(), ERROR_SUCCESS) << "passed over";
}

TEST(EnvelopedDataForm, MayLackItsContent) {
  const Read read({.content = element("30", kType + kAlgorithm)});
  ASSERT_EQ(read.error(), ERROR_SUCCESS);
  EXPECT_FALSE((*read).encrypted);
}

TEST(EnvelopedDataForm, MayHaveUnprotectedAttributes) {
  const Read read({.behind = element("a1", element("30", "06022a03 3102 0500"))});
  ASSERT_EQ(read.error(), ERROR_SUCCESS);
  ASSERT_EQ((*read).unprotected.size(), 1U);
  EXPECT_EQ((*read).unprotected[0].oid, "1.2.3");
}

TEST(EnvelopedDataForm, IsRefusedWithOtherParts) {
  const std::string good = kType + kAlgorithm;
  const std::vector<std::pair<Parts, DWORD>> bad = {
      {{.version = ""}, kBadTag},
      {{.recipients = ""}, kBadTag},
      {{.recipients = "3000"}, kBadTag},
      {{.recipients = "3102 0500"}, kBadTag},
      {{.content = ""}, kEnd},
      {{.content = "3100"}, kBadTag},
      {{.content = "3000"}, kEnd},
      {{.content = element("30", kAlgorithm)}, kBadTag},
      {{.content = element("30", kType)}, kEnd},
      {{.content = element("30", kType + "0500")}, kBadTag},
      {{.content = element("30", good + "0400")}, kBadTag},
      {{.content = element("30", good + "8100")}, kBadTag},
      {{.content = element("30", good + "8000 0500")}, kCorrupt},
      {{.behind = "0500"}, kCorrupt},
      {{.behind = "a100 0500"}, kCorrupt},
      {{.behind = "a102 0500"}, kBadTag},
  };
  for (const auto& [parts, error] : bad) {
    EXPECT_EQ(Read(parts).error(), error)
        << parts.version << ' ' << parts.recipients << ' ' << parts.content << ' ' << parts.behind;
  }
}

TEST(EnvelopedDataForm, IsASequence) {
  for (const char* other : {"3100", "0400", "a000"}) {
    EXPECT_EQ(Read(fromHex(other)).error(), kBadTag) << other;
  }
}

// What follows is the ciphertext, in one segment or many.

const Octets kKey = fromHex("8f5eef8814d228fb2bbc5612323730cfa33db7263cc2c0a01a6c6953f33d61d5");
const Octets kParameters = fromHex("3013 0408 0102030405060708 0607 2a850302021f01");
const Octets kPlain = test::bytesOfText("Thirty-one octets to be hidden.");

Octets encrypted() {
  auto stream = gost28147Cfb(kGost28147SetA, Direction::Encrypt, kKey, fromHex("0102030405060708"));
  Octets out(kPlain.size());
  EXPECT_TRUE(stream->update(kPlain, out.data()));
  return out;
}

ContentDecryption decryption() {
  return *ContentDecryption::open(*contentAlgorithm(kGost28147Oid), kParameters, kKey, {});
}

/// The ciphertext in segments of a size, behind an identifier of constructed content.
Octets inSegments(std::size_t size) {
  const Octets whole = encrypted();
  Octets out = fromHex("a080");
  for (std::size_t at = 0; at < whole.size(); at += size) {
    const der::Bytes segment = der::Bytes(whole).subspan(at, std::min(size, whole.size() - at));
    out.insert(out.end(), {0x04, static_cast<std::uint8_t>(segment.size())});
    out.insert(out.end(), segment.begin(), segment.end());
  }
  out.insert(out.end(), {0x00, 0x00});
  return out;
}

DWORD setError(const std::string& text) {
  const Octets octets = fromHex(text);
  der::Reader reader(octets);
  const auto element = reader.next();
  EncryptedContent content;
  const auto done = element ? content.setElement(*element) : element.failure();
  return done ? ERROR_SUCCESS : done.error();
}

TEST(EncryptedContentForm, IsDecryptedInAnySegments) {
  for (std::size_t size = 1; size <= kPlain.size(); ++size) {
    const Octets octets = inSegments(size);
    der::Reader reader(octets);
    EncryptedContent content;
    ASSERT_TRUE(content.setElement(*reader.next()));
    EXPECT_EQ(content.size(), kPlain.size());
    Octets written(content.size());
    content.writeTo(written.data());
    EXPECT_EQ(written, encrypted());
    auto cipher = decryption();
    EXPECT_EQ(toHex(content.decrypt(cipher)->bytes()), toHex(kPlain)) << size;
  }
}

TEST(EncryptedContentForm, IsDecryptedFromOutside) {
  const Octets octets = encrypted();
  EncryptedContent content;
  content.setOctets(octets);
  auto cipher = decryption();
  EXPECT_EQ(toHex(content.decrypt(cipher)->bytes()), toHex(kPlain));
}

TEST(EncryptedContentForm, MayBeNothing) {
  const EncryptedContent content;
  EXPECT_EQ(content.size(), 0U);
  auto cipher = decryption();
  EXPECT_EQ(content.decrypt(cipher)->size(), 0U);
}

TEST(EncryptedContentForm, IsRefusedInSegmentsThatAreNone) {
  EXPECT_EQ(setError("8000"), ERROR_SUCCESS);
  EXPECT_EQ(setError("a000"), ERROR_SUCCESS) << "no segment";
  EXPECT_EQ(setError("a002 0400"), ERROR_SUCCESS);
  EXPECT_EQ(setError("a002 0500"), kBadTag);
  EXPECT_EQ(setError("a002 8000"), kBadTag);
  EXPECT_EQ(setError("a003 0402 41"), kEnd);
  EXPECT_EQ(setError("a001 04"), kEnd);
  EXPECT_EQ(setError("a005 2403 0402 41"), kEnd);
}

}  // namespace
}  // namespace qx::enveloped_data_test
