#include "platform/oid_info.h"

#include <cwctype>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/objects.h>

#include "platform/errors.h"

#include "provider/oid/table.h"

namespace qx::test::oid_info_test {
namespace {

constexpr DWORD kClassMask = 0xE000;

std::vector<PCCRYPT_OID_INFO> entriesOf(DWORD group) {
  std::vector<PCCRYPT_OID_INFO> entries;
  const PFN_CRYPT_ENUM_OID_INFO collect = [](PCCRYPT_OID_INFO entry, void* out) -> BOOL {
    static_cast<std::vector<PCCRYPT_OID_INFO>*>(out)->push_back(entry);
    return TRUE;
  };
  EXPECT_EQ(CryptEnumOIDInfo(group, 0, &entries, collect), TRUE);
  return entries;
}

std::vector<DWORD> extraOf(PCCRYPT_OID_INFO entry) {
  const auto* words = reinterpret_cast<const DWORD*>(entry->ExtraInfo.pbData);
  return {words, words + (entry->ExtraInfo.cbData / sizeof(DWORD))};
}

PCCRYPT_OID_INFO findOid(std::string oid, DWORD group) {
  return CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, oid.data(), group);
}

PCCRYPT_OID_INFO findAlgorithm(ALG_ID id, DWORD group) {
  return CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &id, group);
}

PCCRYPT_OID_INFO findSignature(ALG_ID hash, ALG_ID publicKey) {
  ALG_ID ids[] = {hash, publicKey};
  return CryptFindOIDInfo(
      CRYPT_OID_INFO_SIGN_KEY, static_cast<ALG_ID*>(ids), CRYPT_SIGN_ALG_OID_GROUP_ID);
}

// The first id of this class that the table has for a public key; 0 when there is none.
ALG_ID publicKeyId(std::string_view oid, DWORD algorithmClass) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(CRYPT_PUBKEY_ALG_OID_GROUP_ID)) {
    if (entry->pszOID == oid && (entry->Algid & kClassMask) == algorithmClass) {
      return entry->Algid;
    }
  }
  return 0;
}

int nidOf(LPCSTR oid) {
  return oid == nullptr ? NID_undef : OBJ_txt2nid(oid);
}

TEST(OidTable, HoldsNothingButOids) {
  for (const CRYPT_OID_INFO_LONG& entry : qx::oidTable()) {
    ASN1_OBJECT* object = OBJ_txt2obj(entry.pszOID, /*no_name=*/1);
    EXPECT_NE(object, nullptr) << entry.pszOID;
    ASN1_OBJECT_free(object);
    EXPECT_EQ(entry.cbSize, 64U);
    EXPECT_NE(entry.pwszName, nullptr);
    EXPECT_NE(*entry.pwszName, L'\0');
    EXPECT_NE(entry.pwszCNGAlgid, nullptr);
    EXPECT_NE(entry.pwszCNGExtraAlgid, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(entry.ExtraInfo.pbData) % alignof(DWORD), 0U);
  }
}

TEST(OidTable, HasEachAlgorithmOnceUnderItsOidAndId) {
  std::set<std::tuple<DWORD, std::string, DWORD>> seen;
  for (const CRYPT_OID_INFO_LONG& entry : qx::oidTable()) {
    EXPECT_TRUE(seen.emplace(entry.dwGroupId, entry.pszOID, entry.dwValue).second) << entry.pszOID;
  }
}

