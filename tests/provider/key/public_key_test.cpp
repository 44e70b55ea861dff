#include "provider/key/public_key.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include "provider/openssl/library_context.h"
#include "tests/provider/key/sample_keys.h"

namespace qx::public_key_test {
namespace {

using lab::KeyKind;
using test::fromHex;
using test::makeKey;
using test::plainAlgorithm;
using test::publicHalf;
using test::reversedHex;
using test::someDigest;
using test::usualHash;
using Bytes = std::vector<std::uint8_t>;

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

/// A SubjectPublicKeyInfo of a GOST key: both coordinates little-endian, one behind the other.
Bytes gostSpki(const char* algorithm, const char* x, const char* y) {
  const Bytes head = fromHex(algorithm);
  const Bytes point = concat({reversedHex(x), reversedHex(y)});
  const Bytes octets = point.size() == 64 ? fromHex("034300 0440") : fromHex("03818400 048180");
  const Bytes content = concat({head, octets, point});
  const Bytes outer = content.size() < 128
                          ? Bytes{0x30, static_cast<std::uint8_t>(content.size())}
                          : Bytes{0x30, 0x81, static_cast<std::uint8_t>(content.size())};
  return concat({outer, content});
}

// RFC 5832, 7.1 and RFC 7091, A.1: the same numbers, over the parameters of the example, which are
// id-GostR3410-2001-TestParamSet.
constexpr const char* kX256 = "7F2B49E270DB6D90D8595BEC458B50C58585BA1D4E9B788F6689DBD8E56FD80B";
constexpr const char* kY256 = "26F1B489D6701DD185C8413A977B3CBBAF64D1C593D26627DFFB101A87FF77DA";
constexpr const char* kE256 = "2DFBC1B372D89A1188C09C52E0EEC61FCE52032AB1022E8E67ECE6672B043EE5";
constexpr const char* kR256 = "41AA28D2F1AB148280CD9ED56FEDA41974053554A42767B83AD043FD39DC0493";
constexpr const char* kS256 = "01456C64BA4642A1653C235A98A60249BCD6D3F746B631DF928014F6C5BF9C40";
// AlgorithmIdentifier: R 34.10-2001 with the test set and R 34.11-94.
constexpr const char* k2001 = "301C06062A8503020213301206072A8503020223 0006072A850302021E01";
// AlgorithmIdentifier: R 34.10-2012, 256 bits, with the same set and Streebog 256.
constexpr const char* k2012 = "301F06082A85030701010101301306072A8503020223 0006082A85030701010202";

TEST(PublicKey, AcceptsTheSignatureOfRfc5832) {
  const auto key = PublicKey::parse(gostSpki(k2001, kX256, kY256));
  ASSERT_TRUE(key);
  EXPECT_EQ(key->type(), KeyType::Gost2001);
  const Bytes signature = concat({fromHex(kS256), fromHex(kR256)});
  EXPECT_TRUE(key->verifyDigest({.oid = "1.2.643.2.2.19", .parameters = {}},
                                HashAlgorithm::Gost94,
                                reversedHex(kE256),
                                signature));
}

TEST(PublicKey, AcceptsTheFirstSignatureOfRfc7091) {
  const auto key = PublicKey::parse(gostSpki(k2012, kX256, kY256));
  ASSERT_TRUE(key);
  EXPECT_EQ(key->type(), KeyType::Gost2012_256);
  const Bytes signature = concat({fromHex(kS256), fromHex(kR256)});
  EXPECT_TRUE(key->verifyDigest({.oid = "1.2.643.7.1.1.3.2", .parameters = {}},
                                HashAlgorithm::Streebog256,
                                reversedHex(kE256),
                                signature));
  const Bytes swapped = concat({fromHex(kR256), fromHex(kS256)});
  EXPECT_FALSE(key->verifyDigest({.oid = "1.2.643.7.1.1.3.2", .parameters = {}},
                                 HashAlgorithm::Streebog256,
                                 reversedHex(kE256),
                                 swapped));
}

// RFC 7091, A.2, over id-tc26-gost-3410-2012-512-paramSetTest.
TEST(PublicKey, AcceptsTheSecondSignatureOfRfc7091) {
  const Bytes spki =
      gostSpki("302106082A85030701010102301506092A850307010201020006082A85030701010203",
               "115DC5BC96760C7B48598D8AB9E740D4C4A85A65BE33C1815B5C320C854621DD"
               "5A515856D13314AF69BC5B924C8B4DDFF75C45415C1D9DD9DD33612CD530EFE1",
               "37C7C90CD40B0F5621DC3AC1B751CFA0E2634FA0503B3D52639F5D7FB72AFD61"
               "EA199441D943FFE7F0C70A2759A3CDB84C114E1F9339FDF27F35ECA93677BEEC");
  const auto key = PublicKey::parse(spki);
  ASSERT_TRUE(key);
  const Bytes digest = reversedHex(
      "3754F3CFACC9E0615C4F4A7C4D8DAB531B09B6F9C170C533A71D147035B0C591"
      "7184EE536593F4414339976C647C5D5A407ADEDB1D560C4FC6777D2972075B8C");
  const Bytes signature = fromHex(
      "1081B394696FFE8E6585E7A9362D26B6325F56778AADBC081C0BFBE933D52FF5"
      "823CE288E8C4F362526080DF7F70CE406A6EEB1F56919CB92A9853BDE73E5B4A"
      "2F86FA60A081091A23DD795E1E3C689EE512A3C82EE0DCC2643C78EEA8FCACD3"
      "5492558486B20F1C9EC197C90699850260C93BCBCD9C5C3317E19344E173AE36");
  EXPECT_TRUE(key->verifyDigest({.oid = "1.2.643.7.1.1.1.2", .parameters = {}},
                                HashAlgorithm::Streebog512,
                                digest,
                                signature));
}

class PublicKeys : public ::testing::TestWithParam<KeyKind> {
 protected:
  PublicKeys() : key_(makeKey(GetParam())), publicKey_(publicHalf(*key_)) {}

