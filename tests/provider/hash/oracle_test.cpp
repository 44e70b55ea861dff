#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/objects.h>

#include "provider/hash/hash.h"
#include "provider/hash/libcrypto_hash.h"
#include "provider/hash/nettle_hash.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"
#include "tests/provider/der/hex.h"
#include "tests/support/command.h"

// The same bytes, hashed by the openssl command, by libcrypto and by the engine.

namespace qx::oracle_test {
namespace {

using test::toHex;
using Octets = std::vector<std::uint8_t>;

Octets sample(std::size_t size) {
  Octets octets(size);
  for (std::size_t i = 0; i < size; ++i) {
    octets[i] = static_cast<std::uint8_t>((i * 2'654'435'761U) >> 13U);
  }
  return octets;
}

// Around the ends of blocks of 16, 32, 64 and 128 octets, where padding changes.
std::vector<std::size_t> sizes() {
  std::vector<std::size_t> all;
  for (const std::size_t block : {16U, 32U, 64U, 128U, 4096U}) {
    for (const std::size_t less : {17U, 16U, 9U, 8U, 1U, 0U}) {
      if (block > less) {
        all.push_back(block - less);
      }
    }
    all.push_back(block + 1);
  }
  return all;
}

struct Peer {
  HashAlgorithm algorithm;
  const char* name;
};

const Peer kLibcryptoPeers[] = {{.algorithm = HashAlgorithm::Md5, .name = "MD5"},
                                {.algorithm = HashAlgorithm::Sha1, .name = "SHA1"},
                                {.algorithm = HashAlgorithm::Sha256, .name = "SHA256"},
                                {.algorithm = HashAlgorithm::Sha384, .name = "SHA384"},
                                {.algorithm = HashAlgorithm::Sha512, .name = "SHA512"}};

const Peer kEnginePeers[] = {{.algorithm = HashAlgorithm::Gost94, .name = "md_gost94"},
                             {.algorithm = HashAlgorithm::Streebog256, .name = "md_gost12_256"},
                             {.algorithm = HashAlgorithm::Streebog512, .name = "md_gost12_512"}};

std::string digestBy(const EVP_MD* digest, const Octets& data) {
  unsigned char value[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  EXPECT_EQ(EVP_Digest(data.data(), data.size(), value, &size, digest, nullptr), 1);
  return toHex({value, size});
}

TEST(HashOracle, AgreesWithLibcryptoAtTheEndsOfBlocks) {
  for (const Peer& peer : kLibcryptoPeers) {
    const EvpMdPtr digest(EVP_MD_fetch(libraryContext(), peer.name, nullptr));
    ASSERT_NE(digest, nullptr) << peer.name;
    for (const std::size_t size : sizes()) {
      const Octets data = sample(size);
      EXPECT_EQ(toHex(hashOf(peer.algorithm, data).bytes()), digestBy(digest.get(), data))
          << peer.name << ' ' << size;
    }
  }
}

TEST(HashOracle, AgreesWithTheEngineAtTheEndsOfBlocks) {
  for (const Peer& peer : kEnginePeers) {
    const EVP_MD* digest =
        gostDigest(OBJ_txt2nid(std::string(hashInfo(peer.algorithm).oid).c_str()));
    ASSERT_NE(digest, nullptr) << peer.name;
    for (const std::size_t size : sizes()) {
      const Octets data = sample(size);
      EXPECT_EQ(toHex(hashOf(peer.algorithm, data).bytes()), digestBy(digest, data))
          << peer.name << ' ' << size;
    }
  }
}

// A program of its own, so that nothing of this process has a part in it.
TEST(HashOracle, AgreesWithTheOpensslCommand) {
  const Octets data = sample(70'001);
  for (const Peer& peer : kLibcryptoPeers) {
    std::string option = "-" + std::string(peer.name);
    const auto result = test::run(
        {.arguments = {"openssl", "dgst", option, "-r"}, .input = {data.begin(), data.end()}});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.substr(0, result.out.find(' ')),
              toHex(hashOf(peer.algorithm, data).bytes()))
        << option;
  }
}

TEST(HashOracle, CarriesOnWhereAPieceEndedInABlock) {
  const Octets data = sample(300);
  const der::Bytes bytes(data);
  for (const HashAlgorithm algorithm : {HashAlgorithm::Md2,
                                        HashAlgorithm::Md5,
                                        HashAlgorithm::Sha1,
                                        HashAlgorithm::Sha256,
                                        HashAlgorithm::Sha384,
                                        HashAlgorithm::Sha512,
                                        HashAlgorithm::Gost94,
                                        HashAlgorithm::Streebog256,
                                        HashAlgorithm::Streebog512}) {
    const std::string whole = toHex(hashOf(algorithm, data).bytes());
    for (std::size_t cut = 0; cut <= data.size(); ++cut) {
      Hasher hasher(algorithm);
      hasher.update(bytes.first(cut));
      hasher.update(bytes.subspan(cut));
      ASSERT_EQ(toHex(hasher.finish().bytes()), whole) << hashInfo(algorithm).oid << ' ' << cut;
    }
  }
}

TEST(HashOracle, TellsEachBitOfTheData) {
  const Octets data = sample(65);
  for (const HashAlgorithm algorithm :
       {HashAlgorithm::Sha256, HashAlgorithm::Gost94, HashAlgorithm::Streebog512}) {
    const std::string good = toHex(hashOf(algorithm, data).bytes());
    for (std::size_t bit = 0; bit < data.size() * 8; ++bit) {
      Octets flipped = data;
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
      EXPECT_NE(toHex(hashOf(algorithm, flipped).bytes()), good) << bit;
    }
  }
}

using MakeState = std::unique_ptr<HashState> (*)();

struct StateRow {
  MakeState make;
  HashAlgorithm algorithm;
};

const StateRow kStates[] = {{.make = nettleMd2, .algorithm = HashAlgorithm::Md2},
                            {.make = libcryptoMd5, .algorithm = HashAlgorithm::Md5},
                            {.make = libcryptoSha1, .algorithm = HashAlgorithm::Sha1},
                            {.make = libcryptoSha256, .algorithm = HashAlgorithm::Sha256},
                            {.make = libcryptoSha384, .algorithm = HashAlgorithm::Sha384},
                            {.make = libcryptoSha512, .algorithm = HashAlgorithm::Sha512},
                            {.make = nettleGost94, .algorithm = HashAlgorithm::Gost94},
                            {.make = nettleStreebog256, .algorithm = HashAlgorithm::Streebog256},
                            {.make = nettleStreebog512, .algorithm = HashAlgorithm::Streebog512}};

TEST(HashState, OfEachLibraryIsTheOneInTheTable) {
  const Octets data = sample(100);
  for (const StateRow& row : kStates) {
    const std::unique_ptr<HashState> state = row.make();
    state->update(data);
    Octets out(hashInfo(row.algorithm).length + 1, 0xEE);
    state->finish(out.data());
    EXPECT_EQ(out.back(), 0xEE) << "not an octet more than its length";
    out.pop_back();
    EXPECT_EQ(toHex(out), toHex(hashOf(row.algorithm, data).bytes()));
  }
}

TEST(HashState, OfTwoHashersAreApart) {
  for (const StateRow& row : kStates) {
    Hasher first(row.algorithm);
    Hasher second(row.algorithm);
    first.update(sample(10));
    second.update(sample(20));
    first.update(sample(30));
    Octets joined = sample(10);
    const Octets more = sample(30);
    joined.insert(joined.end(), more.begin(), more.end());
    EXPECT_EQ(toHex(first.finish().bytes()), toHex(hashOf(row.algorithm, joined).bytes()));
    EXPECT_EQ(toHex(second.finish().bytes()), toHex(hashOf(row.algorithm, sample(20)).bytes()));
  }
}

TEST(HashState, WorksInSeveralThreads) {
  const Octets data = sample(20'000);
  std::vector<std::string> results(8);
  std::vector<std::thread> threads;
  threads.reserve(results.size());
  for (std::string& result : results) {
    threads.emplace_back([&data, &result] {
      for (const StateRow& row : kStates) {
        result += toHex(hashOf(row.algorithm, data).bytes());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::string& result : results) {
    EXPECT_EQ(result, results.front());
  }
}

TEST(HashValue, HasTheLengthThatItWasMadeWith) {
  EXPECT_TRUE(HashValue().bytes().empty());
  EXPECT_EQ(HashValue().size(), 0U);
  HashValue value(20);
  EXPECT_EQ(value.size(), 20U);
  EXPECT_EQ(toHex(value.bytes()), std::string(40, '0')) << "nothing of what was in memory";
  value.data()[19] = 0xAB;
  EXPECT_EQ(value.bytes().back(), 0xAB);
}

TEST(HashValue, IsCopiedWhole) {
  const HashValue value = hashOf(HashAlgorithm::Sha512, sample(3));
  const HashValue copy = value;  // NOLINT(performance-unnecessary-copy-initialization): looked at
  EXPECT_EQ(toHex(copy.bytes()), toHex(value.bytes()));
  EXPECT_NE(copy.bytes().data(), value.bytes().data());
}

}  // namespace
}  // namespace qx::oracle_test
