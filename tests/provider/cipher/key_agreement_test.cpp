#include "provider/cipher/key_agreement.h"

#include <memory>

#include <gtest/gtest.h>

#include "provider/cipher/gost28147_wrap.h"
#include "tests/provider/der/hex.h"
#include "tests/support/command.h"
#include "tests/support/kind_name.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::key_agreement_test {
namespace {

using lab::KeyKind;
using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

const Octets kUkm = fromHex("1d80603c8544c727");
const Octets kLongUkm = fromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");

std::shared_ptr<const PrivateKey> generated(KeyKind kind) {
  auto key = PrivateKey::fromEvp(lab::generateKey(kind));
  EXPECT_TRUE(key);
  return *key;
}

PublicKey publicOf(const PrivateKey& key) {
  return *PublicKey::parse(key.spki());
}

std::string publicPem(const PrivateKey& key, const test::TempDir& files, const std::string& name) {
  const std::string file = files.write(name + ".key", lab::toPem(key.evp()));
  const std::string out = files.file(name + ".pub");
  const auto result =
      test::run({"openssl", "pkey", "-engine", "gost", "-in", file, "-pubout", "-out", out});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return out;
}

/// What openssl agrees on, in hexadecimal.
std::string opensslAgrees(const PrivateKey& own, const PrivateKey& other, const Octets& ukm) {
  const test::TempDir files;
  const auto result = test::run({"openssl",
                                 "pkeyutl",
                                 "-engine",
                                 "gost",
                                 "-derive",
                                 "-inkey",
                                 files.write("own", lab::toPem(own.evp())),
                                 "-peerkey",
                                 publicPem(other, files, "other"),
                                 "-pkeyopt",
                                 "ukmhex:" + toHex(ukm)});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return toHex(test::bytesOfText(result.out));
}

constexpr KeyKind kGostKinds[] = {KeyKind::Gost2001, KeyKind::Gost2012_256, KeyKind::Gost2012_512};

class GostAgreement : public ::testing::TestWithParam<KeyKind> {
 protected:
  const std::shared_ptr<const PrivateKey> one_ = generated(GetParam());
  const std::shared_ptr<const PrivateKey> other_ = generated(GetParam());
};

TEST_P(GostAgreement, IsTheSameForBothSides) {
  const auto here = vko(*one_, publicOf(*other_), kUkm);
  const auto there = vko(*other_, publicOf(*one_), kUkm);
  ASSERT_TRUE(here && there);
  EXPECT_EQ(here->size(), kGostKeySize);
  EXPECT_EQ(toHex(here->bytes()), toHex(there->bytes()));
}

TEST_P(GostAgreement, IsThatOfOpenssl) {
  EXPECT_EQ(toHex(vko(*one_, publicOf(*other_), kUkm)->bytes()),
            opensslAgrees(*one_, *other_, kUkm));
}

TEST_P(GostAgreement, DependsOnTheUkm) {
  EXPECT_NE(toHex(vko(*one_, publicOf(*other_), kUkm)->bytes()),
            toHex(vko(*one_, publicOf(*other_), fromHex("1d80603c8544c728"))->bytes()));
}

TEST_P(GostAgreement, IsReachedWithAKeyPairMadeForIt) {
  const auto first = ephemeralVko(publicOf(*other_), kUkm);
  const auto second = ephemeralVko(publicOf(*other_), kUkm);
  ASSERT_TRUE(first && second);
  EXPECT_NE(toHex(first->spki), toHex(second->spki));
  const auto made = PublicKey::parse(first->spki);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->type(), other_->type());
  EXPECT_EQ(toHex(first->key.bytes()), toHex(vko(*other_, *made, kUkm)->bytes()));
}

TEST_P(GostAgreement, RefusesUkmsOfOtherLengths) {
  for (const std::size_t length : {0U, 7U, 9U, 16U, 32U, 33U}) {
    EXPECT_EQ(vko(*one_, publicOf(*other_), Octets(length, 1)).error(),
              static_cast<DWORD>(NTE_BAD_DATA));
    EXPECT_EQ(ephemeralVko(publicOf(*other_), Octets(length, 1)).error(),
              static_cast<DWORD>(NTE_BAD_DATA));
  }
}