  HashAlgorithm hash() const { return usualHash(GetParam()); }

  Bytes sign(const Bytes& digest) const { return *key_->signDigest(hash(), digest); }

  Result<void> verify(const Bytes& digest, const Bytes& signature) const {
    return publicKey_.verifyDigest(plainAlgorithm(*key_), hash(), digest, signature);
  }

  std::shared_ptr<const PrivateKey> key_;
  PublicKey publicKey_;
};

TEST_P(PublicKeys, KeepTheirEncodingAndBits) {
  EXPECT_EQ(Bytes(publicKey_.spki().begin(), publicKey_.spki().end()),
            Bytes(key_->spki().begin(), key_->spki().end()));
  EXPECT_EQ(Bytes(publicKey_.bits().begin(), publicKey_.bits().end()),
            Bytes(key_->publicKeyBits().begin(), key_->publicKeyBits().end()));
  EXPECT_EQ(publicKey_.type(), key_->type());
  EXPECT_GE(publicKey_.bitLength(), 256U);
}

TEST_P(PublicKeys, RefuseEveryFlippedBitOfASignature) {
  const Bytes digest = someDigest(hash());
  const Bytes signature = sign(digest);
  for (std::size_t byte = 0; byte < signature.size(); ++byte) {
    Bytes changed = signature;
    changed[byte] ^= static_cast<std::uint8_t>(1U << (byte % 8));
    const auto verified = verify(digest, changed);
    ASSERT_FALSE(verified) << byte;
    EXPECT_EQ(verified.error(), NTE_BAD_SIGNATURE) << byte;
  }
}

TEST_P(PublicKeys, RefuseASignatureOfAnyOtherLength) {
  const Bytes digest = someDigest(hash());
  const Bytes signature = sign(digest);
  for (std::size_t size = 0; size < signature.size(); ++size) {
    EXPECT_FALSE(verify(
        digest, Bytes(signature.begin(), signature.begin() + static_cast<std::ptrdiff_t>(size))))
        << size;
  }
  Bytes longer = signature;
  for (int i = 0; i < 200; ++i) {
    longer.push_back(0);
    EXPECT_FALSE(verify(digest, longer)) << longer.size();
  }
}

TEST_P(PublicKeys, RefuseTheSignatureOfAnotherDigest) {
  const auto verified = verify(someDigest(hash(), 1), sign(someDigest(hash(), 2)));
  EXPECT_EQ(verified.error(), NTE_BAD_SIGNATURE);
}

TEST_P(PublicKeys, RefuseADigestOfAnotherLength) {
  const Bytes signature = sign(someDigest(hash()));
  for (const std::size_t size : {0U, 1U, 16U, 20U, 31U, 33U, 47U, 63U, 65U, 128U}) {
    if (size != hashInfo(hash()).length) {
      EXPECT_EQ(verify(Bytes(size, 0x5A), signature).error(), NTE_BAD_HASH) << size;
    }
  }
}

TEST_P(PublicKeys, RefuseHashesThatAreBroken) {
  for (const HashAlgorithm broken : {HashAlgorithm::Md2, HashAlgorithm::Md5}) {
    const auto verified =
        publicKey_.verifyDigest(plainAlgorithm(*key_), broken, someDigest(broken), Bytes(64));
    EXPECT_EQ(verified.error(), NTE_BAD_ALGID);
  }
}

TEST_P(PublicKeys, RefuseAlgorithmsOfOtherKeys) {
  const Bytes digest = someDigest(hash());
  const Bytes signature = sign(digest);
  for (const KeyKind other : {KeyKind::Gost2001,
                              KeyKind::Gost2012_256,
                              KeyKind::Gost2012_512,
                              KeyKind::Rsa2048,
                              KeyKind::EcP256}) {
    const auto otherKey = makeKey(other);
    if (otherKey->type() == key_->type()) {
      continue;
    }
    const auto verified =
        publicKey_.verifyDigest(plainAlgorithm(*otherKey), hash(), digest, signature);
    EXPECT_EQ(verified.error(), NTE_BAD_ALGID);
  }
  EXPECT_EQ(
      publicKey_.verifyDigest({.oid = "", .parameters = {}}, hash(), digest, signature).error(),
      NTE_BAD_ALGID);
  EXPECT_EQ(publicKey_
                .verifyDigest(
                    {.oid = "1.2.840.113549.1.1.4", .parameters = {}}, hash(), digest, signature)
                .error(),
            NTE_BAD_ALGID);
}

TEST_P(PublicKeys, CutAnywhereAreNoKeys) {
  const Bytes spki(key_->spki().begin(), key_->spki().end());
  for (std::size_t size = 0; size < spki.size(); ++size) {
    const auto key = PublicKey::parse(std::span(spki).first(size));
    ASSERT_FALSE(key) << size;
    EXPECT_EQ(key.error(), NTE_BAD_PUBLIC_KEY) << size;
  }
}

TEST_P(PublicKeys, WithSomethingBehindThemAreNoKeys) {
  Bytes spki(key_->spki().begin(), key_->spki().end());
  spki.push_back(0);
  EXPECT_EQ(PublicKey::parse(spki).error(), NTE_BAD_PUBLIC_KEY);
}

// What a flipped bit leaves readable must still be safe to use: no crash, no accepted signature but
// where the bit has no meaning (the digest's set in the GOST parameters).
TEST_P(PublicKeys, WithAFlippedBitDoNotCrash) {
  const Bytes spki(key_->spki().begin(), key_->spki().end());
  const Bytes digest = someDigest(hash());
  const Bytes signature = sign(digest);
  int readable = 0;
  for (std::size_t bit = 0; bit < spki.size() * 8; bit += 3) {
    Bytes changed = spki;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    const auto key = PublicKey::parse(changed);
    if (key) {
      ++readable;
      const auto verified = key->verifyDigest(
          {.oid = keyTypeInfo(key->type()).oid, .parameters = {}}, hash(), digest, signature);
      if (Bytes(key->bits().begin(), key->bits().end()) !=
          Bytes(key_->publicKeyBits().begin(), key_->publicKeyBits().end())) {
        EXPECT_FALSE(verified) << bit;
      }
    }
  }
  RecordProperty("readable", readable);
}

INSTANTIATE_TEST_SUITE_P(AllKinds, PublicKeys, ::testing::ValuesIn(test::allKinds()), test::kindOf);

TEST(PublicKey, NamesTheHashOfASignatureOnlyWhereTheyAgree) {
  const auto key = makeKey(KeyKind::Rsa2048);
  const PublicKey publicKey = publicHalf(*key);
  const Bytes digest = someDigest(HashAlgorithm::Sha384);
  const Bytes signature = *key->signDigest(HashAlgorithm::Sha384, digest);
  const auto verify = [&](const char* oid) {
    return publicKey.verifyDigest(
        {.oid = oid, .parameters = {}}, HashAlgorithm::Sha384, digest, signature);
  };
  EXPECT_TRUE(verify("1.2.840.113549.1.1.1"));
  EXPECT_TRUE(verify("1.2.840.113549.1.1.12"));
  EXPECT_EQ(verify("1.2.840.113549.1.1.11").error(), NTE_BAD_ALGID);
  EXPECT_EQ(verify("1.2.840.113549.1.1.5").error(), NTE_BAD_ALGID);
}

TEST(PublicKey, AcceptsSha1) {
  for (const KeyKind kind : {KeyKind::Rsa2048, KeyKind::EcP256}) {
    const auto key = makeKey(kind);
    const Bytes digest = someDigest(HashAlgorithm::Sha1);
    const Bytes signature = *key->signDigest(HashAlgorithm::Sha1, digest);
    EXPECT_TRUE(publicHalf(*key).verifyDigest(
        plainAlgorithm(*key), HashAlgorithm::Sha1, digest, signature));
  }
}

TEST(PublicKey, ReadsBothNamesOfEcdsa) {
  const auto key = makeKey(KeyKind::EcP256);
  const Bytes digest = someDigest(HashAlgorithm::Sha256);
  const Bytes signature = *key->signDigest(HashAlgorithm::Sha256, digest);
  for (const char* oid : {"1.2.840.10045.2.1", "1.2.840.10045.4.3.2"}) {
    EXPECT_TRUE(publicHalf(*key).verifyDigest(
        {.oid = oid, .parameters = {}}, HashAlgorithm::Sha256, digest, signature));
  }
}

class Pss : public ::testing::Test {
 protected:
  Bytes sign(const EVP_MD* hash, const EVP_MD* mask, int salt, const Bytes& digest) const {
    const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(key_->evp(), nullptr));
    EXPECT_GT(EVP_PKEY_sign_init(context.get()), 0);
    EXPECT_GT(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PSS_PADDING), 0);
    EXPECT_GT(EVP_PKEY_CTX_set_signature_md(context.get(), hash), 0);
    EXPECT_GT(EVP_PKEY_CTX_set_rsa_mgf1_md(context.get(), mask), 0);
    EXPECT_GT(EVP_PKEY_CTX_set_rsa_pss_saltlen(context.get(), salt), 0);
    Bytes signature(256);
    std::size_t length = signature.size();
    EXPECT_EQ(EVP_PKEY_sign(context.get(), signature.data(), &length, digest.data(), digest.size()),
              1);
    return signature;
  }

