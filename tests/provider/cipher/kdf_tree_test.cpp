#include "provider/cipher/kdf_tree.h"

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx {
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

}  // namespace
}  // namespace qx
