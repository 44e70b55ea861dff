#include <algorithm>
#include <optional>

#include <gtest/gtest.h>

#include "provider/cipher/rsa_transport.h"
#include "provider/message/enveloped_data.h"
#include "provider/message/gost_key_transport.h"
#include "provider/message/verify.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/envelopes.h"
#include "tests/support/kind_name.h"

namespace qx::test::envelope_tamper_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Not to be changed.");

/// What becomes of a message that somebody changed: the content, or nothing when it is refused.
std::optional<Octets> outcome(const Octets& message, DWORD index, Signer& recipient) {
  const MessageHandle decoded = openDecoder();
  if (update(decoded, message) != ERROR_SUCCESS ||
      decryptError(decoded, index, recipient) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return bytesParam(decoded, CMSG_CONTENT_PARAM);
}

Octets flipped(const Octets& good, std::size_t bit) {
  Octets bad = good;
  bad[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
  return bad;
}

struct Protected {
  const char* option;
  KeyKind kind;
};

class EnvelopeWithMac : public ::testing::TestWithParam<Protected> {};

TEST_P(EnvelopeWithMac, NeverYieldsAChangeOfItsContent) {
  Signer& recipient = signer(GetParam().kind);
  const Octets good = opensslEncrypt({&recipient}, kContent, {GetParam().option});
  ASSERT_EQ(outcome(good, 0, recipient), kContent);
  for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
    const auto content = outcome(flipped(good, bit), 0, recipient);
    EXPECT_TRUE(!content || *content == kContent)
        << "bit " << bit % 8 << " of byte " << bit / 8 << " in " << toHex(good);
  }
}

std::string protectedText(const ::testing::TestParamInfo<Protected>& parameter) {
  std::string name = std::string(parameter.param.option) + lab::kindName(parameter.param.kind);
  std::erase(name, '-');
  return name;
}

constexpr Protected kProtected[] = {
    {.option = "-magma-ctr-acpkm-omac", .kind = KeyKind::Gost2012_256},
    {.option = "-kuznyechik-ctr-acpkm-omac", .kind = KeyKind::Gost2012_256},
    {.option = "-kuznyechik-ctr-acpkm-omac", .kind = KeyKind::Gost2012_512},
};

INSTANTIATE_TEST_SUITE_P(All, EnvelopeWithMac, ::testing::ValuesIn(kProtected), protectedText);

class ChangedEnvelope : public ::testing::TestWithParam<KeyKind> {
 protected:
  Signer& recipient() const { return signer(GetParam()); }

  Octets good() const { return envelope({&recipient()}, kContent); }

  static std::size_t contentAt(const Octets& message) { return message.size() - kContent.size(); }
};

TEST_P(ChangedEnvelope, ChangesNoOtherOctetOfTheContentThanItsCipherMust) {
  const Octets message = good();
  for (std::size_t bit = contentAt(message) * 8; bit < message.size() * 8; ++bit) {
    const auto content = outcome(flipped(message, bit), 0, recipient());
    ASSERT_TRUE(content);
    EXPECT_NE(*content, kContent);
    EXPECT_EQ(content->size(), kContent.size());
  }
}

TEST_P(ChangedEnvelope, IsReadOrRefusedWhicheverBitIsFlipped) {
  const Octets message = good();
  for (std::size_t bit = 0; bit < contentAt(message) * 8; ++bit) {
    (void)outcome(flipped(message, bit), 0, recipient());
  }
}

TEST_P(ChangedEnvelope, IsRefusedWhereverItIsCut) {
  const Octets message = good();
  for (std::size_t length = 0; length < message.size(); ++length) {
    EXPECT_FALSE(
        outcome(Octets(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(length)),
                0,
                recipient()))
        << length;
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, ChangedEnvelope, ::testing::ValuesIn(recipientKinds()), kindOf);

/// The encrypted key of the one recipient of a message.
Octets encryptedKeyOf(const Octets& message) {
  der::Reader outer(der::readWhole(message, der::kSequence)->content);
  EXPECT_TRUE(outer.next());
  der::Reader tagged(outer.next()->content);
  return readEnvelopedData(*tagged.next())->recipients.front().encryptedKey;
}

/// Where a part of a message stands.
std::size_t placeOf(const Octets& part, const Octets& message) {
  return static_cast<std::size_t>(std::ranges::search(message, part).begin() - message.begin());
}

class ChangedKey : public ChangedEnvelope {};

TEST_P(ChangedKey, OfGostNeverYieldsOtherContent) {
  const Octets message = good();
  const Octets key = encryptedKeyOf(message);
  const std::size_t at = placeOf(key, message);
  // What names the digest of an ephemeral key says nothing: that bit may be any.
  for (std::size_t bit = at * 8; bit < (at + key.size()) * 8; ++bit) {
    const auto content = outcome(flipped(message, bit), 0, recipient());
    EXPECT_TRUE(!content || *content == kContent) << bit;
  }
}

TEST_P(ChangedKey, OfGostIsBadDataInAllThatIsWrapped) {
  const Octets message = good();
  const GostKeyTransport transport = *readGostKeyTransport(encryptedKeyOf(message));
  for (const Octets& part : {transport.wrapped.encrypted, transport.wrapped.mac, transport.ukm}) {
    const std::size_t at = placeOf(part, message);
    for (std::size_t bit = at * 8; bit < (at + part.size()) * 8; ++bit) {
      EXPECT_EQ(developeError(flipped(message, bit), 0, recipient()),
                static_cast<DWORD>(NTE_BAD_DATA));
    }
  }
}

TEST_P(ChangedKey, OfGostLeavesTheMessageAsItWas) {
  const Octets message = good();
  const GostKeyTransport transport = *readGostKeyTransport(encryptedKeyOf(message));
  const MessageHandle decoded =
      decode(flipped(message, placeOf(transport.wrapped.encrypted, message) * 8));
  ASSERT_EQ(decryptError(decoded, 0, recipient()), static_cast<DWORD>(NTE_BAD_DATA));
  const Octets ciphertext(message.end() - static_cast<std::ptrdiff_t>(kContent.size()),
                          message.end());
  EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), ciphertext) << "never garbage";
}

