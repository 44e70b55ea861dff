// The searches against a plain walk over what the enumeration shows, for every entry and every key.
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/errors.h"
#include "platform/oid_info.h"

namespace qx::test::oid_search_test {
namespace {

using Entries = std::vector<PCCRYPT_OID_INFO>;

Entries entriesOf(DWORD group) {
  Entries entries;
  const PFN_CRYPT_ENUM_OID_INFO collect = [](PCCRYPT_OID_INFO entry, void* out) -> BOOL {
    static_cast<Entries*>(out)->push_back(entry);
    return TRUE;
  };
  EXPECT_EQ(CryptEnumOIDInfo(group, /*dwFlags=*/0, &entries, collect), TRUE);
  return entries;
}

bool isAlgorithm(PCCRYPT_OID_INFO entry) {
  return entry->dwGroupId >= CRYPT_FIRST_ALG_OID_GROUP_ID &&
         entry->dwGroupId <= CRYPT_LAST_ALG_OID_GROUP_ID;
}

bool isNumber(ALG_ID id) {
  return id != CALG_OID_INFO_CNG_ONLY && id != CALG_OID_INFO_PARAMETERS;
}

template <class Matches>
PCCRYPT_OID_INFO firstOf(DWORD group, const Matches& matches) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(group)) {
    if (matches(entry)) {
      return entry;
    }
  }
  return nullptr;
}

TEST(OidSearch, FindsTheFirstEntryOfEachOid) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(0)) {
    for (const DWORD group : {DWORD{0}, entry->dwGroupId}) {
      std::string oid = entry->pszOID;
      EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, oid.data(), group),
                firstOf(group, [&oid](PCCRYPT_OID_INFO other) { return oid == other->pszOID; }))
          << oid << " in " << group;
    }
  }
}

TEST(OidSearch, FindsTheFirstEntryOfEachName) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(0)) {
    for (const DWORD group : {DWORD{0}, entry->dwGroupId}) {
      std::wstring name = entry->pwszName;
      EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, name.data(), group),
                firstOf(group, [&name](PCCRYPT_OID_INFO other) { return name == other->pwszName; }))
          << entry->pszOID << " in " << group;
    }
  }
}

TEST(OidSearch, FindsTheFirstEntryOfEachAlgorithm) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(0)) {
    ALG_ID id = entry->Algid;
    const auto has = [id](PCCRYPT_OID_INFO other) {
      return isAlgorithm(other) && isNumber(id) && other->Algid == id;
    };
    for (const DWORD group : {DWORD{0}, entry->dwGroupId}) {
      EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &id, group), firstOf(group, has))
          << std::hex << id << " in " << group;
    }
    const PCCRYPT_OID_INFO first = firstOf(0, has);
    const LPCSTR oid = CertAlgIdToOID(id);
    ASSERT_EQ(oid == nullptr, first == nullptr) << std::hex << id;
    if (oid != nullptr) {
      EXPECT_STREQ(oid, first->pszOID) << std::hex << id;
    }
  }
}

TEST(OidSearch, FindsTheFirstSignatureOfEachPair) {
  std::set<ALG_ID> hashes;
  std::set<ALG_ID> keys;
  for (const PCCRYPT_OID_INFO entry : entriesOf(CRYPT_HASH_ALG_OID_GROUP_ID)) {
    hashes.insert(entry->Algid);
  }
  for (const PCCRYPT_OID_INFO entry : entriesOf(CRYPT_PUBKEY_ALG_OID_GROUP_ID)) {
    keys.insert(entry->Algid);
  }
  int found = 0;
  for (const ALG_ID hash : hashes) {
    for (const ALG_ID key : keys) {
      ALG_ID pair[] = {hash, key};
      const PCCRYPT_OID_INFO expected =
          firstOf(CRYPT_SIGN_ALG_OID_GROUP_ID, [hash, key](PCCRYPT_OID_INFO entry) {
            return isNumber(hash) && entry->Algid == hash &&
                   entry->ExtraInfo.cbData >= sizeof(DWORD) &&
                   *reinterpret_cast<const DWORD*>(entry->ExtraInfo.pbData) == key;
          });
      const PCCRYPT_OID_INFO actual = CryptFindOIDInfo(CRYPT_OID_INFO_SIGN_KEY, &pair[0], 0);
      EXPECT_EQ(actual, expected) << std::hex << hash << " " << key;
      found += actual != nullptr ? 1 : 0;
    }
  }
  EXPECT_GE(found, 10);
}

// Every OID leads to an algorithm id that leads back to an OID of the same id.
TEST(OidSearch, ComesBackFromEveryAlgorithm) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(0)) {
    const DWORD id = CertOIDToAlgId(entry->pszOID);
    if (!isAlgorithm(entry)) {
      continue;
    }
    EXPECT_NE(id, 0U) << entry->pszOID;
    EXPECT_NE(id, CALG_OID_INFO_CNG_ONLY) << entry->pszOID;
    if (isNumber(id)) {
      const LPCSTR back = CertAlgIdToOID(id);
      ASSERT_NE(back, nullptr) << entry->pszOID;
      EXPECT_EQ(CertOIDToAlgId(back), id) << entry->pszOID;
    }
  }
}

TEST(OidSearch, ShowsEachGroupWholeAndInTheOrderOfAll) {
  Entries joined;
  for (DWORD group = 1; group <= CRYPT_POLICY_OID_GROUP_ID; ++group) {
    for (const PCCRYPT_OID_INFO entry : entriesOf(group)) {
      EXPECT_EQ(entry->dwGroupId, group);
      joined.push_back(entry);
    }
  }
  EXPECT_EQ(joined, entriesOf(0));
}

TEST(OidSearch, FindsNoPartOfAnOidOrName) {
  for (const PCCRYPT_OID_INFO entry : entriesOf(0)) {
    std::string longer = std::string(entry->pszOID) + ".999999";
    EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, longer.data(), 0), nullptr) << longer;
    EXPECT_EQ(CertOIDToAlgId(longer.c_str()), 0U) << longer;
    std::wstring name = std::wstring(entry->pwszName) + L"?";
    EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, name.data(), 0), nullptr) << longer;
  }
}

TEST(OidSearch, LeavesTheLastErrorAlone) {
  SetLastError(ERROR_BUSY);
  std::string none = "1.2.3";
  EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, none.data(), 0), nullptr);
  EXPECT_FALSE(entriesOf(0).empty());
  EXPECT_EQ(CertOIDToAlgId("1.2.3"), 0U);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

// Callers keep the pointers: entries are static.
TEST(OidSearch, GivesTheSameEntriesEachTime) {
  EXPECT_EQ(entriesOf(0), entriesOf(0));
}

}  // namespace
}  // namespace qx::test::oid_search_test