TEST(OidTable, HasAnIdOfTheRightClassInEveryAlgorithm) {
  const auto classOf = [](DWORD group) {
    switch (group) {
      case CRYPT_HASH_ALG_OID_GROUP_ID:
      case CRYPT_SIGN_ALG_OID_GROUP_ID:
        return std::set<DWORD>{ALG_CLASS_HASH};
      case CRYPT_ENCRYPT_ALG_OID_GROUP_ID:
        return std::set<DWORD>{ALG_CLASS_DATA_ENCRYPT};
      default:
        return std::set<DWORD>{ALG_CLASS_SIGNATURE, ALG_CLASS_KEY_EXCHANGE};
    }
  };
  for (DWORD group = CRYPT_FIRST_ALG_OID_GROUP_ID; group <= CRYPT_LAST_ALG_OID_GROUP_ID; ++group) {
    for (const PCCRYPT_OID_INFO entry : entriesOf(group)) {
      const bool isNumber = entry->Algid < CALG_OID_INFO_PARAMETERS;
      EXPECT_TRUE(!isNumber || classOf(group).contains(GET_ALG_CLASS(entry->Algid)))
          << entry->pszOID;
    }
  }
}

// libcrypto's own table says which hash and which key make a signature.
TEST(OidTable, AgreesWithLibcryptoOnWhatASignatureIsMadeOf) {
  int compared = 0;
  for (const PCCRYPT_OID_INFO entry : entriesOf(CRYPT_SIGN_ALG_OID_GROUP_ID)) {
    const std::vector<DWORD> extra = extraOf(entry);
    ASSERT_FALSE(extra.empty()) << entry->pszOID;
    int hash = NID_undef;
    int key = NID_undef;
    ASSERT_EQ(OBJ_find_sigid_algs(nidOf(entry->pszOID), &hash, &key), 1) << entry->pszOID;
    if (entry->Algid >= CALG_OID_INFO_PARAMETERS) {
      continue;
    }
    EXPECT_EQ(nidOf(CertAlgIdToOID(entry->Algid)), hash) << entry->pszOID;
    const PCCRYPT_OID_INFO publicKey = findAlgorithm(extra[0], CRYPT_PUBKEY_ALG_OID_GROUP_ID);
    ASSERT_NE(publicKey, nullptr) << entry->pszOID;
    // An alias of the RSA key stands in libcrypto's table for the oldest of the names.
    EXPECT_TRUE(nidOf(publicKey->pszOID) == key || key == NID_rsa) << entry->pszOID;
    EXPECT_EQ(GET_ALG_CLASS(extra[0]), ALG_CLASS_SIGNATURE);
    ++compared;
  }
  EXPECT_GE(compared, 14);
}

TEST(OidTable, HasASignatureEntryForEveryPublicKey) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(CRYPT_PUBKEY_ALG_OID_GROUP_ID)) {
    EXPECT_NE(publicKeyId(entry->pszOID, ALG_CLASS_SIGNATURE), 0U) << entry->pszOID;
  }
}

TEST(OidTable, HasForEverySignatureOidAnEntryThatLeadsToItsKey) {
  std::set<std::string> all;
  std::set<std::string> leading;
  for (const PCCRYPT_OID_INFO entry : entriesOf(CRYPT_SIGN_ALG_OID_GROUP_ID)) {
    all.insert(entry->pszOID);
    if (findAlgorithm(extraOf(entry)[0], CRYPT_PUBKEY_ALG_OID_GROUP_ID) != nullptr) {
      leading.insert(entry->pszOID);
    }
  }
  EXPECT_EQ(all, leading);
}

struct KeyCase {
  const char* oid;
  ALG_ID signature;
  ALG_ID exchange;
  ALG_ID hash;
  const char* signatureOid;
};

class KeyTypes : public testing::TestWithParam<KeyCase> {};

TEST_P(KeyTypes, HaveIdsOfBothClasses) {
  EXPECT_EQ(publicKeyId(GetParam().oid, ALG_CLASS_SIGNATURE), GetParam().signature);
  EXPECT_EQ(publicKeyId(GetParam().oid, ALG_CLASS_KEY_EXCHANGE), GetParam().exchange);
}

