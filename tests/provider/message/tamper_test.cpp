#include <algorithm>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/provider/message/signers.h"
#include "tests/support/kind_name.h"

namespace qx::test::tamper_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Signed, not to be changed.");

/// Verifies as a caller does who looks the certificate up by what the message says.
bool verifies(const Octets& bytes, Signer& one, const Octets* detached) {
  const MessageHandle message = openDecoder(detached == nullptr ? 0 : CMSG_DETACHED_FLAG);
  if (update(message, bytes) != ERROR_SUCCESS) {
    return false;
  }
  if (detached != nullptr && update(message, *detached) != ERROR_SUCCESS) {
    return false;
  }
  DWORD count = 0;
  DWORD size = sizeof count;
  return CryptMsgGetParam(message.get(), CMSG_SIGNER_COUNT_PARAM, 0, &count, &size) != FALSE &&
         count == 1 && verify(message, 0, one.context()) == ERROR_SUCCESS &&
         control(message, CMSG_CTRL_VERIFY_SIGNATURE, &one.info()) == ERROR_SUCCESS;
}

void expectNoFlippedBitToPass(const Octets& good, Signer& one, const Octets* detached) {
  ASSERT_TRUE(verifies(good, one, detached));
  for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
    Octets bad = good;
    bad[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_FALSE(verifies(bad, one, detached))
        << "bit " << bit % 8 << " of byte " << bit / 8 << " in " << toHex(good);
  }
}

class Tamper : public ::testing::TestWithParam<KeyKind> {
 protected:
  Signer& one() const { return signer(GetParam()); }

  Octets message(DWORD flags) const {
    // A certificate inside is not what the signature is verified with.
    return sign({&one()}, kContent, {.flags = flags, .certificates = false});
  }
};

TEST_P(Tamper, NoFlippedBitOfAPlainMessagePasses) {
  expectNoFlippedBitToPass(message(0), one(), nullptr);
}

TEST_P(Tamper, NoFlippedBitOfAMessageWithAttributesPasses) {
  expectNoFlippedBitToPass(message(CMSG_AUTHENTICATED_ATTRIBUTES_FLAG), one(), nullptr);
}

TEST_P(Tamper, NoFlippedBitOfADetachedMessagePasses) {
  expectNoFlippedBitToPass(
      message(CMSG_DETACHED_FLAG | CMSG_AUTHENTICATED_ATTRIBUTES_FLAG), one(), &kContent);
}

INSTANTIATE_TEST_SUITE_P(Keys, Tamper, ::testing::ValuesIn(allKinds()), kindOf);

TEST(TamperDetached, NoFlippedBitOfTheContentPasses) {
  Signer& one = signer(KeyKind::Gost2012_256);
  const Octets bytes = sign({&one}, kContent, {.flags = CMSG_DETACHED_FLAG});
  for (std::size_t bit = 0; bit < kContent.size() * 8; ++bit) {
    Octets bad = kContent;
    bad[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_FALSE(verifies(bytes, one, &bad)) << bit;
  }
}

TEST(TamperCertificates, AFlippedBitOfTheSetsFramesIsRefused) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets good = sign({&one}, kContent);
  const auto at = text(good).find(text(one.der()));
  ASSERT_NE(at, std::string::npos);
  // The field's own header: 30 a0 82 LL LL, then the certificate.
  for (std::size_t byte = at - 4; byte < at; ++byte) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      Octets bad = good;
      bad[byte] ^= static_cast<std::uint8_t>(1U << bit);
      EXPECT_FALSE(verifies(bad, one, nullptr)) << byte - at << ", " << bit;
    }
  }
}

TEST(TamperLength, NoCutMessageIsDecoded) {
  for (const DWORD flags : {DWORD{0}, CMSG_AUTHENTICATED_ATTRIBUTES_FLAG}) {
    const Octets good = sign({&signer(KeyKind::EcP256)}, kContent, {.flags = flags});
    for (std::size_t length = 0; length < good.size(); ++length) {
      EXPECT_EQ(decodeError(der::Bytes(good).first(length)), CRYPT_E_ASN1_EOD) << length;
    }
  }
}

TEST(TamperLength, NoCutStreamedMessageIsDecoded) {
  const Octets good = opensslSign({&signer(KeyKind::EcP256)}, kContent, {"-nodetach", "-stream"});
  ASSERT_EQ(good[1], 0x80) << "indefinite";
  for (std::size_t length = 0; length < good.size(); ++length) {
    EXPECT_NE(decodeError(der::Bytes(good).first(length)), ERROR_SUCCESS) << length;
  }
}

// Every length octet of the frame made to lie, also by claims of 2 GB and more.
TEST(TamperLength, NoLyingLengthPasses) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets good =
      sign({&one}, kContent, {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG, .certificates = false});
  for (std::size_t at = 1; at < good.size(); ++at) {
    for (const char* lie : {"80",
                            "8100",
                            "81ff",
                            "8400000000",
                            "847fffffff",
                            "84ffffffff",
                            "88ffffffffffffffff",
                            "8901ffffffffffffffff",
                            "ff"}) {
      Octets bad(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(at));
      const Octets length = fromHex(lie);
      bad.insert(bad.end(), length.begin(), length.end());
      bad.insert(bad.end(), good.begin() + static_cast<std::ptrdiff_t>(at) + 1, good.end());
      // What stands behind a message is not looked at.
      if (!std::equal(good.begin(), good.end(), bad.begin())) {
        EXPECT_FALSE(verifies(bad, one, nullptr)) << at << ' ' << lie;
      }
    }
  }
}

// Two signers of which each is given the other's signature.
TEST(TamperSigners, SwappedSignaturesDoNotPass) {
  Signer& first = signer(KeyKind::Gost2012_256);
  Signer& second = signer(KeyKind::Gost2012_256, 1);
  const Octets good = sign({&first, &second}, kContent);
  const MessageHandle message = decode(good);
  const Octets one = bytesParam(message, CMSG_ENCRYPTED_DIGEST, 0);
  const Octets two = bytesParam(message, CMSG_ENCRYPTED_DIGEST, 1);
  Octets bad = good;
  const auto place = [&good](const Octets& what) {
    return static_cast<std::ptrdiff_t>(text(good).find(text(what)));
  };
  std::ranges::copy(two, bad.begin() + place(one));
  std::ranges::copy(one, bad.begin() + place(two));
  const MessageHandle swapped = decode(bad);
  EXPECT_EQ(verify(swapped, 0, first.context()), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verify(swapped, 1, second.context()), NTE_BAD_SIGNATURE);
}

}  // namespace
}  // namespace qx::test::tamper_test
