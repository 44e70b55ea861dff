#include "provider/cipher/content_cipher.h"

#include <algorithm>
#include <tuple>

#include <gtest/gtest.h>

#include "provider/cipher/gost28147.h"
#include "provider/cipher/kdf_tree.h"
#include "provider/der/writer.h"
#include "tests/provider/der/hex.h"
#include "tests/support/command.h"

namespace qx::content_cipher_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

constexpr auto kBadData = static_cast<DWORD>(NTE_BAD_DATA);
constexpr const char* kMagmaOmac = "1.2.643.7.1.1.5.1.2";
constexpr const char* kKuznyechikOmac = "1.2.643.7.1.1.5.2.2";
constexpr const char* kKuznyechik = "1.2.643.7.1.1.5.2.1";

const Octets kKey = fromHex("8f5eef8814d228fb2bbc5612323730cfa33db7263cc2c0a01a6c6953f33d61d5");
const Octets kPlain = test::bytesOfText("What stands under a MAC is not to be changed.");

/// Content under a MAC, made from the parts whose values are published. That they are put together
/// rightly is seen with whole messages, of openssl's and published ones.
struct Sample {
  explicit Sample(BlockCipher cipher)
      : oid(cipher == BlockCipher::Magma ? kMagmaOmac : kKuznyechikOmac) {
    const std::size_t half = blockSize(cipher) / 2;
    const Octets ukm = fromHex("ba770ebb7b983db237d2f142c1c2c3c4");
    const der::Bytes iv = der::Bytes(ukm).first(half);
    const der::Bytes seed = der::Bytes(ukm).subspan(half, 8);
    const SecretBytes keys = kdfTree(kKey, test::bytesOfText("kdf tree"), seed);
    auto stream = counterAcpkm(cipher, keys.bytes().first(32), iv);
    auto omac = Omac::open(cipher, keys.bytes().subspan(32));
    EXPECT_TRUE(omac->update(kPlain));
    mac = *omac->finish();
    encrypted.resize(kPlain.size());
    EXPECT_TRUE(stream->update(kPlain, encrypted.data()));
    EXPECT_TRUE(stream->update(mac, mac.data()));
    parameters = der::sequence(der::octetString(der::Bytes(ukm).first(half + 8))).bytes();
  }

  const char* oid;
  Octets parameters;
  Octets encrypted;
  Octets mac;
};

Result<Octets> decrypted(const std::string& oid,
                         der::Bytes parameters,
                         der::Bytes key,
                         der::Bytes mac,
                         der::Bytes encrypted,
                         std::size_t piece = 1'000'000) {
  auto cipher = ContentDecryption::open(*contentAlgorithm(oid), parameters, key, mac);
  if (!cipher) {
    return cipher.failure();
  }
  Octets out(encrypted.size() + 32);
  std::size_t written = 0;
  while (!encrypted.empty()) {
    const der::Bytes step = encrypted.first(std::min(piece, encrypted.size()));
    written += *cipher->update(step, out.data() + written);
    encrypted = encrypted.subspan(step.size());
  }
  const auto last = cipher->finish(out.data() + written);
  if (!last) {
    return last.failure();
  }
  out.resize(written + *last);
  return out;
}

class MacProtected : public ::testing::TestWithParam<BlockCipher> {
 protected:
  Result<Octets> decryptedWith(der::Bytes mac, std::size_t piece = 1'000) const {
    return decrypted(sample().oid, sample().parameters, kKey, mac, sample().encrypted, piece);
  }

  const Sample& sample() const { return sample_; }

 private:
  const Sample sample_ = Sample(GetParam());
};