TEST_P(KeyTypes, FindTheirSignatureByHashAndKey) {
  const PCCRYPT_OID_INFO found = findSignature(GetParam().hash, GetParam().signature);
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(found->pszOID, GetParam().signatureOid);
  EXPECT_EQ(found->Algid, GetParam().hash);
  EXPECT_NE(findAlgorithm(found->Algid, CRYPT_HASH_ALG_OID_GROUP_ID), nullptr);
}

TEST_P(KeyTypes, AnswerTheHashOfTheirSignatureOid) {
  EXPECT_EQ(CertOIDToAlgId(GetParam().signatureOid), GetParam().hash);
}

INSTANTIATE_TEST_SUITE_P(
    All,
    KeyTypes,
    testing::Values(KeyCase{"1.2.643.2.2.19", 0x2E01, 0xAE01, 0x801E, "1.2.643.2.2.3"},
                    KeyCase{"1.2.643.7.1.1.1.1", 0x2E02, 0xAE02, 0x8021, "1.2.643.7.1.1.3.2"},
                    KeyCase{"1.2.643.7.1.1.1.2", 0x2E03, 0xAE03, 0x8022, "1.2.643.7.1.1.3.3"},
                    KeyCase{szOID_RSA_RSA, 0x2400, 0xA400, 0x800C, szOID_RSA_SHA256RSA},
                    KeyCase{szOID_RSA_RSA, 0x2400, 0xA400, 0x8004, szOID_RSA_SHA1RSA},
                    KeyCase{szOID_RSA_RSA, 0x2400, 0xA400, 0x8003, szOID_RSA_MD5RSA},
                    KeyCase{szOID_ECC_PUBLIC_KEY, 0x2203, 0xAA05, 0x800C, szOID_ECDSA_SHA256},
                    KeyCase{szOID_ECC_PUBLIC_KEY, 0x2203, 0xAA05, 0x800D, szOID_ECDSA_SHA384},
                    KeyCase{szOID_X957_DSA, 0x2200, 0, 0x8004, "1.2.840.10040.4.3"}));

TEST(OidInfo, ShowsThePublishedEntriesOfEllipticCurvesFirst) {
  const PCCRYPT_OID_INFO key = findOid(szOID_ECC_PUBLIC_KEY, CRYPT_PUBKEY_ALG_OID_GROUP_ID);
  ASSERT_NE(key, nullptr);
  EXPECT_STREQ(key->pwszName, L"ECC");
  EXPECT_EQ(key->Algid, CALG_OID_INFO_PARAMETERS);
  EXPECT_EQ(key->ExtraInfo.cbData, 0U);

  const PCCRYPT_OID_INFO signature = findOid(szOID_ECDSA_SHA256, CRYPT_SIGN_ALG_OID_GROUP_ID);
  ASSERT_NE(signature, nullptr);
  EXPECT_STREQ(signature->pwszName, L"sha256ECDSA");
  EXPECT_EQ(signature->Algid, CALG_OID_INFO_CNG_ONLY);
  EXPECT_EQ(extraOf(signature), (std::vector<DWORD>{0xFFFFFFFE, 4}));
  const auto* entry = reinterpret_cast<const CRYPT_OID_INFO_LONG*>(signature);
  EXPECT_STREQ(entry->pwszCNGAlgid, L"SHA256");
  EXPECT_STREQ(entry->pwszCNGExtraAlgid, L"CryptOIDInfoECCParameters");
}

TEST(OidInfo, TellsTheKeyLengthOfCiphers) {
  const PCCRYPT_OID_INFO aes = findAlgorithm(CALG_AES_256, CRYPT_ENCRYPT_ALG_OID_GROUP_ID);
  ASSERT_NE(aes, nullptr);
  EXPECT_STREQ(aes->pszOID, szOID_NIST_AES256_CBC);
  EXPECT_EQ(extraOf(aes), std::vector<DWORD>{256});
}