  Result<void> verify(const char* parameters,
                      HashAlgorithm hash,
                      const Bytes& digest,
                      const Bytes& signature) const {
    const Bytes der = fromHex(parameters);
    return publicHalf(*key_).verifyDigest(
        {.oid = "1.2.840.113549.1.1.10", .parameters = der}, hash, digest, signature);
  }

  static constexpr const char* kSha256 =
      "3034A00F300D06096086480165030402010500"
      "A11C301A06092A864886F70D010108300D06096086480165030402010500A203020120";

  std::shared_ptr<const PrivateKey> key_ = makeKey(KeyKind::Rsa2048);
};

TEST_F(Pss, SignaturesOfLibcryptoAreAccepted) {
  const Bytes digest = someDigest(HashAlgorithm::Sha256);
  const Bytes signature = sign(EVP_sha256(), EVP_sha256(), 32, digest);
  EXPECT_TRUE(verify(kSha256, HashAlgorithm::Sha256, digest, signature));
}

TEST_F(Pss, DefaultsAreSha1) {
  const Bytes digest = someDigest(HashAlgorithm::Sha1);
  const Bytes signature = sign(EVP_sha1(), EVP_sha1(), 20, digest);
  EXPECT_TRUE(verify("3000", HashAlgorithm::Sha1, digest, signature));
}

