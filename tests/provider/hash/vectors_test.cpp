#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "provider/hash/hash.h"
#include "tests/provider/der/hex.h"

// Values that others published.

namespace qx::vectors_test {
namespace {

using test::bytesOfText;
using test::fromHex;
using test::toHex;

constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::string_view kDigits =
    "12345678901234567890123456789012345678901234567890123456789012345678901234567890";
constexpr std::string_view kTwoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
constexpr std::string_view kTwoLongBlocks =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmn"
    "hijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu";

struct Vector {
  HashAlgorithm algorithm;
  std::string_view text;
  std::string_view hash;
};

// clang-format off
// NOLINTBEGIN(modernize-use-designated-initializers): rows of a table
const Vector kVectors[] = {
    // RFC 1319, A.5
    {HashAlgorithm::Md2, "a", "32ec01ec4a6dac72c0ab96fb34c0b5d1"},
    {HashAlgorithm::Md2, kLetters, "4e8ddff3650292ab5a4108c3aa47940b"},
    {HashAlgorithm::Md2, kAlphabet, "da33def2a42df13975352846c30338cd"},
    {HashAlgorithm::Md2, kDigits, "d5976f79d83d3a0dc9806c3c66f3efd8"},
    // RFC 1321, A.5
    {HashAlgorithm::Md5, "a", "0cc175b9c0f1b6a831c399e269772661"},
    {HashAlgorithm::Md5, "message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {HashAlgorithm::Md5, kLetters, "c3fcd3d76192e4007dfb496cca67e13b"},
    {HashAlgorithm::Md5, kAlphabet, "d174ab98d277d9f5a5611c2c9f419d9f"},
    {HashAlgorithm::Md5, kDigits, "57edf4a22be3c955ac49da2e2107b67a"},
    // FIPS 180, messages of two blocks
    {HashAlgorithm::Sha1, kTwoBlocks, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
    {HashAlgorithm::Sha256, kTwoBlocks,
     "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
    {HashAlgorithm::Sha384, kTwoLongBlocks,
     "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712"
     "fcc7c71a557e2db966c3e9fa91746039"},
    {HashAlgorithm::Sha512, kTwoLongBlocks,
     "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
     "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
    // R 34.11-94 with the set of RFC 4357: the values in common use for it
    {HashAlgorithm::Gost94, "This is message, length=32 bytes",
     "2cefc2f7b7bdc514e18ea57fa74ff357e7fa17d652c75f69cb1be7893ede48eb"},
    {HashAlgorithm::Gost94, "Suppose the original message has length = 50 bytes",
     "c3730c5cbccacf915ac292676f21e8bd4ef75331d9405e5f1a61dc3130a65011"},
    {HashAlgorithm::Gost94, kAlphabet,
     "73b70a39497de53a6e08c67b6d4db853540f03e9389299d9b0156ef7e85d0f61"},
    {HashAlgorithm::Gost94, kDigits,
     "6bc7b38989b28cf93ae8842bf9d752905910a7528a61e5bce0782de43e610c90"},
};
// NOLINTEND(modernize-use-designated-initializers)
// clang-format on

TEST(HashVectors, OfTextsAreGiven) {
  for (const Vector& vector : kVectors) {
    EXPECT_EQ(toHex(hashOf(vector.algorithm, bytesOfText(vector.text)).bytes()), vector.hash)
        << vector.text;
  }
}

TEST(HashVectors, OfTextsAreGivenAlsoOctetByOctet) {
  for (const Vector& vector : kVectors) {
    Hasher hasher(vector.algorithm);
    for (const std::uint8_t octet : bytesOfText(vector.text)) {
      hasher.update({&octet, 1});
    }
    EXPECT_EQ(toHex(hasher.finish().bytes()), vector.hash) << vector.text;
  }
}

// RFC 6986, 10.2: the second message, in octets of the code page that it was written in.
TEST(HashVectors, OfTheSecondMessageOfStreebogAreGiven) {
  const std::vector<std::uint8_t> message = fromHex(
      "d1e520e2e5f2f0e82c20d1f2f0e8e1eee6e820e2edf3f6e82c20e2e5fef2fa20"
      "f120eceef0ff20f1f2f0e5ebe0ece820ede020f5f0e0e1f0fbff20efebfaeafb"
      "20c8e3eef0e5e2fb");
  EXPECT_EQ(toHex(hashOf(HashAlgorithm::Streebog512, message).bytes()),
            "1e88e62226bfca6f9994f1f2d51569e0daf8475a3b0fe61a5300eee46d961376"
            "035fe83549ada2b8620fcd7c496ce5b33f0cb9dddc2b6460143b03dabac9fb28");
  EXPECT_EQ(toHex(hashOf(HashAlgorithm::Streebog256, message).bytes()),
            "9dd2fe4e90409e5da87f53976d7405b0c0cac628fc669a741d50063c557e8f50");
}

struct MillionVector {
  HashAlgorithm algorithm;
  std::string_view hash;
};

// NOLINTBEGIN(modernize-use-designated-initializers): rows of a table
const MillionVector kMillion[] = {
    // FIPS 180
    {HashAlgorithm::Sha1, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
    {HashAlgorithm::Sha256, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    {HashAlgorithm::Sha384,
     "9d0e1809716474cb086e834e310a4a1ced149e9c00f248527972cec5704c2a5b"
     "07b8b3dc38ecc4ebae97ddd87f3d8985"},
    {HashAlgorithm::Sha512,
     "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
     "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
    // in common use
    {HashAlgorithm::Gost94, "8693287aa62f9478f7cb312ec0866b6c4e4a0f11160441e8f4ffcd2715dd554f"},
};

// NOLINTEND(modernize-use-designated-initializers)

TEST(HashVectors, OfAMillionLettersAreGivenInUnevenPieces) {
  const std::vector<std::uint8_t> letters(1'000'000, 'a');
  for (const MillionVector& vector : kMillion) {
    Hasher hasher(vector.algorithm);
    std::size_t at = 0;
    for (std::size_t step = 1; at < letters.size(); step = (step * 3) % 8191 + 1) {
      const std::size_t size = std::min(step, letters.size() - at);
      hasher.update(der::Bytes(letters).subspan(at, size));
      at += size;
    }
    EXPECT_EQ(toHex(hasher.finish().bytes()), vector.hash);
  }
}

TEST(HashVectors, StandForEachAlgorithmThatSigns) {
  std::set<HashAlgorithm> seen = {HashAlgorithm::Streebog256, HashAlgorithm::Streebog512};
  for (const Vector& vector : kVectors) {
    seen.insert(vector.algorithm);
  }
  for (const HashAlgorithm algorithm : {HashAlgorithm::Sha1,
                                        HashAlgorithm::Sha256,
                                        HashAlgorithm::Sha384,
                                        HashAlgorithm::Sha512,
                                        HashAlgorithm::Gost94,
                                        HashAlgorithm::Streebog256,
                                        HashAlgorithm::Streebog512}) {
    EXPECT_TRUE(hashInfo(algorithm).signs);
    EXPECT_TRUE(seen.contains(algorithm)) << hashInfo(algorithm).oid;
  }
}

}  // namespace
}  // namespace qx::vectors_test
