#include "provider/cipher/rsa_transport.h"

#include <algorithm>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include "tests/provider/der/hex.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::rsa_transport_test {
namespace {

using lab::KeyKind;
using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

const Octets kSession = fromHex("8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef");

const PrivateKey& key() {
  static const auto& theKey = *new auto(*PrivateKey::fromEvp(lab::generateKey(KeyKind::Rsa2048)));
  return *theKey;
}

PublicKey publicKey() {
  return *PublicKey::parse(key().spki());
}

/// A block encrypted as it is, whatever its padding.
Octets encryptedRaw(const Octets& block) {
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(key().evp(), nullptr));
  Octets out(block.size());
  std::size_t length = out.size();
  EXPECT_EQ(EVP_PKEY_encrypt_init(context.get()), 1);
  EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING), 1);
  EXPECT_EQ(EVP_PKEY_encrypt(context.get(), out.data(), &length, block.data(), block.size()), 1);
  return out;
}

/// A block as RSAES-PKCS1-v1_5 pads it.
Octets padded(const Octets& message) {
  Octets block(256, 0x77);
  block[0] = 0;
  block[1] = 2;
  block[255 - message.size()] = 0;
  std::ranges::copy(message, block.end() - static_cast<std::ptrdiff_t>(message.size()));
  return block;
}

TEST(RsaTransport, IsUndoneByOpenssl) {
  const auto encrypted = encryptKeyRsa(publicKey(), kSession);
  ASSERT_TRUE(encrypted);
  const test::TempDir files;
  const auto result =
      test::run({"openssl",
                 "pkeyutl",
                 "-decrypt",
                 "-inkey",
                 files.write("key", lab::toPem(key().evp())),
                 "-in",
                 files.write("in", std::string(encrypted->begin(), encrypted->end()))});
  EXPECT_EQ(toHex(test::bytesOfText(result.out)), toHex(kSession)) << result.err;
}

TEST(RsaTransport, IsUndoneByUs) {
  const auto encrypted = encryptKeyRsa(publicKey(), kSession);
  const auto transported = decryptKeyRsa(key(), *encrypted, kSession.size());
  ASSERT_TRUE(transported);
  EXPECT_TRUE(transported->isGood);
  EXPECT_EQ(toHex(transported->key.bytes()), toHex(kSession));
}

TEST(RsaTransport, UndoesAPaddingMadeByHand) {
  const auto transported = decryptKeyRsa(key(), encryptedRaw(padded(kSession)), kSession.size());
  ASSERT_TRUE(transported);
  EXPECT_TRUE(transported->isGood);
}

void expectASubstitute(const Octets& encrypted) {
  const auto one = decryptKeyRsa(key(), encrypted, kSession.size());
  const auto other = decryptKeyRsa(key(), encrypted, kSession.size());
  ASSERT_TRUE(one && other) << "no error that shows";
  EXPECT_FALSE(one->isGood);
  EXPECT_EQ(one->key.size(), kSession.size());
  EXPECT_NE(toHex(one->key.bytes()), toHex(other->key.bytes())) << "random";
  EXPECT_NE(toHex(one->key.bytes()), toHex(kSession));
}

TEST(RsaTransport, GivesRandomOctetsForBadPadding) {
  for (const std::size_t at : {0U, 1U, 5U}) {
    Octets block = padded(kSession);
    block[at] = at == 5 ? 0 : static_cast<std::uint8_t>(block[at] + 1);
    if (at > 0) {
      expectASubstitute(encryptedRaw(block));
    }
  }
  Octets endless(256, 0x77);
  endless[0] = 0;
  endless[1] = 2;
  expectASubstitute(encryptedRaw(endless));
}

TEST(RsaTransport, GivesRandomOctetsForAnotherLength) {
  for (const std::size_t length : {0U, 16U, 31U, 33U, 64U}) {
    expectASubstitute(*encryptKeyRsa(publicKey(), Octets(length, 9)));
  }
}

TEST(RsaTransport, GivesRandomOctetsForWhatIsNoCiphertext) {
  expectASubstitute({});
  expectASubstitute(Octets(255, 1));
  expectASubstitute(Octets(257, 1));
  expectASubstitute(Octets(256, 0xFF));
}

TEST(RsaTransport, NeedsAnRsaKey) {
  const auto other = PrivateKey::fromEvp(lab::generateKey(KeyKind::EcP256));
  EXPECT_EQ(decryptKeyRsa(**other, kSession, 32).error(), static_cast<DWORD>(NTE_BAD_KEY));
  EXPECT_EQ(encryptKeyRsa(*PublicKey::parse((*other)->spki()), kSession).error(),
            static_cast<DWORD>(NTE_BAD_PUBLIC_KEY));
}

TEST(RsaTransport, RefusesASessionKeyThatDoesNotFit) {
  EXPECT_EQ(encryptKeyRsa(publicKey(), Octets(250, 1)).error(),
            static_cast<DWORD>(NTE_BAD_PUBLIC_KEY));
}

}  // namespace
}  // namespace qx::rsa_transport_test