TEST_P(MacProtected, IsOpenedInAnyPieces) {
  for (const std::size_t piece : {1U, 7U, 8U, 16U, 1'000U}) {
    const auto content = decryptedWith(sample().mac, piece);
    ASSERT_TRUE(content) << piece;
    EXPECT_EQ(toHex(*content), toHex(kPlain));
  }
}

TEST_P(MacProtected, RefusesAChangedMac) {
  for (std::size_t bit = 0; bit < sample().mac.size() * 8; ++bit) {
    Octets mac = sample().mac;
    mac[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_EQ(decryptedWith(mac).error(), kBadData);
  }
}

TEST_P(MacProtected, RefusesChangedContent) {
  for (std::size_t bit = 0; bit < sample().encrypted.size() * 8; ++bit) {
    Octets changed = sample().encrypted;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_EQ(decrypted(sample().oid, sample().parameters, kKey, sample().mac, changed).error(),
              kBadData);
  }
}

TEST_P(MacProtected, RefusesAMissingMac) {
  const der::Bytes mac = sample().mac;
  EXPECT_EQ(decryptedWith({}).error(), kBadData);
  EXPECT_EQ(decryptedWith(mac.first(mac.size() - 1)).error(), kBadData);
  EXPECT_EQ(decryptedWith(Octets(mac.size() + 1)).error(), kBadData);
}

TEST_P(MacProtected, NeedsAKeyOfItsLength) {
  const der::Bytes key = kKey;
  EXPECT_EQ(
      decrypted(sample().oid, sample().parameters, key.first(31), sample().mac, sample().encrypted)
          .error(),
      kBadData);
}

INSTANTIATE_TEST_SUITE_P(Ciphers,
                         MacProtected,
                         ::testing::Values(BlockCipher::Magma, BlockCipher::Kuznyechik));

TEST(ContentDecryption, RefusesParametersThatAreNone) {
  const auto errorOf = [](const char* oid, const char* parameters) {
    return decrypted(oid, fromHex(parameters), kKey, {}, {}).error();
  };
  constexpr auto kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(kKuznyechik, ""), static_cast<DWORD>(CRYPT_E_ASN1_EOD));
  EXPECT_EQ(errorOf(kKuznyechik, "0500"), static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
  EXPECT_EQ(errorOf(kKuznyechik, "3000"), static_cast<DWORD>(CRYPT_E_ASN1_EOD));
  EXPECT_EQ(errorOf(kKuznyechik, "3003040100"), kCorrupt) << "too short for its cipher";
  EXPECT_EQ(errorOf("1.2.643.7.1.1.5.1.1", "3012041000112233445566778899aabbccddeeff"), kCorrupt);
  EXPECT_EQ(errorOf(kKuznyechik, "3014041000112233445566778899aabbccddeeff0500"), kCorrupt);
  constexpr const char* kAes256 = "2.16.840.1.101.3.4.1.42";
  EXPECT_EQ(errorOf(kAes256, "0408 0011223344556677"), kCorrupt);
  EXPECT_EQ(errorOf(kAes256, "041000112233445566778899aabbccddeeff0500"), kCorrupt);
  EXPECT_EQ(errorOf(kAes256, "300204 00"), static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
}

TEST(ContentDecryption, OpensAesOfOpensslInAnyPieces) {
  const Octets plain(1'000, 0x5A);
  for (const auto& [oid, option, size] :
       {std::tuple("2.16.840.1.101.3.4.1.2", "-aes-128-cbc", 16U),
        std::tuple("2.16.840.1.101.3.4.1.22", "-aes-192-cbc", 24U),
        std::tuple("2.16.840.1.101.3.4.1.42", "-aes-256-cbc", 32U)}) {
    const der::Bytes key = der::Bytes(kKey).first(size);
    test::Command command;
    command.arguments = {
        "openssl", "enc", option, "-K", toHex(key), "-iv", "00112233445566778899aabbccddeeff"};
    command.input.assign(plain.begin(), plain.end());
    const Octets encrypted = test::bytesOfText(test::run(command).out);
    const Octets parameters = fromHex("041000112233445566778899aabbccddeeff");
    for (const std::size_t piece : {1U, 15U, 16U, 17U, 2'000U}) {
      const auto content = decrypted(oid, parameters, key, {}, encrypted, piece);
      ASSERT_TRUE(content) << option;
      EXPECT_EQ(*content, plain);
    }
    EXPECT_EQ(decrypted(oid, parameters, key, {}, {}).error(), kBadData) << "no padding at all";
    EXPECT_EQ(decrypted(oid, parameters, key, {}, der::Bytes(encrypted).first(40)).error(),
              kBadData);
  }
}

/// What each algorithm wants as parameters, for a good initial value.
struct Wanted {
  const char* name;
  const char* oid;
  const char* parameters;
};

constexpr Wanted kWanted[] = {
    {.name = "Gost28147",
     .oid = "1.2.643.2.2.21",
     .parameters = "3013 0408 0102030405060708 0607 2a850302021f01"},
    {.name = "Magma",
     .oid = "1.2.643.7.1.1.5.1.1",
     .parameters = "300e 040c 000102030405060708090a0b"},
    {.name = "Kuznyechik",
     .oid = "1.2.643.7.1.1.5.2.1",
     .parameters = "3012 0410 000102030405060708090a0b0c0d0e0f"},
    {.name = "Aes128",
     .oid = "2.16.840.1.101.3.4.1.2",
     .parameters = "0410 000102030405060708090a0b0c0d0e0f"},
    {.name = "Aes256",
     .oid = "2.16.840.1.101.3.4.1.42",
     .parameters = "0410 000102030405060708090a0b0c0d0e0f"},
};

class ContentParameters : public ::testing::TestWithParam<Wanted> {
 protected:
  const ContentAlgorithm& algorithm_ = *contentAlgorithm(GetParam().oid);
  const Octets good_ = fromHex(GetParam().parameters);
  const der::Bytes key_ = der::Bytes(kKey).first(algorithm_.keySize);
};

TEST_P(ContentParameters, AreTakenAsTheyAre) {
  EXPECT_TRUE(ContentDecryption::open(algorithm_, good_, key_, {}));
}

TEST_P(ContentParameters, AreRefusedWhereverTheyAreCut) {
  for (std::size_t length = 0; length < good_.size(); ++length) {
    const auto opened =
        ContentDecryption::open(algorithm_, der::Bytes(good_).first(length), key_, {});
    EXPECT_EQ(opened.error(), static_cast<DWORD>(CRYPT_E_ASN1_EOD)) << length;
  }
}

TEST_P(ContentParameters, AreRefusedWithSomethingBehind) {
  Octets longer = good_;
  longer.insert(longer.end(), {0x05, 0x00});
  EXPECT_EQ(ContentDecryption::open(algorithm_, longer, key_, {}).error(),
            static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
}

TEST_P(ContentParameters, AreOpenedOrRefusedWhicheverBitIsFlipped) {
  std::size_t refused = 0;
  for (std::size_t bit = 0; bit < good_.size() * 8; ++bit) {
    Octets bad = good_;
    bad[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    const auto opened = ContentDecryption::open(algorithm_, bad, key_, {});
    refused += opened ? 0U : 1U;
    const DWORD error = opened ? ERROR_SUCCESS : opened.error();
    EXPECT_NE(error, static_cast<DWORD>(NTE_FAIL)) << bit;
  }
  EXPECT_GE(refused, 16U) << "at least the identifier and the length of the first element";
}

TEST_P(ContentParameters, NeedAKeyOfTheAlgorithmsLength) {
  for (const std::size_t length : {0U, 1U, 15U, 17U, 31U}) {
    if (length != algorithm_.keySize) {
      EXPECT_EQ(
          ContentDecryption::open(algorithm_, good_, der::Bytes(kKey).first(length), {}).error(),
          kBadData)
          << length;
    }
  }
}

TEST_P(ContentParameters, OfAnAlgorithmWithoutMacAreRefusedWithOne) {
  for (const std::size_t length : {1U, 8U, 16U}) {
    EXPECT_EQ(ContentDecryption::open(algorithm_, good_, key_, Octets(length)).error(), kBadData);
  }
}

TEST_P(ContentParameters, OpenNothingToNothing) {
  auto cipher = ContentDecryption::open(algorithm_, good_, key_, {});
  ASSERT_TRUE(cipher);
  Octets out(32);
  EXPECT_EQ(*cipher->update({}, out.data()), 0U);
  const auto last = cipher->finish(out.data());
  if (algorithm_.kind == ContentAlgorithm::Kind::AesCbc) {
    EXPECT_EQ(last.error(), kBadData) << "not even padding";
  } else {
    EXPECT_EQ(*last, 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(All, ContentParameters, ::testing::ValuesIn(kWanted), [](const auto& one) {
  return std::string(one.param.name);
});

TEST(ContentDecryption, RefusesAnUnknownSet) {
  EXPECT_EQ(decrypted(std::string(kGost28147Oid),
                      fromHex("3013 0408 0102030405060708 0607 2a850302021f63"),
                      kKey,
                      {},
                      {})
                .error(),
            static_cast<DWORD>(NTE_BAD_ALGID));
}

TEST(ContentDecryption, OpensGost28147InAnyPieces) {
  const Octets plain(5'000, 0x5A);
  const Octets parameters = fromHex("3013 0408 0102030405060708 0607 2a850302021f01");
  auto stream = gost28147Cfb(kGost28147SetA, Direction::Encrypt, kKey, fromHex("0102030405060708"));
  Octets encrypted(plain.size());
  ASSERT_TRUE(stream->update(plain, encrypted.data()));
  for (const std::size_t piece : {1U, 7U, 8U, 1'023U, 1'024U, 5'000U}) {
    const auto content =
        decrypted(std::string(kGost28147Oid), parameters, kKey, {}, encrypted, piece);
    ASSERT_TRUE(content);
    EXPECT_EQ(*content, plain) << piece;
  }
}

TEST(ContentAlgorithm, IsKnownByItsOid) {
  EXPECT_EQ(contentAlgorithm("1.2.840.113549.3.7"), nullptr) << "triple DES";
  EXPECT_EQ(contentAlgorithm(""), nullptr);
  const ContentAlgorithm* gost = contentAlgorithm(kGost28147Oid);
  ASSERT_NE(gost, nullptr);
  EXPECT_EQ(gost->keySize, 32U);
  EXPECT_FALSE(gost->hasMac());
  EXPECT_TRUE(contentAlgorithm(kMagmaOmac)->hasMac());
  EXPECT_EQ(contentAlgorithm("2.16.840.1.101.3.4.1.2")->keySize, 16U);
}

TEST(Gost28147Parameters, AreReadAsTheyAreWritten) {
  const auto encoded = encodeGost28147Parameters(
      {.iv = fromHex("0102030405060708"), .set = std::string(kGost28147SetA)});
  ASSERT_TRUE(encoded);
  EXPECT_EQ(toHex(*encoded),
            "301304080102030405060708"
            "06072a850302021f01");
  const auto read = readGost28147Parameters(*encoded);
  ASSERT_TRUE(read);
  EXPECT_EQ(toHex(read->iv), "0102030405060708");
  EXPECT_EQ(read->set, kGost28147SetA);
  EXPECT_EQ(encodeGost28147Parameters({.iv = {}, .set = "no"}).error(),
            static_cast<DWORD>(CRYPT_E_OID_FORMAT));
}

}  // namespace
}  // namespace qx::content_cipher_test
