#include "provider/hash/hash.h"

#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "platform/oid_info.h"

#include "tests/provider/der/hex.h"
#include "tests/support/command.h"

namespace qx::hash_test {
namespace {

using test::bytesOfText;
using test::toHex;

constexpr HashAlgorithm kAll[] = {HashAlgorithm::Md2,
                                  HashAlgorithm::Md5,
                                  HashAlgorithm::Sha1,
                                  HashAlgorithm::Sha256,
                                  HashAlgorithm::Sha384,
                                  HashAlgorithm::Sha512,
                                  HashAlgorithm::Gost94,
                                  HashAlgorithm::Streebog256,
                                  HashAlgorithm::Streebog512};

std::string hashText(HashAlgorithm algorithm, std::string_view text) {
  return toHex(hashOf(algorithm, bytesOfText(text)).bytes());
}

struct Vector {
  HashAlgorithm algorithm;
  const char* text;
  const char* hash;
};

// clang-format off
const Vector kVectors[] = {
    // RFC 1319, A.5
    {HashAlgorithm::Md2, "", "8350e5a3e24c153df2275c9f80692773"},
    {HashAlgorithm::Md2, "abc", "da853b0d3f88d99b30283a69e6ded6bb"},
    {HashAlgorithm::Md2, "message digest", "ab4f496bfb2a530b219ff33031fe06b0"},
    // RFC 1321, A.5
    {HashAlgorithm::Md5, "", "d41d8cd98f00b204e9800998ecf8427e"},
    {HashAlgorithm::Md5, "abc", "900150983cd24fb0d6963f7d28e17f72"},
    // FIPS 180, examples and the empty message
    {HashAlgorithm::Sha1, "", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
    {HashAlgorithm::Sha1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {HashAlgorithm::Sha256, "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    {HashAlgorithm::Sha256, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {HashAlgorithm::Sha384, "", "38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da"
                                "274edebfe76f65fbd51ad2f14898b95b"},
    {HashAlgorithm::Sha384, "abc", "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
                                   "8086072ba1e7cc2358baeca134c825a7"},
    {HashAlgorithm::Sha512, "", "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
                                "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e"},
    {HashAlgorithm::Sha512, "abc", "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                                   "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
    // R 34.11-94 with the set of RFC 4357: the values in common use for it
    {HashAlgorithm::Gost94, "", "981e5f3ca30c841487830f84fb433e13ac1101569b9c13584ac483234cd656c0"},
    {HashAlgorithm::Gost94, "a", "e74c52dd282183bf37af0079c9f78055715a103f17e3133ceff1aacf2f403011"},
    {HashAlgorithm::Gost94, "abc", "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"},
    {HashAlgorithm::Gost94, "message digest", "bc6041dd2aa401ebfa6e9886734174febdb4729aa972d60f549ac39b29721ba0"},
    // RFC 6986, 10.1 (octets in their order), and the empty message
    {HashAlgorithm::Streebog256, "012345678901234567890123456789012345678901234567890123456789012",
     "9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500"},
    {HashAlgorithm::Streebog512, "012345678901234567890123456789012345678901234567890123456789012",
     "1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa"
     "00ad30f8767b3a82384c6574f024c311e2a481332b08ef7f41797891c1646f48"},
    {HashAlgorithm::Streebog256, "", "3f539a213e97c802cc229d474c6aa32a825a360b2a933a949fd925208d9ce1bb"},
    {HashAlgorithm::Streebog512, "",
     "8e945da209aa869f0455928529bcae4679e9873ab707b55315f56ceb98bef0a7"
     "362f715528356ee83cda5f2aac4c6ad2ba3a715c1bcd81cb8e9f90bf4c1c1a8a"},
};
// clang-format on

TEST(Hash, GivesThePublishedValues) {
  std::set<HashAlgorithm> seen;
  for (const Vector& vector : kVectors) {
    EXPECT_EQ(hashText(vector.algorithm, vector.text), vector.hash) << vector.text;
    seen.insert(vector.algorithm);
  }
  EXPECT_EQ(seen.size(), std::size(kAll)) << "each algorithm has a vector";
}

TEST(Hash, GivesTheSameInPiecesAsInOne) {
  const std::vector<std::uint8_t> data(1000, 0xA7);
  for (const HashAlgorithm algorithm : kAll) {
    for (const std::size_t step : {1U, 31U, 32U, 64U, 129U, 999U}) {
      Hasher hasher(algorithm);
      for (std::size_t at = 0; at < data.size(); at += step) {
        hasher.update(der::Bytes(data).subspan(at, std::min(step, data.size() - at)));
        hasher.update({});
      }
      EXPECT_EQ(toHex(hasher.finish().bytes()), toHex(hashOf(algorithm, data).bytes()));
    }
  }
}

// What the engine says of the same bytes. Its R 34.11-94 is right for every message but the empty one.
TEST(Hash, AgreesWithTheGostEngine) {
  const std::pair<HashAlgorithm, const char*> names[] = {
      {HashAlgorithm::Gost94, "-md_gost94"},
      {HashAlgorithm::Streebog256, "-md_gost12_256"},
      {HashAlgorithm::Streebog512, "-md_gost12_512"},
  };
  const std::string text(100'003, 'q');
  for (const auto& [algorithm, option] : names) {
    const auto result = test::run(
        {.arguments = {"openssl", "dgst", "-engine", "gost", option, "-r"}, .input = text});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.substr(0, result.out.find(' ')), hashText(algorithm, text)) << option;
  }
}

TEST(Hash, DescribesEachAlgorithmAsTheTableOfOidsDoes) {
  for (const HashAlgorithm algorithm : kAll) {
    const HashInfo& info = hashInfo(algorithm);
    EXPECT_EQ(info.algorithm, algorithm);
    EXPECT_EQ(info.length, hashOf(algorithm, {}).size()) << info.oid;
    EXPECT_LE(info.length, kMaxHashLength);
    EXPECT_EQ(hashByOid(info.oid), &info);
    EXPECT_EQ(CertOIDToAlgId(std::string(info.oid).c_str()), info.algId) << info.oid;
  }
}

TEST(Hash, FindsTheHashInsideASignatureAlgorithm) {
  const std::pair<const char*, HashAlgorithm> names[] = {
      {"1.2.840.113549.1.1.2", HashAlgorithm::Md2},
      {"1.2.840.113549.1.1.4", HashAlgorithm::Md5},
      {"1.2.840.113549.1.1.5", HashAlgorithm::Sha1},
      {"1.3.14.3.2.29", HashAlgorithm::Sha1},
      {"1.2.840.113549.1.1.11", HashAlgorithm::Sha256},
      {"1.2.840.113549.1.1.12", HashAlgorithm::Sha384},
      {"1.2.840.113549.1.1.13", HashAlgorithm::Sha512},
      {"1.2.840.10045.4.1", HashAlgorithm::Sha1},
      {"1.2.840.10045.4.3.2", HashAlgorithm::Sha256},
      {"1.2.840.10045.4.3.3", HashAlgorithm::Sha384},
      {"1.2.840.10045.4.3.4", HashAlgorithm::Sha512},
      {"1.2.643.2.2.3", HashAlgorithm::Gost94},
      {"1.2.643.7.1.1.3.2", HashAlgorithm::Streebog256},
      {"1.2.643.7.1.1.3.3", HashAlgorithm::Streebog512},
  };
  for (const auto& [oid, algorithm] : names) {
    ASSERT_NE(hashByOid(oid), nullptr) << oid;
    EXPECT_EQ(hashByOid(oid)->algorithm, algorithm) << oid;
  }
}

TEST(Hash, KnowsNoOtherOids) {
  for (const char* oid : {"", "1.2.840.113549.2.4", "1.2.840.113549.1.1.1", "1.2.643.2.2.9.1"}) {
    EXPECT_EQ(hashByOid(oid), nullptr) << oid;
  }
}

TEST(Hash, KeepsBrokenAlgorithmsFromSigning) {
  for (const HashAlgorithm algorithm : kAll) {
    const bool broken = algorithm == HashAlgorithm::Md2 || algorithm == HashAlgorithm::Md5;
    EXPECT_EQ(hashInfo(algorithm).signs, !broken) << hashInfo(algorithm).oid;
  }
}

}  // namespace
}  // namespace qx::hash_test
