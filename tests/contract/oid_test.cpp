#include "platform/oid_info.h"

#include "tests/contract/contract.h"

// What is known about object identifiers.

namespace qx::test::oid_test {
namespace {

const CRYPT_OID_INFO* find(DWORD type, const void* key, DWORD group = 0) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the interface reads only
  return CryptFindOIDInfo(type, const_cast<void*>(key), group);
}

TEST(ContractOid, OfAnAlgorithmIsTheFirstOfItsTable) {
  EXPECT_STREQ(CertAlgIdToOID(CALG_SHA1), szOID_OIWSEC_sha1);
  EXPECT_STREQ(CertAlgIdToOID(CALG_MD5), szOID_RSA_MD5);
  EXPECT_STREQ(CertAlgIdToOID(CALG_RSA_KEYX), szOID_RSA_RSA);
  SetLastError(kMark);
  EXPECT_EQ(CertAlgIdToOID(0x12345), nullptr);
  EXPECT_EQ(GetLastError(), kMark);
}

TEST(ContractOid, OfASignatureGivesItsHash) {
  EXPECT_EQ(CertOIDToAlgId(szOID_RSA_MD5RSA), DWORD{CALG_MD5});
  EXPECT_EQ(CertOIDToAlgId(szOID_RSA_SHA1RSA), DWORD{CALG_SHA1});
  EXPECT_EQ(CertOIDToAlgId(szOID_RSA_RSA), DWORD{CALG_RSA_KEYX});
  EXPECT_EQ(CertOIDToAlgId(szOID_NIST_sha256), DWORD{CALG_SHA_256});
  EXPECT_EQ(CertOIDToAlgId("1.2.3.4.5"), 0U);
}

TEST(ContractOid, IsFoundByEachKey) {
  const auto* byOid = find(CRYPT_OID_INFO_OID_KEY, szOID_OIWSEC_sha1);
  ASSERT_NE(byOid, nullptr);
  EXPECT_STREQ(byOid->pszOID, szOID_OIWSEC_sha1);
  EXPECT_EQ(byOid->dwGroupId, DWORD{CRYPT_HASH_ALG_OID_GROUP_ID});
  EXPECT_EQ(byOid->Algid, ALG_ID{CALG_SHA1});
  EXPECT_EQ(find(CRYPT_OID_INFO_NAME_KEY, byOid->pwszName), byOid);
  const ALG_ID hash = CALG_SHA1;
  EXPECT_EQ(find(CRYPT_OID_INFO_ALGID_KEY, &hash, CRYPT_HASH_ALG_OID_GROUP_ID), byOid);
  const ALG_ID pair[] = {CALG_MD5, CALG_RSA_SIGN};
  const auto* bySign = find(CRYPT_OID_INFO_SIGN_KEY, pair);
  ASSERT_NE(bySign, nullptr);
  EXPECT_STREQ(bySign->pszOID, szOID_RSA_MD5RSA);
}

TEST(ContractOid, IsNotFoundInAnotherGroupOrByAnotherKey) {
  EXPECT_EQ(find(CRYPT_OID_INFO_OID_KEY, szOID_OIWSEC_sha1, CRYPT_RDN_ATTR_OID_GROUP_ID), nullptr);
  EXPECT_EQ(find(CRYPT_OID_INFO_OID_KEY, "1.2.3.4.5"), nullptr);
  EXPECT_EQ(find(0, szOID_OIWSEC_sha1), nullptr);
}

struct Walk {
  int left = 0;
  DWORD group = 0;
  bool sorted = true;
};

BOOL visit(PCCRYPT_OID_INFO info, void* argument) {
  auto& walk = *static_cast<Walk*>(argument);
  EXPECT_EQ(info->cbSize, sizeof(CRYPT_OID_INFO_LONG));
  walk.sorted = walk.sorted && info->dwGroupId >= walk.group;
  walk.group = info->dwGroupId;
  return --walk.left != 0 ? TRUE : FALSE;
}

TEST(ContractOid, EntriesAreWalkedByGroupUntilToldToStop) {
  Walk all{.left = -1, .group = 0};
  EXPECT_TRUE(CryptEnumOIDInfo(0, 0, &all, visit));
  EXPECT_TRUE(all.sorted);
  EXPECT_LT(all.left, -10);
  Walk two{.left = 2, .group = 0};
  EXPECT_FALSE(CryptEnumOIDInfo(0, 0, &two, visit));
  EXPECT_EQ(two.left, 0);
}

}  // namespace
}  // namespace qx::test::oid_test
