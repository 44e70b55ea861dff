#include "provider/cipher/gost28147_wrap.h"

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx::gost28147_wrap_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

const Octets kKek = fromHex("0123456789abcdef112233445566778899aabbccddeeff00fedcba9876543210");
const Octets kUkm = fromHex("a1b2c3d4e5f60718");
const Octets kSession = fromHex("8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef");
constexpr auto kBadData = static_cast<DWORD>(NTE_BAD_DATA);

class KeyWrap : public ::testing::TestWithParam<Gost28147Wrap> {
 protected:
  WrappedKey wrapped(std::string_view set = kGost28147SetA) const {
    auto made = wrapKey(GetParam(), set, kKek, kUkm, kSession);
    EXPECT_TRUE(made);
    return *std::move(made);
  }

  Result<SecretBytes> unwrapped(const WrappedKey& wrapped) const {
    return unwrapKey(GetParam(), kGost28147SetA, kKek, kUkm, wrapped);
  }
};

TEST_P(KeyWrap, IsUndone) {
  for (const std::string_view set : {kGost28147SetA, kGost28147SetZ}) {
    const auto key = unwrapKey(GetParam(), set, kKek, kUkm, wrapped(set));
    ASSERT_TRUE(key);
    EXPECT_EQ(toHex(key->bytes()), toHex(kSession));
  }
}

TEST_P(KeyWrap, IsOneOfItsSet) {
  EXPECT_EQ(unwrapKey(GetParam(), kGost28147SetZ, kKek, kUkm, wrapped()).error(), kBadData);
}

TEST_P(KeyWrap, RefusesEveryChange) {
  for (std::size_t bit = 0; bit < kGostKeySize * 8; ++bit) {
    WrappedKey changed = wrapped();
    changed.encrypted[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_EQ(unwrapped(changed).error(), kBadData);
  }
  for (std::size_t bit = 0; bit < kGost28147MacSize * 8; ++bit) {
    WrappedKey changed = wrapped();
    changed.mac[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_EQ(unwrapped(changed).error(), kBadData);
  }
}

TEST_P(KeyWrap, RefusesOtherKeysAndUkms) {
  Octets kek = kKek;
  kek[31] ^= 1U;
  EXPECT_EQ(unwrapKey(GetParam(), kGost28147SetA, kek, kUkm, wrapped()).error(), kBadData);
  Octets ukm = kUkm;
  ukm[7] ^= 1U;
  EXPECT_EQ(unwrapKey(GetParam(), kGost28147SetA, kKek, ukm, wrapped()).error(), kBadData);
}

TEST_P(KeyWrap, RefusesWrongLengths) {
  for (const std::size_t length : {0U, 31U, 33U, 40U}) {
    WrappedKey changed = wrapped();
    changed.encrypted.resize(length);
    EXPECT_EQ(unwrapped(changed).error(), kBadData) << length;
  }
  for (const std::size_t length : {0U, 3U, 5U}) {
    WrappedKey changed = wrapped();
    changed.mac.resize(length);
    EXPECT_EQ(unwrapped(changed).error(), kBadData) << length;
  }
  const der::Bytes kek = kKek;
  const der::Bytes ukm = kUkm;
  EXPECT_FALSE(unwrapKey(GetParam(), kGost28147SetA, kek.first(31), ukm, wrapped()));
  EXPECT_FALSE(unwrapKey(GetParam(), kGost28147SetA, kek, ukm.first(7), wrapped()));
  EXPECT_FALSE(wrapKey(GetParam(), kGost28147SetA, kek, ukm.first(7), kSession));
}

TEST_P(KeyWrap, RefusesUnknownSets) {
  EXPECT_EQ(wrapKey(GetParam(), "1.2.3", kKek, kUkm, kSession).error(),
            static_cast<DWORD>(NTE_BAD_ALGID));
  EXPECT_EQ(unwrapKey(GetParam(), "1.2.3", kKek, kUkm, wrapped()).error(),
            static_cast<DWORD>(NTE_BAD_ALGID));
}

INSTANTIATE_TEST_SUITE_P(All,
                         KeyWrap,
                         ::testing::Values(Gost28147Wrap::Plain, Gost28147Wrap::Diversified));

// What the diversified wrap does is checked against openssl with whole messages.

TEST(KeyWrapPlain, IsTheCipherAndTheMacOfTheKey) {
  const auto wrapped = wrapKey(Gost28147Wrap::Plain, kGost28147SetA, kKek, kUkm, kSession);
  EXPECT_EQ(toHex(wrapped->encrypted),
            toHex(gost28147Encrypt(kGost28147SetA, kKek, kSession)->bytes()));
  EXPECT_EQ(toHex(wrapped->mac), toHex(*gost28147Mac(kGost28147SetA, kUkm, kKek, kSession)));
}

TEST(KeyWrapDiversified, IsThePlainOneWithTheDiversifiedKey) {
  const auto key = diversifyKey(kGost28147SetA, kKek, kUkm);
  ASSERT_TRUE(key);
  EXPECT_NE(toHex(key->bytes()), toHex(kKek));
  const auto plain = wrapKey(Gost28147Wrap::Plain, kGost28147SetA, key->bytes(), kUkm, kSession);
  const auto diversified =
      wrapKey(Gost28147Wrap::Diversified, kGost28147SetA, kKek, kUkm, kSession);
  EXPECT_EQ(toHex(plain->encrypted), toHex(diversified->encrypted));
  EXPECT_EQ(toHex(plain->mac), toHex(diversified->mac));
}

}  // namespace
}  // namespace qx::gost28147_wrap_test