TEST(EnumOidInfo, WalksAllGroupsInTheirOrder) {
  DWORD group = 0;
  for (const PCCRYPT_OID_INFO entry : entriesOf(0)) {
    EXPECT_GE(entry->dwGroupId, group);
    group = entry->dwGroupId;
  }
  EXPECT_EQ(group, CRYPT_POLICY_OID_GROUP_ID);
  EXPECT_EQ(entriesOf(0).size(), qx::oidTable().size());
}

TEST(EnumOidInfo, EndsWhenTheCallbackSaysSo) {
  int calls = 0;
  const PFN_CRYPT_ENUM_OID_INFO second = [](PCCRYPT_OID_INFO, void* count) -> BOOL {
    return ++*static_cast<int*>(count) == 2 ? FALSE : TRUE;
  };
  EXPECT_EQ(CryptEnumOIDInfo(CRYPT_HASH_ALG_OID_GROUP_ID, 0, &calls, second), FALSE);
  EXPECT_EQ(calls, 2);
}

TEST(EnumOidInfo, FindsNothingInAnEmptyGroup) {
  EXPECT_TRUE(entriesOf(CRYPT_TEMPLATE_OID_GROUP_ID).empty());
  EXPECT_TRUE(entriesOf(77).empty());
}

TEST(EnumOidInfo, RefusesFlagsAndNoCallback) {
  const PFN_CRYPT_ENUM_OID_INFO never = [](PCCRYPT_OID_INFO, void*) -> BOOL { return TRUE; };
  EXPECT_EQ(CryptEnumOIDInfo(1, 1, nullptr, never), FALSE);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
  EXPECT_EQ(CryptEnumOIDInfo(1, 0, nullptr, nullptr), FALSE);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(FindOidInfo, FindsNamesInAnyCase) {
  std::wstring name = L"SHA256rsa";
  const PCCRYPT_OID_INFO found = CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, name.data(), 0);
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(found->pszOID, szOID_RSA_SHA256RSA);
}

TEST(FindOidInfo, SearchesTheGroupThatIsAskedFor) {
  EXPECT_EQ(findOid(szOID_RSA_RSA, CRYPT_HASH_ALG_OID_GROUP_ID), nullptr);
  EXPECT_NE(findOid(szOID_RSA_RSA, 0), nullptr);
  // A key length and a hint above the group do not count.
  EXPECT_NE(findOid(szOID_RSA_RSA,
                    CRYPT_PUBKEY_ALG_OID_GROUP_ID | CRYPT_OID_DISABLE_SEARCH_DS_FLAG |
                        2048U << CRYPT_OID_INFO_OID_GROUP_BIT_LEN_SHIFT),
            nullptr);
}

TEST(FindOidInfo, IgnoresTheFlagsOfTheKeyType) {
  std::string oid = szOID_RSA_RSA;
  EXPECT_NE(
      CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY | CRYPT_OID_INFO_PUBKEY_SIGN_KEY_FLAG, oid.data(), 0),
      nullptr);
}

TEST(FindOidInfo, MatchesNoEntryByAnIdThatIsNone) {
  EXPECT_EQ(findAlgorithm(CALG_OID_INFO_CNG_ONLY, 0), nullptr);
  EXPECT_EQ(findAlgorithm(CALG_OID_INFO_PARAMETERS, 0), nullptr);
  EXPECT_EQ(findSignature(CALG_OID_INFO_CNG_ONLY, CALG_OID_INFO_PARAMETERS), nullptr);
  // The lengths of name attributes are no algorithms.
  EXPECT_EQ(findAlgorithm(64, 0), nullptr);
  EXPECT_EQ(findAlgorithm(0, 0), nullptr);
}

TEST(FindOidInfo, FindsNoSignatureForAnExchangeKey) {
  EXPECT_EQ(findSignature(CALG_SHA1, CALG_RSA_KEYX), nullptr);
  EXPECT_EQ(findSignature(CALG_SHA1, CALG_QX_GR3410_2001_SIGN), nullptr);
}

