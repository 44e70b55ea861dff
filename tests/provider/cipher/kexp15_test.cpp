#include "provider/cipher/kexp15.h"

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx::kexp15_test {
namespace {

using test::fromHex;
using test::toHex;

constexpr auto kBadData = static_cast<DWORD>(NTE_BAD_DATA);

/// R 1323565.1.017-2018, A: the keys of MAC and cipher and the key are the same in both examples.
const auto kKeys = fromHex(
    "08090a0b0c0d0e0f0001020304050607101112131415161718191a1b1c1d1e1f"
    "202122232425262728292a2b2c2d2e2f38393a3b3c3d3e3f3031323334353637");
constexpr const char* kKey = "8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef";

struct Example {
  BlockCipher cipher;
  const char* name;
  const char* iv;
  const char* exported;
};

constexpr Example kExamples[] = {
    {.cipher = BlockCipher::Magma,
     .name = "Magma",
     .iv = "67bed654",
     .exported = "cfd5a12d5b81b6e1e99c916d07900c6ac12703fb3abded55567bf3742c899c75"
                 "5dafe7b42e3a8bd9"},
    {.cipher = BlockCipher::Kuznyechik,
     .name = "Kuznyechik",
     .iv = "0909472dd9f26be8",
     .exported = "e36184e84e8d736ff36cc2e5ae065dc656b23c20f549b02fdff88e1f3f30d8c2"
                 "9a53f3ca554dbad80de152b9a4625b32"},
};

class Kexp15 : public ::testing::TestWithParam<Example> {
 protected:
  const std::vector<std::uint8_t> iv_ = fromHex(GetParam().iv);
  const std::vector<std::uint8_t> exported_ = fromHex(GetParam().exported);

  Result<SecretBytes> imported(der::Bytes keys, der::Bytes iv, der::Bytes exported) const {
    return importKey(GetParam().cipher, keys, iv, exported);
  }
};

TEST_P(Kexp15, ImportsThePublishedKey) {
  const auto key = imported(kKeys, iv_, exported_);
  ASSERT_TRUE(key);
  EXPECT_EQ(toHex(key->bytes()), kKey);
}

TEST_P(Kexp15, RefusesEveryChange) {
  for (std::size_t bit = 0; bit < exported_.size() * 8; ++bit) {
    auto changed = exported_;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_EQ(imported(kKeys, iv_, changed).error(), kBadData);
  }
}

TEST_P(Kexp15, RefusesOtherKeys) {
  for (std::size_t at = 0; at < kKeys.size(); ++at) {
    auto keys = kKeys;
    keys[at] ^= 1U;
    EXPECT_EQ(imported(keys, iv_, exported_).error(), kBadData) << at;
  }
}

TEST_P(Kexp15, RefusesOtherInitialValues) {
  for (std::size_t bit = 0; bit < iv_.size() * 8; ++bit) {
    auto iv = iv_;
    iv[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_EQ(imported(kKeys, iv, exported_).error(), kBadData) << bit;
  }
}

TEST_P(Kexp15, RefusesWrongLengths) {
  auto longer = exported_;
  longer.push_back(0);
  EXPECT_EQ(imported(kKeys, iv_, longer).error(), kBadData);
  for (std::size_t length = 0; length < exported_.size(); ++length) {
    EXPECT_EQ(imported(kKeys, iv_, der::Bytes(exported_).first(length)).error(), kBadData);
  }
  for (const std::size_t length : {0U, 32U, 63U}) {
    EXPECT_EQ(imported(der::Bytes(kKeys).first(length), iv_, exported_).error(), kBadData);
  }
  for (std::size_t length = 0; length < iv_.size(); ++length) {
    EXPECT_EQ(imported(kKeys, der::Bytes(iv_).first(length), exported_).error(), kBadData);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Kexp15, ::testing::ValuesIn(kExamples), [](const auto& one) {
  return std::string(one.param.name);
});

TEST(Kexp15Exports, AreOfTheirCipher) {
  const auto iv = fromHex(kExamples[0].iv);
  const auto exported = fromHex(kExamples[0].exported);
  EXPECT_EQ(importKey(BlockCipher::Kuznyechik, kKeys, iv, exported).error(), kBadData);
}

}  // namespace
}  // namespace qx::kexp15_test
