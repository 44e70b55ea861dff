#include "provider/cipher/gost28147.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::gost28147_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

constexpr const char* kKeyText = "0123456789abcdef112233445566778899aabbccddeeff00fedcba9876543210";
constexpr const char* kIvText = "a1b2c3d4e5f60718";
const Octets kKey = fromHex(kKeyText);
const Octets kIv = fromHex(kIvText);

/// A set, and what the engine calls it.
struct Set {
  const char* oid;
  const char* name;
};

constexpr Set kSets[] = {
    {.oid = "1.2.643.2.2.31.1", .name = "id-Gost28147-89-CryptoPro-A-ParamSet"},
    {.oid = "1.2.643.2.2.31.2", .name = "id-Gost28147-89-CryptoPro-B-ParamSet"},
    {.oid = "1.2.643.2.2.31.3", .name = "id-Gost28147-89-CryptoPro-C-ParamSet"},
    {.oid = "1.2.643.2.2.31.4", .name = "id-Gost28147-89-CryptoPro-D-ParamSet"},
    {.oid = "1.2.643.7.1.2.5.1.1", .name = "id-tc26-gost-28147-param-Z"},
};

Octets plainOf(std::size_t size) {
  Octets plain(size);
  for (std::size_t i = 0; i < size; ++i) {
    plain[i] = static_cast<std::uint8_t>((i * 7) + (i / 256));
  }
  return plain;
}

Octets cfb(std::string_view set, Direction direction, const Octets& in) {
  auto stream = gost28147Cfb(set, direction, kKey, kIv);
  EXPECT_TRUE(stream);
  Octets out(in.size());
  EXPECT_EQ(*stream->update(in, out.data()), in.size());
  return out;
}

Octets opensslCfb(const Set& set, const Octets& plain) {
  test::Command command;
  command.arguments = {
      "openssl", "enc", "-engine", "gost", "-gost89", "-e", "-K", kKeyText, "-iv", kIvText};
  command.input.assign(plain.begin(), plain.end());
  command.environment = {{"CRYPT_PARAMS", set.name}};
  const test::CommandResult result = test::run(command);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return {result.out.begin(), result.out.end()};
}

class Gost28147 : public ::testing::TestWithParam<Set> {};

