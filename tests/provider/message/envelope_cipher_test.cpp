#include <gtest/gtest.h>

#include "tests/provider/message/envelopes.h"

namespace qx::test::envelope_cipher_test {
namespace {

using lab::KeyKind;

/// A cipher of openssl's that partners may encrypt content with, and a key that it goes with.
struct Cipher {
  const char* option;
  KeyKind kind;
};

class ContentCipher : public ::testing::TestWithParam<Cipher> {
 protected:
  Signer& recipient() const { return signer(GetParam().kind); }

  Octets encrypted(const Octets& content, std::vector<std::string> options = {}) const {
    options.emplace_back(GetParam().option);
    return opensslEncrypt({&recipient()}, content, options);
  }
};

TEST_P(ContentCipher, OfOpensslIsDecrypted) {
  for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 5'000U}) {
    EXPECT_EQ(develope(encrypted(content(size)), 0, recipient()), content(size)) << size;
  }
}

TEST_P(ContentCipher, OfOpensslIsDecryptedFarBeyondASection) {
  const Octets much = content((std::size_t{1} << 20U) + 3);
  EXPECT_EQ(develope(encrypted(much), 0, recipient()), much);
}

TEST_P(ContentCipher, OfOpensslIsDecryptedInSegments) {
  const Octets much = content((std::size_t{1} << 19U) + 11);
  EXPECT_EQ(develope(encrypted(much, {"-stream"}), 0, recipient()), much);
}

std::string cipherText(const ::testing::TestParamInfo<Cipher>& parameter) {
  std::string name = std::string(parameter.param.option) + lab::kindName(parameter.param.kind);
  std::erase(name, '-');
  return name;
}

constexpr Cipher kCiphers[] = {
    {.option = "-aes-128-cbc", .kind = KeyKind::Rsa2048},
    {.option = "-aes-192-cbc", .kind = KeyKind::Rsa2048},
    {.option = "-aes-256-cbc", .kind = KeyKind::Rsa2048},
    {.option = "-gost89", .kind = KeyKind::Rsa2048},
    {.option = "-magma-ctr-acpkm", .kind = KeyKind::Gost2012_256},
    {.option = "-magma-ctr-acpkm-omac", .kind = KeyKind::Gost2012_256},
    {.option = "-kuznyechik-ctr-acpkm", .kind = KeyKind::Gost2012_256},
    {.option = "-kuznyechik-ctr-acpkm-omac", .kind = KeyKind::Gost2012_256},
    {.option = "-magma-ctr-acpkm-omac", .kind = KeyKind::Gost2012_512},
    {.option = "-kuznyechik-ctr-acpkm-omac", .kind = KeyKind::Gost2012_512},
};

INSTANTIATE_TEST_SUITE_P(All, ContentCipher, ::testing::ValuesIn(kCiphers), cipherText);

}  // namespace
}  // namespace qx::test::envelope_cipher_test