INSTANTIATE_TEST_SUITE_P(Gost,
                         ChangedKey,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512),
                         kindOf);

TEST(RsaEnvelope, WithAKeyOfBadPaddingIsBadData) {
  Signer& recipient = signer(KeyKind::Rsa2048);
  const Octets message = envelope({&recipient}, kContent);
  const std::size_t at = placeOf(encryptedKeyOf(message), message);
  for (std::size_t byte = 0; byte < 256; byte += 16) {
    EXPECT_EQ(developeError(flipped(message, (at + byte) * 8), 0, recipient),
              static_cast<DWORD>(NTE_BAD_DATA))
        << byte;
  }
}

TEST(RsaEnvelope, WithAKeyOfAnotherLengthIsBadData) {
  Signer& recipient = signer(KeyKind::Rsa2048);
  Octets message = envelope({&recipient}, kContent);
  const std::size_t at = placeOf(encryptedKeyOf(message), message);
  const auto key = publicKeyOf(recipient.info().SubjectPublicKeyInfo);
  for (const std::size_t length : {0U, 1U, 16U, 31U, 33U, 245U}) {
    const auto encrypted = encryptKeyRsa(**key, content(length));
    ASSERT_TRUE(encrypted);
    std::ranges::copy(*encrypted, message.begin() + static_cast<std::ptrdiff_t>(at));
    EXPECT_EQ(developeError(message, 0, recipient), static_cast<DWORD>(NTE_BAD_DATA)) << length;
  }
}

TEST(RsaEnvelope, WithBadPaddingOfTheContentIsBadData) {
  Signer& recipient = signer(KeyKind::Rsa2048);
  const Octets good = opensslEncrypt({&recipient}, kContent, {"-aes-256-cbc"});
  std::size_t refused = 0;
  for (std::size_t bit = (good.size() - 16) * 8; bit < good.size() * 8; ++bit) {
    const DWORD error = developeError(flipped(good, bit), 0, recipient);
    EXPECT_TRUE(error == ERROR_SUCCESS || error == static_cast<DWORD>(NTE_BAD_DATA));
    refused += error == ERROR_SUCCESS ? 0U : 1U;
  }
  EXPECT_GT(refused, 100U) << "one in 256 garbled blocks ends as padding does";
}

TEST(RsaEnvelope, OfAnotherKeyIsBadData) {
  const Octets message = envelope({&signer(KeyKind::Rsa2048)}, kContent);
  EXPECT_EQ(developeError(message, 0, signer(KeyKind::Rsa2048, 1)),
            static_cast<DWORD>(NTE_BAD_DATA));
}

}  // namespace
}  // namespace qx::test::envelope_tamper_test
