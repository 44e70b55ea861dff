#include "provider/cipher/kexp15.h"

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx {
namespace {

using test::fromHex;
using test::toHex;

// R 1323565.1.017-2018, A: the keys of MAC and cipher, the initial value, the key and its export.
const auto kKeys = fromHex(
    "08090a0b0c0d0e0f0001020304050607101112131415161718191a1b1c1d1e1f"
    "202122232425262728292a2b2c2d2e2f38393a3b3c3d3e3f3031323334353637");
const auto kIv = fromHex("67bed654");
const auto kExported = fromHex(
    "cfd5a12d5b81b6e1e99c916d07900c6ac12703fb3abded55567bf3742c899c75"
    "5dafe7b42e3a8bd9");
constexpr const char* kKey = "8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef";

TEST(Kexp15, ImportsThePublishedKey) {
  const auto key = importKey(BlockCipher::Magma, kKeys, kIv, kExported);
  ASSERT_TRUE(key);
  EXPECT_EQ(toHex(key->bytes()), kKey);
}

TEST(Kexp15, RefusesEveryChange) {
  for (std::size_t bit = 0; bit < kExported.size() * 8; ++bit) {
    auto changed = kExported;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_EQ(importKey(BlockCipher::Magma, kKeys, kIv, changed).error(),
              static_cast<DWORD>(NTE_BAD_DATA));
  }
}

TEST(Kexp15, RefusesOtherKeysAndValues) {
  auto keys = kKeys;
  keys[0] ^= 1U;
  EXPECT_EQ(importKey(BlockCipher::Magma, keys, kIv, kExported).error(),
            static_cast<DWORD>(NTE_BAD_DATA));
  keys = kKeys;
  keys[40] ^= 1U;
  EXPECT_EQ(importKey(BlockCipher::Magma, keys, kIv, kExported).error(),
            static_cast<DWORD>(NTE_BAD_DATA));
  EXPECT_EQ(importKey(BlockCipher::Magma, kKeys, fromHex("67bed655"), kExported).error(),
            static_cast<DWORD>(NTE_BAD_DATA));
}

TEST(Kexp15, RefusesWrongLengths) {
  const der::Bytes keys = kKeys;
  const der::Bytes exported = kExported;
  EXPECT_FALSE(importKey(BlockCipher::Magma, keys.first(63), kIv, exported));
  EXPECT_FALSE(importKey(BlockCipher::Magma, keys, fromHex("67bed6"), exported));
  EXPECT_FALSE(importKey(BlockCipher::Magma, keys, kIv, exported.first(39)));
  EXPECT_FALSE(importKey(BlockCipher::Magma, keys, kIv, {}));
  EXPECT_FALSE(importKey(BlockCipher::Kuznyechik, keys, kIv, exported)) << "its blocks are larger";
}

}  // namespace
}  // namespace qx