TEST_P(Gost28147, EncryptsAsOpensslDoes) {
  for (const std::size_t size : {1U, 8U, 13U, 1'024U, 1'032U, 5'000U}) {
    const Octets plain = plainOf(size);
    EXPECT_EQ(toHex(cfb(GetParam().oid, Direction::Encrypt, plain)),
              toHex(opensslCfb(GetParam(), plain)))
        << size;
  }
}

TEST_P(Gost28147, DecryptsWhatItEncrypted) {
  const Octets plain = plainOf(3'003);
  const Octets encrypted = cfb(GetParam().oid, Direction::Encrypt, plain);
  EXPECT_EQ(cfb(GetParam().oid, Direction::Decrypt, encrypted), plain);
}

TEST_P(Gost28147, WorksInPiecesAsInOne) {
  const Octets plain = plainOf(2'500);
  const Octets whole = cfb(GetParam().oid, Direction::Encrypt, plain);
  for (const std::size_t piece : {1U, 3U, 8U, 9U, 1'000U, 1'024U}) {
    auto encrypt = gost28147Cfb(GetParam().oid, Direction::Encrypt, kKey, kIv);
    auto decrypt = gost28147Cfb(GetParam().oid, Direction::Decrypt, kKey, kIv);
    Octets out(plain.size());
    Octets back(plain.size());
    for (std::size_t at = 0; at < plain.size(); at += piece) {
      const std::size_t length = std::min(piece, plain.size() - at);
      ASSERT_TRUE(encrypt->update(der::Bytes(plain).subspan(at, length), out.data() + at));
      ASSERT_TRUE(decrypt->update(der::Bytes(out).subspan(at, length), back.data() + at));
    }
    EXPECT_EQ(toHex(out), toHex(whole)) << piece;
    EXPECT_EQ(toHex(back), toHex(plain)) << piece;
  }
}

// The engine's CFB shows what a block is encrypted to: the block as initial value, and zeros.
TEST_P(Gost28147, EncryptsBlocksAsItsCfbDoes) {
  const Octets plain = plainOf(32);
  const auto encrypted = gost28147Encrypt(GetParam().oid, kKey, plain);
  ASSERT_TRUE(encrypted);
  for (std::size_t at = 0; at < plain.size(); at += 8) {
    auto stream =
        gost28147Cfb(GetParam().oid, Direction::Encrypt, kKey, der::Bytes(plain).subspan(at, 8));
    Octets out(8);
    ASSERT_TRUE(stream->update(Octets(8), out.data()));
    EXPECT_EQ(toHex(encrypted->bytes().subspan(at, 8)), toHex(out));
  }
}

TEST_P(Gost28147, DecryptsBlocks) {
  const Octets plain = plainOf(40);
  const auto encrypted = gost28147Encrypt(GetParam().oid, kKey, plain);
  const auto decrypted = gost28147Decrypt(GetParam().oid, kKey, encrypted->bytes());
  ASSERT_TRUE(decrypted);
  EXPECT_EQ(toHex(decrypted->bytes()), toHex(plain));
}

/// CFB with key meshing as RFC 4357, 2.3.2, tells it, over the cipher of one block.
Octets cfbByDefinition(std::string_view set, const Octets& plain) {
  static const Octets kMesh =
      fromHex("6900722264c904238d3adb9646e92ac418feac9400ed0712c086dcc2ef4ca92b");
  Octets key = kKey;
  Octets feedback = kIv;
  Octets out;
  for (std::size_t at = 0; at < plain.size(); ++at) {
    if (at % 1'024 == 0 && at > 0) {
      const auto next = gost28147Decrypt(set, key, kMesh);
      key.assign(next->bytes().begin(), next->bytes().end());
      const auto moved = gost28147Encrypt(set, key, feedback);
      feedback.assign(moved->bytes().begin(), moved->bytes().end());
    }
    if (at % 8 == 0) {
      const auto gamma = gost28147Encrypt(set, key, feedback);
      feedback.assign(gamma->bytes().begin(), gamma->bytes().end());
    }
    feedback[at % 8] ^= plain[at];
    out.push_back(feedback[at % 8]);
  }
  return out;
}

TEST_P(Gost28147, MeshesItsKeyBehindEachKilobyte) {
  for (const std::size_t size : {1'024U, 1'025U, 2'048U, 3'333U}) {
    const Octets plain = plainOf(size);
    EXPECT_EQ(cfb(GetParam().oid, Direction::Encrypt, plain),
              cfbByDefinition(GetParam().oid, plain))
        << size;
  }
}

TEST_P(Gost28147, AuthenticatesAnyNumberOfBlocksAsOpensslDoes) {
  const test::TempDir files;
  for (const std::size_t size : {16U, 24U, 256U, 1'024U}) {
    const Octets plain = plainOf(size);
    const auto result = test::run({"openssl",
                                   "dgst",
                                   "-engine",
                                   "gost",
                                   "-mac",
                                   "gost-mac",
                                   "-macopt",
                                   std::string("hexkey:") + kKeyText,
                                   "-macopt",
                                   std::string("paramset:") + GetParam().name,
                                   files.write("in", std::string(plain.begin(), plain.end()))});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto mac = gost28147Mac(GetParam().oid, Octets(8), kKey, plain);
    ASSERT_TRUE(mac);
    EXPECT_NE(result.out.find(toHex(*mac)), std::string::npos) << size << ": " << result.out;
  }
}

TEST_P(Gost28147, AuthenticatesEveryBitOfWhatItIsGiven) {
  const Octets plain = plainOf(32);
  const auto good = *gost28147Mac(GetParam().oid, kIv, kKey, plain);
  for (std::size_t bit = 0; bit < plain.size() * 8; ++bit) {
    Octets changed = plain;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_NE(*gost28147Mac(GetParam().oid, kIv, kKey, changed), good) << bit;
  }
}

TEST_P(Gost28147, AuthenticatesAsOpensslDoes) {
  const test::TempDir files;
  const Octets plain = plainOf(32);
  const std::string file = files.write("plain", std::string(plain.begin(), plain.end()));
  const test::CommandResult result = test::run({"openssl",
                                                "dgst",
                                                "-engine",
                                                "gost",
                                                "-mac",
                                                "gost-mac",
                                                "-macopt",
                                                std::string("hexkey:") + kKeyText,
                                                "-macopt",
                                                std::string("paramset:") + GetParam().name,
                                                file});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const auto mac = gost28147Mac(GetParam().oid, Octets(8), kKey, plain);
  ASSERT_TRUE(mac);
  EXPECT_NE(result.out.find(toHex(*mac)), std::string::npos) << result.out;
}

TEST_P(Gost28147, BeginsItsMacAtTheInitialValue) {
  const Octets plain = plainOf(32);
  Octets moved = plain;
  for (std::size_t i = 0; i < kIv.size(); ++i) {
    moved[i] ^= kIv[i];
  }
  EXPECT_EQ(*gost28147Mac(GetParam().oid, kIv, kKey, plain),
            *gost28147Mac(GetParam().oid, Octets(8), kKey, moved));
}

std::string setText(const ::testing::TestParamInfo<Set>& parameter) {
  std::string name = parameter.param.name;
  std::erase(name, '-');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, Gost28147, ::testing::ValuesIn(kSets), setText);

// RFC 8891, A.2: Magma is this cipher with set Z, and octets in the other order.
TEST(Gost28147Blocks, WithSetZIsMagma) {
  const auto key = fromHex("ccddeeff8899aabb4455667700112233f3f2f1f0f7f6f5f4fbfaf9f8fffefdfc");
  const auto encrypted = gost28147Encrypt(kGost28147SetZ, key, fromHex("1032547698badcfe"));
  ASSERT_TRUE(encrypted);
  EXPECT_EQ(toHex(encrypted->bytes()), "3dcad8c2e501e94e");
}

TEST(Gost28147Sets, AreKnownByTheirNames) {
  for (const Set& set : kSets) {
    EXPECT_TRUE(isGost28147Set(set.oid));
  }
  for (const char* other : {"", "1.2.643.2.2.31.0", "1.2.643.2.2.31.5", "1.2.643.2.2.31.11"}) {
    EXPECT_FALSE(isGost28147Set(other)) << other;
  }
}

TEST(Gost28147Sets, ThatAreUnknownAreRefused) {
  constexpr const char* kUnknown = "1.2.643.2.2.31.0";
  constexpr auto kBad = static_cast<DWORD>(NTE_BAD_ALGID);
  EXPECT_EQ(gost28147Cfb(kUnknown, Direction::Encrypt, kKey, kIv).error(), kBad);
  EXPECT_EQ(gost28147Encrypt(kUnknown, kKey, kIv).error(), kBad);
  EXPECT_EQ(gost28147Decrypt(kUnknown, kKey, kIv).error(), kBad);
  EXPECT_EQ(gost28147Mac(kUnknown, kIv, kKey, kKey).error(), kBad);
}

TEST(Gost28147Lengths, ThatAreWrongAreRefused) {
  const der::Bytes key = kKey;
  const der::Bytes iv = kIv;
  EXPECT_FALSE(gost28147Cfb(kGost28147SetA, Direction::Encrypt, key.first(31), iv));
  EXPECT_FALSE(gost28147Cfb(kGost28147SetA, Direction::Encrypt, key, iv.first(7)));
  EXPECT_FALSE(gost28147Encrypt(kGost28147SetA, key.first(31), iv));
  EXPECT_FALSE(gost28147Mac(kGost28147SetA, iv.first(7), key, key));
  EXPECT_FALSE(gost28147Mac(kGost28147SetA, iv, key.first(31), key));
  EXPECT_FALSE(gost28147Mac(kGost28147SetA, iv, key, iv.first(7)));
}

TEST(Gost28147Sets, GiveEachAnotherCiphertext) {
  std::set<std::string> seen;
  for (const Set& set : kSets) {
    seen.insert(toHex(cfb(set.oid, Direction::Encrypt, plainOf(16))));
  }
  EXPECT_EQ(seen.size(), std::size(kSets));
}

TEST(Gost28147Environment, ChangesNothing) {
  const Octets plain = plainOf(100);
  const Octets before = opensslCfb(kSets[0], plain);
  // Read by the engine whenever nobody names a set.
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the test has one thread
  ASSERT_EQ(setenv("CRYPT_PARAMS", "no set at all", 1), 0);
  EXPECT_EQ(toHex(cfb(kSets[0].oid, Direction::Encrypt, plain)), toHex(before));
  EXPECT_TRUE(gost28147Decrypt(kSets[0].oid, kKey, kKey));
  EXPECT_TRUE(gost28147Mac(kSets[0].oid, kIv, kKey, kKey));
  // NOLINTNEXTLINE(concurrency-mt-unsafe): see above
  ASSERT_EQ(unsetenv("CRYPT_PARAMS"), 0);
}

}  // namespace
}  // namespace qx::gost28147_test
