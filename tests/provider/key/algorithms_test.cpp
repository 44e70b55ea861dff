#include "provider/key/algorithms.h"

#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/objects.h>

namespace qx::algorithms_test {
namespace {

const std::vector<KeyType> kTypes = {
    KeyType::Gost2001, KeyType::Gost2012_256, KeyType::Gost2012_512, KeyType::Rsa, KeyType::Ec};
const std::vector<HashAlgorithm> kHashes = {HashAlgorithm::Md2,
                                            HashAlgorithm::Md5,
                                            HashAlgorithm::Sha1,
                                            HashAlgorithm::Sha256,
                                            HashAlgorithm::Sha384,
                                            HashAlgorithm::Sha512,
                                            HashAlgorithm::Gost94,
                                            HashAlgorithm::Streebog256,
                                            HashAlgorithm::Streebog512};

TEST(KeyTypes, AreFoundByEveryNameTheyHave) {
  for (const KeyType type : kTypes) {
    const KeyTypeInfo& info = keyTypeInfo(type);
    EXPECT_EQ(info.type, type);
    EXPECT_EQ(keyTypeByOid(info.oid), &info);
    EXPECT_EQ(keyTypeByNid(info.nid), &info);
  }
}

TEST(KeyTypes, AgreeWithLibcryptoOnTheirOid) {
  for (const KeyType type : kTypes) {
    EXPECT_EQ(OBJ_txt2nid(keyTypeInfo(type).oid), keyTypeInfo(type).nid);
  }
}

TEST(KeyTypes, ThatWeDoNotKnowAreNotFound) {
  EXPECT_EQ(keyTypeByOid(""), nullptr);
  EXPECT_EQ(keyTypeByOid("1.2.643.2.2.20"), nullptr);
  EXPECT_EQ(keyTypeByOid("1.2.643.2.2.1"), nullptr);
  EXPECT_EQ(keyTypeByOid("1.2.643.2.2.190"), nullptr);
  EXPECT_EQ(keyTypeByNid(EVP_PKEY_DSA), nullptr);
  EXPECT_EQ(keyTypeByNid(NID_undef), nullptr);
}

TEST(KeyTypes, OfGostSignTheirOwnHashAlone) {
  for (const KeyType type : {KeyType::Gost2001, KeyType::Gost2012_256, KeyType::Gost2012_512}) {
    const KeyTypeInfo& info = keyTypeInfo(type);
    for (const HashAlgorithm hash : kHashes) {
      EXPECT_EQ(mayBeSigned(info, hash), hash == info.onlyHash) << static_cast<int>(hash);
    }
    ASSERT_TRUE(info.onlyHash);
    EXPECT_EQ(info.signatureLength, 2 * hashInfo(*info.onlyHash).length);
  }
}

TEST(KeyTypes, OfTheOthersSignNeitherMd2NorMd5NorGostHashes) {
  for (const KeyType type : {KeyType::Rsa, KeyType::Ec}) {
    for (const HashAlgorithm hash : kHashes) {
      const bool sha = hash >= HashAlgorithm::Sha1 && hash <= HashAlgorithm::Sha512;
      EXPECT_EQ(mayBeSigned(keyTypeInfo(type), hash), sha) << static_cast<int>(hash);
    }
  }
}

TEST(KeyTypes, HaveAProviderType) {
  EXPECT_EQ(keyTypeInfo(KeyType::Gost2001).providerType, 75U);
  EXPECT_EQ(keyTypeInfo(KeyType::Gost2012_256).providerType, 80U);
  EXPECT_EQ(keyTypeInfo(KeyType::Gost2012_512).providerType, 81U);
  EXPECT_EQ(keyTypeInfo(KeyType::Rsa).providerType, 24U);
  EXPECT_EQ(keyTypeInfo(KeyType::Ec).providerType, 24U);
}

}  // namespace
}  // namespace qx::algorithms_test