TEST_P(GostAgreement, RefusesKeysOfOtherKinds) {
  for (const KeyKind kind : {KeyKind::Gost2001,
                             KeyKind::Gost2012_256,
                             KeyKind::Gost2012_512,
                             KeyKind::Rsa2048,
                             KeyKind::EcP256}) {
    if (kind != GetParam()) {
      EXPECT_EQ(vko(*one_, publicOf(*generated(kind)), kUkm).error(),
                static_cast<DWORD>(NTE_BAD_KEY))
          << lab::kindName(kind);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, GostAgreement, ::testing::ValuesIn(kGostKinds), test::kindOf);

TEST(KeyAgreement, RefusesAnotherCurve) {
  const auto one = generated(KeyKind::Gost2012_256);
  const auto other = PrivateKey::fromEvp(lab::generateGostKey(KeyKind::Gost2012_256, "TCB"));
  ASSERT_TRUE(other);
  EXPECT_EQ(vko(*one, publicOf(**other), kUkm).error(), static_cast<DWORD>(NTE_BAD_KEY));
}

TEST(KeyAgreement, RefusesKeysThatOnlySignOrEncrypt) {
  for (const KeyKind kind : {KeyKind::Rsa2048, KeyKind::EcP256}) {
    const auto key = generated(kind);
    EXPECT_EQ(vko(*key, publicOf(*key), kUkm).error(), static_cast<DWORD>(NTE_BAD_KEY));
    EXPECT_EQ(keg(*key, publicOf(*key), kLongUkm).error(), static_cast<DWORD>(NTE_BAD_KEY));
    EXPECT_EQ(ephemeralVko(publicOf(*key), kUkm).error(), static_cast<DWORD>(NTE_BAD_KEY));
  }
}

// RFC 7836, B: VKO_GOSTR3410_2012_256 with keys of 512 bits.
TEST(KeyAgreement, OfKeysOf512BitsGivesThePublishedKey) {
  const std::string algorithm =
      "302106082a85030701010102301506092a850307010201020106082a85030701010203";
  const auto info =
      readPkcs8(fromHex("3068020100" + algorithm +
                        "0440"
                        "c990ecd972fce84ec4db022778f50fcac726f46708384b8d458304962d7147f8"
                        "c2db41cef22c90b102f2968404f9b9be6d47c79692d81826b32b8daca43cb667"));
  ASSERT_TRUE(info);
  const auto own = PrivateKey::fromPkcs8(**info);
  ASSERT_TRUE(own);
  const auto other =
      PublicKey::parse(fromHex("3081aa" + algorithm +
                               "038184000481 80"
                               "192fe183b9713a077253c72c8735de2ea42a3dbc66ea317838b65fa32523cd5e"
                               "fca974eda7c863f4954d1147f1f2b25c395fce1c129175e876d132e94ed5a651"
                               "04883b414c9b592ec4dc84826f07d0b6d9006dda176ce48c391e3f97d102e03b"
                               "b598bf132a228a45f7201aba08fc524a2d77e43a362ab022ad4028f75bde3b79"));
  ASSERT_TRUE(other);
  EXPECT_EQ(toHex(vko(**own, *other, kUkm)->bytes()),
            "c9a9a77320e2cc559ed72dce6f47e2192ccea95fa648670582c054c0ef36c221");
}

TEST(KeyAgreement, OfTwoKeysIsThatOfOpenssl) {
  for (const KeyKind kind : {KeyKind::Gost2012_256, KeyKind::Gost2012_512}) {
    const auto one = generated(kind);
    const auto other = generated(kind);
    const auto keys = keg(*one, publicOf(*other), kLongUkm);
    ASSERT_TRUE(keys);
    EXPECT_EQ(keys->size(), 2 * kGostKeySize);
    EXPECT_EQ(toHex(keys->bytes()), opensslAgrees(*one, *other, kLongUkm));
    EXPECT_EQ(toHex(keg(*other, publicOf(*one), kLongUkm)->bytes()), toHex(keys->bytes()));
  }
}

TEST(KeyAgreement, OfTwoKeysRefusesOlderKeysAndOtherUkms) {
  const auto old = generated(KeyKind::Gost2001);
  EXPECT_EQ(keg(*old, publicOf(*old), kLongUkm).error(), static_cast<DWORD>(NTE_BAD_KEY));
  const auto key = generated(KeyKind::Gost2012_256);
  for (const std::size_t length : {0U, 8U, 24U, 31U, 33U}) {
    EXPECT_EQ(keg(*key, publicOf(*key), Octets(length, 1)).error(),
              static_cast<DWORD>(NTE_BAD_DATA));
  }
}

}  // namespace
}  // namespace qx::key_agreement_test
