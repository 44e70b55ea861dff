#include "provider/cipher/gost3412.h"

#include <algorithm>
#include <numeric>
#include <set>

#include <gtest/gtest.h>
#include <openssl/obj_mac.h>

#include "provider/openssl/engine.h"
#include "tests/provider/der/hex.h"

namespace qx::gost3412_test {
namespace {

using test::fromHex;
using test::toHex;

/// The examples of R 34.13-2015, A.1 and A.2.
struct Example {
  BlockCipher cipher;
  const char* name;
  const char* key;
  const char* iv;
  const char* plain;
  const char* encrypted;
  const char* mac;  // its first octets
};

constexpr Example kExamples[] = {
    {.cipher = BlockCipher::Kuznyechik,
     .name = "Kuznyechik",
     .key = "8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef",
     .iv = "1234567890abcef0",
     .plain = "1122334455667700ffeeddccbbaa998800112233445566778899aabbcceeff0a"
              "112233445566778899aabbcceeff0a002233445566778899aabbcceeff0a0011",
     .encrypted = "f195d8bec10ed1dbd57b5fa240bda1b885eee733f6a13e5df33ce4b33c45dee4"
                  "a5eae88be6356ed3d5e877f13564a3a5cb91fab1f20cbab6d1c6d15820bdba73",
     .mac = "336f4d296059fbe3"},
    {.cipher = BlockCipher::Magma,
     .name = "Magma",
     .key = "ffeeddccbbaa99887766554433221100f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff",
     .iv = "12345678",
     .plain = "92def06b3c130a59db54c704f8189d204a98fb2e67a8024c8912409b17b57e41",
     .encrypted = "4e98110c97b7b93c3e250d93d6e85d69136d868807b2dbef568eb680ab52a12d",
     .mac = "154e7210"},
};

class Gost3412 : public ::testing::TestWithParam<Example> {
 protected:
  const std::vector<std::uint8_t> key_ = fromHex(GetParam().key);
  const std::vector<std::uint8_t> iv_ = fromHex(GetParam().iv);
  const std::vector<std::uint8_t> plain_ = fromHex(GetParam().plain);
};

TEST_P(Gost3412, CountsAsPublished) {
  auto stream = counterMode(GetParam().cipher, key_, iv_);
  ASSERT_TRUE(stream);
  std::vector<std::uint8_t> out(plain_.size());
  EXPECT_EQ(*stream->update(plain_, out.data()), plain_.size());
  EXPECT_EQ(toHex(out), GetParam().encrypted);
}

TEST_P(Gost3412, CountsInPiecesAsInOne) {
  for (std::size_t piece = 1; piece < plain_.size(); ++piece) {
    auto stream = counterMode(GetParam().cipher, key_, iv_);
    std::vector<std::uint8_t> out(plain_.size());
    for (std::size_t at = 0; at < plain_.size(); at += piece) {
      const der::Bytes rest = der::Bytes(plain_).subspan(at);
      ASSERT_TRUE(stream->update(rest.first(std::min(piece, rest.size())), out.data() + at));
    }
    EXPECT_EQ(toHex(out), GetParam().encrypted) << piece;
  }
}

TEST_P(Gost3412, AuthenticatesAsPublished) {
  auto omac = Omac::open(GetParam().cipher, key_);
  ASSERT_TRUE(omac);
  ASSERT_TRUE(omac->update(plain_));
  const auto mac = omac->finish();
  ASSERT_TRUE(mac);
  EXPECT_EQ(mac->size(), blockSize(GetParam().cipher));
  EXPECT_EQ(toHex(*mac).substr(0, std::string_view(GetParam().mac).size()), GetParam().mac);
}

TEST_P(Gost3412, AuthenticatesInPiecesAsInOne) {
  for (std::size_t piece = 1; piece < plain_.size(); ++piece) {
    auto omac = Omac::open(GetParam().cipher, key_);
    for (std::size_t at = 0; at < plain_.size(); at += piece) {
      const der::Bytes rest = der::Bytes(plain_).subspan(at);
      ASSERT_TRUE(omac->update({}));
      ASSERT_TRUE(omac->update(rest.first(std::min(piece, rest.size()))));
    }
    EXPECT_EQ(toHex(*omac->finish()).substr(0, 8), std::string(GetParam().mac).substr(0, 8));
  }
}

TEST_P(Gost3412, ChangesItsKeyBehindASectionOnly) {
  const std::size_t section = GetParam().cipher == BlockCipher::Magma ? 8'192 : 262'144;
  const std::vector<std::uint8_t> zeros(section + 64);
  auto plain = counterMode(GetParam().cipher, key_, iv_);
  auto meshed = counterAcpkm(GetParam().cipher, key_, iv_);
  ASSERT_TRUE(plain && meshed);
  std::vector<std::uint8_t> one(zeros.size());
  std::vector<std::uint8_t> other(zeros.size());
  ASSERT_TRUE(plain->update(zeros, one.data()));
  ASSERT_TRUE(meshed->update(zeros, other.data()));
  EXPECT_EQ(toHex(der::Bytes(one).first(section)), toHex(der::Bytes(other).first(section)));
  EXPECT_NE(toHex(der::Bytes(one).subspan(section)), toHex(der::Bytes(other).subspan(section)));
}

/// The block cipher itself: CBC of one block that begins at zero.
std::vector<std::uint8_t> encryptedBlock(int nid, der::Bytes key, der::Bytes block) {
  const std::vector<std::uint8_t> zero(16);
  auto stream = CipherStream::open(gostCipher(nid), Direction::Encrypt, key, zero);
  EXPECT_TRUE(stream);
  std::vector<std::uint8_t> out(2 * block.size());
  EXPECT_EQ(*stream->update(block, out.data()), block.size());
  out.resize(block.size());
  return out;
}

/// The key of the next section (R 1323565.1.017-2018, 4.1): the octets 0x80 to 0x9f, encrypted.
std::vector<std::uint8_t> meshed(BlockCipher cipher, der::Bytes key) {
  std::vector<std::uint8_t> constant(32);
  std::iota(constant.begin(), constant.end(), std::uint8_t{0x80});
  const int nid = cipher == BlockCipher::Magma ? NID_magma_cbc : NID_kuznyechik_cbc;
  std::vector<std::uint8_t> next;
  for (std::size_t at = 0; at < constant.size(); at += blockSize(cipher)) {
    const auto block =
        encryptedBlock(nid, key, der::Bytes(constant).subspan(at, blockSize(cipher)));
    next.insert(next.end(), block.begin(), block.end());
  }
  return next;
}

// The counter goes on where it was.
TEST_P(Gost3412, GoesOnWithTheMeshedKeyInEachSection) {
  const BlockCipher cipher = GetParam().cipher;
  const std::size_t section = cipher == BlockCipher::Magma ? 8'192 : 262'144;
  const std::vector<std::uint8_t> zeros(3 * section);
  std::vector<std::uint8_t> whole(zeros.size());
  ASSERT_TRUE(counterAcpkm(cipher, key_, iv_)->update(zeros, whole.data()));
  std::vector<std::uint8_t> key = key_;
  for (std::size_t at = 0; at < whole.size(); at += section) {
    std::vector<std::uint8_t> one(zeros.size());
    ASSERT_TRUE(counterMode(cipher, key, iv_)->update(zeros, one.data()));
    EXPECT_EQ(toHex(der::Bytes(whole).subspan(at, section)),
              toHex(der::Bytes(one).subspan(at, section)))
        << at;
    key = meshed(cipher, key);
  }
}

TEST_P(Gost3412, MeshesInPiecesAsInOne) {
  const std::size_t section = GetParam().cipher == BlockCipher::Magma ? 8'192 : 262'144;
  const std::vector<std::uint8_t> zeros(section + 100);
  std::vector<std::uint8_t> whole(zeros.size());
  ASSERT_TRUE(counterAcpkm(GetParam().cipher, key_, iv_)->update(zeros, whole.data()));
  for (const std::size_t piece : {section - 1, section, section / 2 + 7}) {
    auto stream = counterAcpkm(GetParam().cipher, key_, iv_);
    std::vector<std::uint8_t> out(zeros.size());
    for (std::size_t at = 0; at < zeros.size(); at += piece) {
      const der::Bytes rest = der::Bytes(zeros).subspan(at);
      ASSERT_TRUE(stream->update(rest.first(std::min(piece, rest.size())), out.data() + at));
    }
    EXPECT_EQ(out, whole) << piece;
  }
}

TEST_P(Gost3412, AuthenticatesNothingAndPartsOfBlocks) {
  std::set<std::string> macs;
  for (std::size_t length = 0; length <= plain_.size(); ++length) {
    auto omac = Omac::open(GetParam().cipher, key_);
    ASSERT_TRUE(omac->update(der::Bytes(plain_).first(length)));
    macs.insert(toHex(*omac->finish()));
  }
  EXPECT_EQ(macs.size(), plain_.size() + 1);
}

/// Twice the number in the field of its block size (R 34.13-2015, 5.6.1).
std::vector<std::uint8_t> doubled(const std::vector<std::uint8_t>& number) {
  std::vector<std::uint8_t> out(number.size());
  unsigned carry = 0;
  for (std::size_t i = number.size(); i-- > 0;) {
    const unsigned shifted = (number[i] * 2U) + carry;
    out[i] = static_cast<std::uint8_t>(shifted);
    carry = shifted >> 8U;
  }
  out.back() ^= static_cast<std::uint8_t>(carry * (number.size() == 8 ? 0x1BU : 0x87U));
  return out;
}

/// The MAC as its standard tells it, over the cipher of one block.
std::vector<std::uint8_t> omacByDefinition(BlockCipher cipher, der::Bytes key, der::Bytes bytes) {
  const std::size_t size = blockSize(cipher);
  const int nid = cipher == BlockCipher::Magma ? NID_magma_cbc : NID_kuznyechik_cbc;
  std::vector<std::uint8_t> mask =
      doubled(encryptedBlock(nid, key, std::vector<std::uint8_t>(size)));
  std::vector<std::uint8_t> padded(bytes.begin(), bytes.end());
  if (padded.empty() || padded.size() % size != 0) {
    mask = doubled(mask);
    padded.push_back(0x80);
    padded.resize((padded.size() + size - 1) / size * size);
  }
  for (std::size_t i = 0; i < size; ++i) {
    padded[padded.size() - size + i] ^= mask[i];
  }
  std::vector<std::uint8_t> state(size);
  for (std::size_t at = 0; at < padded.size(); at += size) {
    for (std::size_t i = 0; i < size; ++i) {
      state[i] ^= padded[at + i];
    }
    state = encryptedBlock(nid, key, state);
  }
  return state;
}

TEST_P(Gost3412, AuthenticatesAnyLengthAsItsStandardTells) {
  for (std::size_t length = 0; length <= plain_.size(); ++length) {
    const der::Bytes bytes = der::Bytes(plain_).first(length);
    auto omac = Omac::open(GetParam().cipher, key_);
    ASSERT_TRUE(omac->update(bytes));
    EXPECT_EQ(toHex(*omac->finish()), toHex(omacByDefinition(GetParam().cipher, key_, bytes)))
        << length;
  }
}

TEST_P(Gost3412, RefusesWrongLengths) {
  const der::Bytes key = key_;
  const der::Bytes iv = iv_;
  for (const auto open : {counterMode, counterAcpkm}) {
    EXPECT_FALSE(open(GetParam().cipher, key.first(31), iv));
    EXPECT_FALSE(open(GetParam().cipher, key, iv.first(iv.size() - 1)));
    EXPECT_FALSE(open(GetParam().cipher, {}, {}));
  }
  EXPECT_FALSE(Omac::open(GetParam().cipher, key.first(31)));
}

std::string exampleText(const ::testing::TestParamInfo<Example>& parameter) {
  return parameter.param.name;
}

INSTANTIATE_TEST_SUITE_P(All, Gost3412, ::testing::ValuesIn(kExamples), exampleText);

}  // namespace
}  // namespace qx::gost3412_test