TEST_F(Pss, ParametersAreHeeded) {
  const Bytes digest = someDigest(HashAlgorithm::Sha256);
  EXPECT_EQ(
      verify(kSha256, HashAlgorithm::Sha256, digest, sign(EVP_sha256(), EVP_sha256(), 20, digest))
          .error(),
      NTE_BAD_SIGNATURE);
  EXPECT_EQ(
      verify(kSha256, HashAlgorithm::Sha256, digest, sign(EVP_sha256(), EVP_sha1(), 32, digest))
          .error(),
      NTE_BAD_SIGNATURE);
  EXPECT_EQ(
      verify("3000", HashAlgorithm::Sha256, digest, sign(EVP_sha256(), EVP_sha256(), 32, digest))
          .error(),
      NTE_BAD_ALGID);
  EXPECT_EQ(verify("", HashAlgorithm::Sha256, digest, sign(EVP_sha256(), EVP_sha256(), 32, digest))
                .error(),
            NTE_BAD_ALGID);
}

TEST_F(Pss, IsNotTakenForTheOtherPadding) {
  const Bytes digest = someDigest(HashAlgorithm::Sha256);
  const Bytes pkcs1 = *key_->signDigest(HashAlgorithm::Sha256, digest);
  EXPECT_EQ(verify(kSha256, HashAlgorithm::Sha256, digest, pkcs1).error(), NTE_BAD_SIGNATURE);
}

