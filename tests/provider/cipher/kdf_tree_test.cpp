#include "provider/cipher/kdf_tree.h"

#include <string>

#include <gtest/gtest.h>
#include <openssl/hmac.h>
#include <openssl/obj_mac.h>

#include "provider/openssl/engine.h"
#include "tests/provider/der/hex.h"

namespace qx::kdf_tree_test {
namespace {

using test::fromHex;
using test::toHex;

// RFC 7836, B: KDF_TREE_GOSTR3411_2012_256, R = 1, L = 512.
TEST(KdfTree, GivesThePublishedKeys) {
  const SecretBytes keys =
      kdfTree(fromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"),
              fromHex("26bdb878"),
              fromHex("af21434145656378"));
  EXPECT_EQ(toHex(keys.bytes()),
            "22b6837845c6bef65ea71672b265831086d3c76aebe6dae91cad51d83f79d16b"
            "074c9330599d7f8d712fca54392f4ddde93751206b3584c8f43f9e6dc51531f9");
}

TEST(KdfTree, DependsOnAllThatItIsGiven) {
  const auto key = fromHex("00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff");
  const std::string first = toHex(kdfTree(key, fromHex("01"), fromHex("02")).bytes());
  EXPECT_NE(toHex(kdfTree(key, fromHex("02"), fromHex("02")).bytes()), first);
  EXPECT_NE(toHex(kdfTree(key, fromHex("01"), fromHex("01")).bytes()), first);
  EXPECT_NE(toHex(kdfTree(fromHex("00"), fromHex("01"), fromHex("02")).bytes()), first);
}

// The same, told with libcrypto's HMAC over the engine's hash.
TEST(KdfTree, IsTheHmacOfItsParts) {
  ASSERT_TRUE(gostEngine());
  const auto key = fromHex("8f5eef8814d228fb2bbc5612323730cfa33db7263cc2c0a01a6c6953f33d61d5");
  const auto label = test::bytesOfText("kdf tree");
  const auto seed = fromHex("c1c2c3c4c5c6c7c8");
  std::string expected;
  for (const std::uint8_t number : {std::uint8_t{1}, std::uint8_t{2}}) {
    std::vector<std::uint8_t> input = {number};
    input.insert(input.end(), label.begin(), label.end());
    input.push_back(0);
    input.insert(input.end(), seed.begin(), seed.end());
    input.insert(input.end(), {0x02, 0x00});
    std::uint8_t mac[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    ASSERT_NE(HMAC(gostDigest(NID_id_GostR3411_2012_256),
                   key.data(),
                   static_cast<int>(key.size()),
                   input.data(),
                   input.size(),
                   mac,
                   &length),
              nullptr);
    expected += toHex({mac, length});
  }
  EXPECT_EQ(toHex(kdfTree(key, label, seed).bytes()), expected);
}

}  // namespace
}  // namespace qx::kdf_tree_test
