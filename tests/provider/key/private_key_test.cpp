#include "provider/key/private_key.h"

#include <algorithm>
#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "tests/provider/key/sample_keys.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::private_key_test {
namespace {

using lab::KeyKind;
using test::makeKey;
using test::plainAlgorithm;
using test::publicHalf;
using test::someDigest;
using test::usualHash;
using Bytes = std::vector<std::uint8_t>;

Bytes keyBits(const PrivateKey& key) {
  return {key.publicKeyBits().begin(), key.publicKeyBits().end()};
}

/// Sets variables of the environment for a while.
class Environment {
 public:
  Environment(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }

  ~Environment() { unsetenv(name_); }

  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  Environment(Environment&&) = delete;
  Environment& operator=(Environment&&) = delete;

 private:
  const char* name_;
};

class PrivateKeys : public ::testing::TestWithParam<KeyKind> {
 protected:
  HashAlgorithm hash() const { return usualHash(GetParam()); }

  std::shared_ptr<const PrivateKey> key_ = makeKey(GetParam());
};

TEST_P(PrivateKeys, SignWhatTheirPublicHalfAccepts) {
  const Bytes digest = someDigest(hash());
  const auto signature = key_->signDigest(hash(), digest);
  ASSERT_TRUE(signature);
  EXPECT_TRUE(publicHalf(*key_).verifyDigest(plainAlgorithm(*key_), hash(), digest, *signature));
}

TEST_P(PrivateKeys, SignWhatTheOpensslCommandAccepts) {
  const test::TempDir folder;
  const Bytes digest = someDigest(hash(), 0x33);
  const auto signature = key_->signDigest(hash(), digest);
  ASSERT_TRUE(signature);
  const BioPtr bio(BIO_new_file(folder.file("key.pem").c_str(), "w"));
  ASSERT_EQ(PEM_write_bio_PUBKEY(bio.get(), key_->evp()), 1);
  ASSERT_EQ(BIO_flush(bio.get()), 1);
  folder.write("digest", std::string(digest.begin(), digest.end()));
  folder.write("signature", std::string(signature->begin(), signature->end()));
  std::vector<std::string> command = {"openssl",
                                      "pkeyutl",
                                      "-verify",
                                      "-pubin",
                                      "-inkey",
                                      folder.file("key.pem"),
                                      "-in",
                                      folder.file("digest"),
                                      "-sigfile",
                                      folder.file("signature")};
  if (keyTypeInfo(key_->type()).onlyHash) {
    command.insert(command.end(), {"-engine", "gost"});
  } else {
    command.insert(
        command.end(),
        {"-pkeyopt", hash() == HashAlgorithm::Sha384 ? "digest:sha384" : "digest:sha256"});
  }
  const auto verified = test::run(command);
  EXPECT_EQ(verified.exitCode, 0) << verified.out << verified.err;
}

TEST_P(PrivateKeys, AreReadFromWhatTheyWrite) {
  const auto info = key_->toPkcs8();
  ASSERT_TRUE(info);
  const auto again = PrivateKey::fromPkcs8(**info);
  ASSERT_TRUE(again);
  EXPECT_EQ((*again)->type(), key_->type());
  EXPECT_EQ(Bytes((*again)->spki().begin(), (*again)->spki().end()),
            Bytes(key_->spki().begin(), key_->spki().end()));
}

// The engine ends the process when it gets such a digest, and signs 32 bytes with a 512-bit key.
TEST_P(PrivateKeys, RefuseADigestOfAnotherLength) {
  for (std::size_t size = 0; size <= 130; ++size) {
    if (size != hashInfo(hash()).length) {
      const auto signature = key_->signDigest(hash(), Bytes(size, 1));
      ASSERT_FALSE(signature) << size;
      EXPECT_EQ(signature.error(), NTE_BAD_HASH) << size;
    }
  }
}

TEST_P(PrivateKeys, RefuseHashesThatAreNotTheirs) {
  for (const HashAlgorithm other : {HashAlgorithm::Md2,
                                    HashAlgorithm::Md5,
                                    HashAlgorithm::Gost94,
                                    HashAlgorithm::Streebog256,
                                    HashAlgorithm::Streebog512}) {
    if (other != hash()) {
      EXPECT_EQ(key_->signDigest(other, someDigest(other)).error(), NTE_BAD_ALGID);
    }
  }
}

TEST_P(PrivateKeys, SignInSeveralThreadsAtOnce) {
  constexpr std::size_t kThreads = 4;
  constexpr int kRounds = 10;
  const PublicKey publicKey = publicHalf(*key_);
  const auto signsWell = [&](std::size_t thread) {
    const Bytes digest = someDigest(hash(), static_cast<std::uint8_t>((thread * 16) + 1));
    const auto signature = key_->signDigest(hash(), digest);
    return signature && publicKey.verifyDigest(plainAlgorithm(*key_), hash(), digest, *signature);
  };
  std::vector<int> good(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < kRounds; ++round) {
        good[i] += signsWell(i) ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(good, std::vector<int>(kThreads, kRounds));
}

TEST_P(PrivateKeys, CutAnywhereAreNoKeys) {
  const Bytes der = lab::toDer(key_->evp());
  const std::size_t step = der.size() > 500 ? 7 : 1;
  for (std::size_t size = 0; size < der.size(); size += step) {
    EXPECT_FALSE(readPkcs8(std::span(der).first(size))) << size;
  }
}

TEST_P(PrivateKeys, WithAFlippedBitAreRefusedOrWork) {
  const Bytes der = lab::toDer(key_->evp());
  const std::size_t step = der.size() > 500 ? 211 : 5;
  for (std::size_t bit = 0; bit < der.size() * 8; bit += step) {
    Bytes changed = der;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    const auto info = readPkcs8(changed);
    const auto key = info ? PrivateKey::fromPkcs8(**info) : info.failure();
    if (key) {
      const HashAlgorithm own = keyTypeInfo((*key)->type()).onlyHash.value_or(hash());
      const Bytes digest = someDigest(own);
      const auto signature = (*key)->signDigest(own, digest);
      ASSERT_TRUE(signature) << bit;
      EXPECT_TRUE(publicHalf(**key).verifyDigest(plainAlgorithm(**key), own, digest, *signature))
          << bit;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllKinds,
                         PrivateKeys,
                         ::testing::ValuesIn(test::allKinds()),
                         test::kindOf);

TEST(PrivateKey, OfEveryParameterSetSigns) {
  const std::pair<KeyKind, std::vector<const char*>> sets[] = {
      {KeyKind::Gost2001, {"A", "B", "C", "XA", "XB"}},
      {KeyKind::Gost2012_256, {"A", "B", "C", "XA", "XB", "TCA", "TCB", "TCC", "TCD"}},
      {KeyKind::Gost2012_512, {"A", "B", "C"}}};
  for (const auto& [kind, names] : sets) {
    for (const char* name : names) {
      const auto key = PrivateKey::fromEvp(lab::generateGostKey(kind, name));
      ASSERT_TRUE(key) << name;
      EXPECT_TRUE((*key)->signDigest(usualHash(kind), someDigest(usualHash(kind)))) << name;
    }
  }
}

TEST(PrivateKey, DoesNotDependOnTheEnginesVariables) {
  const auto key = makeKey(KeyKind::Gost2012_256);
  for (const auto& [name, value] :
       {std::pair("CRYPT_PARAMS", "id-Gost28147-89-CryptoPro-D-ParamSet"),
        std::pair("CRYPT_PARAMS", "nonsense"),
        std::pair("GOST_PK_FORMAT", "LEGACY_PK_WRAP"),
        std::pair("GOST_PBE_HMAC", "md_gost94"),
        std::pair("PBE_PARAMS", "nonsense")}) {
    const Environment variable(name, value);
    const auto info = key->toPkcs8();
    ASSERT_TRUE(info);
    const auto again = PrivateKey::fromPkcs8(**info);
    ASSERT_TRUE(again) << name;
    EXPECT_EQ(keyBits(**again), keyBits(*key)) << name;
    const Bytes digest = someDigest(HashAlgorithm::Streebog256);
    const auto signature = (*again)->signDigest(HashAlgorithm::Streebog256, digest);
    ASSERT_TRUE(signature) << name;
    EXPECT_TRUE(publicHalf(*key).verifyDigest(
        plainAlgorithm(*key), HashAlgorithm::Streebog256, digest, *signature));
  }
}

TEST(PrivateKey, OfAKindThatWeDoNotKnowIsRefused) {
  EvpPkeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
  ASSERT_NE(key, nullptr);
  const Pkcs8Ptr info(EVP_PKEY2PKCS8(key.get()));
  EXPECT_EQ(PrivateKey::fromPkcs8(*info).error(), NTE_BAD_ALGID);
  EXPECT_EQ(PrivateKey::fromEvp(std::move(key)).error(), NTE_BAD_ALGID);
}

TEST(PrivateKey, WithoutItsPrivatePartIsRefused) {
  for (const KeyKind kind : test::allKinds()) {
    const auto key = makeKey(kind);
    const unsigned char* position = key->spki().data();
    EvpPkeyPtr half(d2i_PUBKEY(nullptr, &position, static_cast<long>(key->spki().size())));
    ASSERT_NE(half, nullptr);
    EXPECT_FALSE(PrivateKey::fromEvp(std::move(half))) << lab::kindName(kind);
  }
}

// An elliptic key may state its public half; libcrypto believes it.
TEST(PrivateKey, ThatStatesAnotherPublicKeyIsRefused) {
  const auto one = makeKey(KeyKind::EcP256);
  const auto other = makeKey(KeyKind::EcP256);
  Bytes der = lab::toDer(one->evp());
  const Bytes bits(one->publicKeyBits().begin(), one->publicKeyBits().end());
  const auto found = std::ranges::search(der, bits).begin();
  ASSERT_NE(found, der.end());
  std::copy(other->publicKeyBits().begin(), other->publicKeyBits().end(), found);
  const auto info = readPkcs8(der);
  ASSERT_TRUE(info);
  const auto key = PrivateKey::fromPkcs8(**info);
  ASSERT_FALSE(key);
  EXPECT_EQ(key.error(), NTE_BAD_KEY);
}

}  // namespace
}  // namespace qx::private_key_test