TEST(FindOidInfo, FindsNothingWithoutAKeyOrKind) {
  std::string oid = szOID_RSA_RSA;
  EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, nullptr, 0), nullptr);
  EXPECT_EQ(CryptFindOIDInfo(0, oid.data(), 0), nullptr);
  EXPECT_EQ(CryptFindOIDInfo(99, oid.data(), 0), nullptr);
}

TEST(CertAlgIdToOid, AnswersTheFirstOidOfAnId) {
  EXPECT_STREQ(CertAlgIdToOID(CALG_SHA1), szOID_OIWSEC_sha1);
  EXPECT_STREQ(CertAlgIdToOID(CALG_MD5), szOID_RSA_MD5);
  EXPECT_STREQ(CertAlgIdToOID(CALG_MD4), szOID_RSA_MD4);
  EXPECT_STREQ(CertAlgIdToOID(CALG_MD2), szOID_RSA_MD2);
  EXPECT_STREQ(CertAlgIdToOID(CALG_SHA_256), szOID_NIST_sha256);
  EXPECT_STREQ(CertAlgIdToOID(CALG_RSA_KEYX), szOID_RSA_RSA);
  EXPECT_STREQ(CertAlgIdToOID(CALG_3DES), "1.2.840.113549.3.7");
  EXPECT_STREQ(CertAlgIdToOID(0x801E), "1.2.643.2.2.9");
  EXPECT_STREQ(CertAlgIdToOID(0x8021), "1.2.643.7.1.1.2.2");
  EXPECT_STREQ(CertAlgIdToOID(0x8022), "1.2.643.7.1.1.2.3");
}

TEST(CertAlgIdToOid, LeavesTheLastErrorAloneWhenThereIsNone) {
  SetLastError(ERROR_BUSY);
  for (const DWORD id : {0U, 64U, 0x1234U, CALG_OID_INFO_CNG_ONLY, CALG_OID_INFO_PARAMETERS}) {
    EXPECT_EQ(CertAlgIdToOID(id), nullptr) << id;
  }
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

TEST(CertOidToAlgId, AnswersTheIdOfAnOid) {
  EXPECT_EQ(CertOIDToAlgId(szOID_NIST_sha384), CALG_SHA_384);
  EXPECT_EQ(CertOIDToAlgId(szOID_RSA_RSA), CALG_RSA_KEYX);
  EXPECT_EQ(CertOIDToAlgId(szOID_X957_DSA), CALG_DSS_SIGN);
  EXPECT_EQ(CertOIDToAlgId(szOID_ECC_PUBLIC_KEY), CALG_OID_INFO_PARAMETERS);
  EXPECT_EQ(CertOIDToAlgId("1.2.643.2.2.9"), 0x801EU);
}

TEST(CertOidToAlgId, AnswersZeroForWhatIsNoAlgorithm) {
  EXPECT_EQ(CertOIDToAlgId("1.2.3"), 0U);
  EXPECT_EQ(CertOIDToAlgId("2.5.4.3"), 0U);
  EXPECT_EQ(CertOIDToAlgId(""), 0U);
  EXPECT_EQ(CertOIDToAlgId(nullptr), 0U);
}

// The five hashes that documents are digested with, by the names of their standards.
TEST(CertOidToAlgId, AgreesWithLibcryptoOnTheHashes) {
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_SHA1)), NID_sha1);
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_MD2)), NID_md2);
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_MD5)), NID_md5);
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_SHA_512)), NID_sha512);
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_QX_GR3411)), NID_id_GostR3411_94);
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_QX_GR3411_2012_256)), NID_id_GostR3411_2012_256);
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_QX_GR3411_2012_512)), NID_id_GostR3411_2012_512);
  EXPECT_EQ(OBJ_txt2nid(CertAlgIdToOID(CALG_QX_GR28147)), NID_id_Gost28147_89);
}

}  // namespace
}  // namespace qx::test::oid_info_test