TEST(PublicKey, RefusesKindsThatWeDoNotKnow) {
  const EvpPkeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
  ASSERT_NE(key, nullptr);
  unsigned char* der = nullptr;
  const int length = i2d_PUBKEY(key.get(), &der);
  const OpensslBytes owner(der);
  EXPECT_EQ(PublicKey::parse({der, static_cast<std::size_t>(length)}).error(), NTE_BAD_ALGID);
}

TEST(PublicKey, RefusesCurvesThatAreNotNamedOrNotKnown) {
  for (const char* curve : {"secp256k1", "prime192v1"}) {
    const EvpPkeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", curve));
    ASSERT_NE(key, nullptr);
    unsigned char* der = nullptr;
    const int length = i2d_PUBKEY(key.get(), &der);
    const OpensslBytes owner(der);
    EXPECT_EQ(PublicKey::parse({der, static_cast<std::size_t>(length)}).error(), NTE_BAD_ALGID)
        << curve;
  }
}

TEST(PublicKey, RefusesAPointThatIsNotOnTheCurve) {
  Bytes spki = gostSpki(k2012, kX256, kY256);
  spki.back() ^= 1U;
  EXPECT_EQ(PublicKey::parse(spki).error(), NTE_BAD_PUBLIC_KEY);
}

// A key that names the other length's curve: 512-bit numbers where 256-bit ones are expected.
TEST(PublicKey, RefusesAGostKeyOverACurveOfAnotherSize) {
  const EvpPkeyPtr wide = lab::generateKey(KeyKind::Gost2012_512);
  unsigned char* der = nullptr;
  const int length = i2d_PUBKEY(wide.get(), &der);
  const OpensslBytes owner(der);
  Bytes spki(der, der + length);
  const Bytes oid512 = fromHex("06082A85030701010102");
  const auto found = std::ranges::search(spki, oid512).begin();
  ASSERT_NE(found, spki.end());
  *(found + 9) = 1;
  const auto key = PublicKey::parse(spki);
  EXPECT_FALSE(key);
}

TEST(SpkiAlgorithm, IsThePartThatNamesTheAlgorithm) {
  const Bytes spki = fromHex("300a 300506032a0304 030100");
  const auto algorithm = spkiAlgorithm(spki);
  ASSERT_TRUE(algorithm);
  EXPECT_EQ(Bytes(algorithm->begin(), algorithm->end()), fromHex("300506032a0304"));
  EXPECT_EQ(algorithm->data(), spki.data() + 2);
}

TEST(SpkiAlgorithm, IsNotFoundInWhatIsNoKey) {
  EXPECT_EQ(spkiAlgorithm({}).error(), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(spkiAlgorithm(fromHex("3002 0500")).error(), CRYPT_E_ASN1_BADTAG);
}

}  // namespace
}  // namespace qx::public_key_test
