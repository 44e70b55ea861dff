#include "provider/cipher/stream.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include "tests/provider/der/hex.h"

namespace qx::stream_test {
namespace {

using test::fromHex;
using test::toHex;

const std::vector<std::uint8_t> kKey = fromHex("2b7e151628aed2a6abf7158809cf4f3c");
const std::vector<std::uint8_t> kIv = fromHex("000102030405060708090a0b0c0d0e0f");

CipherStream opened(Direction direction) {
  auto stream = CipherStream::open(EVP_aes_128_cbc(), direction, kKey, kIv);
  EXPECT_TRUE(stream);
  return *std::move(stream);
}

// NIST SP 800-38A, F.2.1: the first two blocks.
const std::vector<std::uint8_t> kPlain =
    fromHex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51");
constexpr const char* kCipher = "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2";

TEST(CipherStream, GivesThePublishedValues) {
  CipherStream stream = opened(Direction::Encrypt);
  std::vector<std::uint8_t> out(kPlain.size());
  EXPECT_EQ(*stream.update(kPlain, out.data()), kPlain.size());
  EXPECT_EQ(toHex(out), kCipher);
}

TEST(CipherStream, MayWorkInPlace) {
  CipherStream stream = opened(Direction::Encrypt);
  std::vector<std::uint8_t> both = kPlain;
  EXPECT_EQ(*stream.update(both, both.data()), both.size());
  EXPECT_EQ(toHex(both), kCipher);
}

TEST(CipherStream, TellsHowMuchItWrote) {
  CipherStream stream = opened(Direction::Encrypt);
  std::vector<std::uint8_t> out(64);
  EXPECT_EQ(*stream.update({}, out.data()), 0U);
  EXPECT_EQ(*stream.update(der::Bytes(kPlain).first(5), out.data()), 0U);
  EXPECT_EQ(*stream.update(der::Bytes(kPlain).subspan(5), out.data()), 32U);
  EXPECT_EQ(*stream.finish(out.data() + 32), 16U) << "a whole block of padding";
  EXPECT_EQ(toHex(der::Bytes(out).first(32)), kCipher);
}

TEST(CipherStream, RefusesWrongPadding) {
  CipherStream stream = opened(Direction::Decrypt);
  std::vector<std::uint8_t> out(64);
  const auto cipher = fromHex(kCipher);
  ASSERT_TRUE(stream.update(cipher, out.data()));
  EXPECT_EQ(stream.finish(out.data()).error(), static_cast<DWORD>(NTE_BAD_DATA));
}

TEST(CipherStream, NeedsACipher) {
  EXPECT_EQ(CipherStream::open(nullptr, Direction::Encrypt, kKey, kIv).error(),
            static_cast<DWORD>(NTE_FAIL));
}

}  // namespace
}  // namespace qx::stream_test
