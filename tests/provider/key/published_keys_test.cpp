// The keys of RFC 9215, appendix A, that have 256 bits, and the one of RFC 4491, 4.2.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "provider/key/private_key.h"
#include "provider/key/public_key.h"
#include "tests/provider/der/hex.h"

namespace qx::published_keys_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

struct Published {
  const char* name;
  const char* algorithm;  ///< AlgorithmIdentifier
  KeyType type;
  const char* key;
  const char* x;
  const char* y;
};

constexpr Published kPublished[] = {
    {.name = "Rfc9215TestSet",
     .algorithm = "301f 06082a85030701010101 3013 06072a850302022300 06082a85030701010202",
     .type = KeyType::Gost2012_256,
     .key = "7a929ade789bb9be10ed359dd39a72c11b60961f49397eee1d19ce9891ec3b28",
     .x = "7f2b49e270db6d90d8595bec458b50c58585ba1d4e9b788f6689dbd8e56fd80b",
     .y = "26f1b489d6701dd185c8413a977b3cbbaf64d1c593d26627dffb101a87ff77da"},
    {.name = "Rfc9215SetA",
     .algorithm = "3017 06082a85030701010101 300b 06092a8503070102010101",
     .type = KeyType::Gost2012_256,
     .key = "3a929ade789bb9be10ed359dd39a72c10b87c83f80be18b85c041f4325b62ec1",
     .x = "99c3df265ea59350640ba69d1de04418af3fea03ec0f85f2dd84e8bed4952774",
     .y = "e218631a69c47c122e2d516da1c09e6bd19344d94389d1f16c0c4d4dcf96f578"},
    {.name = "Rfc4491",
     .algorithm = "301c 06062a8503020213 3012 06072a850302022400 06072a850302021e01",
     .type = KeyType::Gost2001,
     .key = "0b293be050d0082bdae785631a6bab68f35b42786d6dda56afaf169891040f77",
     .x = "577e324fe70f2b6df45c437a0305e5fd2c89318c13cd0875401a026075689584",
     .y = "601aeacabc660fdfb0cbc7567ebba6ea8de40fae857c9ad0038895b916cceb8f"},
};

/// Texts write numbers with their most significant octet first, keys are written the other way round.
Octets reversed(const char* number) {
  const Octets octets = fromHex(number);
  return {octets.rbegin(), octets.rend()};
}

Octets element(std::uint8_t tag, const Octets& content) {
  Octets whole = {tag, static_cast<std::uint8_t>(content.size())};
  whole.insert(whole.end(), content.begin(), content.end());
  return whole;
}

Octets joined(const std::vector<Octets>& parts) {
  Octets whole;
  for (const Octets& part : parts) {
    whole.insert(whole.end(), part.begin(), part.end());
  }
  return whole;
}

class PublishedKey : public ::testing::TestWithParam<Published> {
 protected:
  /// Its PKCS #8; the octets of the key stand in an OCTET STRING of their own or, `bare`, without.
  static Octets pkcs8(bool bare) {
    const Octets octets = reversed(GetParam().key);
    return element(0x30,
                   joined({fromHex("020100"),
                           fromHex(GetParam().algorithm),
                           element(0x04, bare ? octets : element(0x04, octets))}));
  }

  static Octets spki() {
    const Octets point = element(0x04, joined({reversed(GetParam().x), reversed(GetParam().y)}));
    return element(
        0x30,
        joined({fromHex(GetParam().algorithm), element(0x03, joined({fromHex("00"), point}))}));
  }
};

TEST_P(PublishedKey, HasThePublishedPoint) {
  for (const bool bare : {false, true}) {
    const auto info = readPkcs8(pkcs8(bare));
    ASSERT_TRUE(info);
    const auto key = PrivateKey::fromPkcs8(**info);
    ASSERT_TRUE(key) << key.error();
    EXPECT_EQ((*key)->type(), GetParam().type);
    EXPECT_EQ(toHex((*key)->spki()), toHex(spki())) << bare;
  }
}

TEST_P(PublishedKey, IsReadFromItsPoint) {
  const auto key = PublicKey::parse(spki());
  ASSERT_TRUE(key);
  EXPECT_EQ(key->type(), GetParam().type);
}

TEST_P(PublishedKey, IsNotReadFromAPointBesideItsCurve) {
  Octets beside = spki();
  beside.back() ^= 1U;
  EXPECT_FALSE(PublicKey::parse(beside));
}

INSTANTIATE_TEST_SUITE_P(All, PublishedKey, ::testing::ValuesIn(kPublished), [](const auto& one) {
  return std::string(one.param.name);
});

}  // namespace
}  // namespace qx::published_keys_test
