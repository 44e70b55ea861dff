// Object identifiers.
#include <algorithm>
#include <deque>

#include "tests/scripted_provider/state.h"

using namespace qx::scripted;  // NOLINT(google-*): a file of exported functions

namespace {

/// An entry as it is given out. Entries live as long as the program, as the interface promises.
struct Entry {
  ToyOid toy;
  CRYPT_OID_INFO info{};
};

const CRYPT_OID_INFO* infoOf(const ToyOid& toy) {
  static std::deque<Entry> entries;
  for (const Entry& entry : entries) {
    if (entry.toy.group == toy.group && entry.toy.oid == toy.oid && entry.toy.name == toy.name &&
        entry.toy.algId == toy.algId && entry.toy.extra == toy.extra &&
        entry.toy.extraBytes == toy.extraBytes) {
      return &entry.info;
    }
  }
  Entry& entry = entries.emplace_back(Entry{.toy = toy});
  CRYPT_OID_INFO& info = entry.info;
  info.cbSize = sizeof(info);
  info.pszOID = entry.toy.oid.c_str();
  info.pwszName = entry.toy.name.c_str();
  info.dwGroupId = toy.group;
  info.Algid = toy.algId;
  info.ExtraInfo.pbData = reinterpret_cast<BYTE*>(entry.toy.extra.data());
  info.ExtraInfo.cbData =
      std::min(toy.extraBytes, static_cast<DWORD>(toy.extra.size() * sizeof(DWORD)));
  return &info;
}

std::string describe(DWORD keyType, const void* key) {
  const auto* ids = static_cast<const ALG_ID*>(key);
  std::array<char, 40> text{};
  switch (keyType) {
    case CRYPT_OID_INFO_ALGID_KEY:
      std::snprintf(text.data(), text.size(), "0x%x", ids[0]);
      return text.data();
    case CRYPT_OID_INFO_SIGN_KEY:
      std::snprintf(text.data(), text.size(), "0x%x with 0x%x", ids[0], ids[1]);
      return text.data();
    case CRYPT_OID_INFO_OID_KEY:
      return static_cast<const char*>(key);
    default:
      return "?";
  }
}

bool matches(const ToyOid& toy, DWORD keyType, const void* key) {
  const auto* ids = static_cast<const ALG_ID*>(key);
  switch (keyType) {
    case CRYPT_OID_INFO_OID_KEY:
      return toy.oid == static_cast<const char*>(key);
    case CRYPT_OID_INFO_ALGID_KEY:
      return toy.algId == ids[0];
    case CRYPT_OID_INFO_SIGN_KEY:
      return toy.group == CRYPT_SIGN_ALG_OID_GROUP_ID && toy.algId == ids[0] &&
             !toy.extra.empty() && toy.extra[0] == ids[1];
    default:
      return false;
  }
}

}  // namespace

BOOL CryptEnumOIDInfo(DWORD dwGroupId,
                      DWORD dwFlags,
                      void* pvArg,
                      PFN_CRYPT_ENUM_OID_INFO pfnEnumOIDInfo) {
  std::vector<const CRYPT_OID_INFO*> infos;
  {
    Call call("CryptEnumOIDInfo(%u, %u)", dwGroupId, dwFlags);
    if (call.fails()) {
      return FALSE;
    }
    for (const ToyOid& toy : provider().oids) {
      if (dwGroupId == 0 || toy.group == dwGroupId) {
        infos.push_back(infoOf(toy));
      }
    }
  }
  const bool ended = std::ranges::all_of(
      infos, [&](const CRYPT_OID_INFO* info) { return pfnEnumOIDInfo(info, pvArg) != FALSE; });
  const AllocationsPause pause;
  infos = {};
  return ended ? TRUE : FALSE;
}

PCCRYPT_OID_INFO CryptFindOIDInfo(DWORD dwKeyType, void* pvKey, DWORD dwGroupId) {
  const AllocationsPause pause;
  Call call(
      "CryptFindOIDInfo(%u, %s, %u)", dwKeyType, describe(dwKeyType, pvKey).c_str(), dwGroupId);
  if (call.fails()) {
    return nullptr;
  }
  for (const ToyOid& toy : provider().oids) {
    if ((dwGroupId == 0 || toy.group == dwGroupId) && matches(toy, dwKeyType, pvKey)) {
      return infoOf(toy);
    }
  }
  return nullptr;
}

LPCSTR CertAlgIdToOID(DWORD dwAlgId) {
  const AllocationsPause pause;
  Call call("CertAlgIdToOID(0x%x)", dwAlgId);
  if (call.fails()) {
    return nullptr;
  }
  for (const ToyOid& toy : provider().oids) {
    if (toy.group != CRYPT_SIGN_ALG_OID_GROUP_ID && toy.algId == dwAlgId) {
      return infoOf(toy)->pszOID;
    }
  }
  return nullptr;
}

DWORD CertOIDToAlgId(LPCSTR pszObjId) {
  const AllocationsPause pause;
  Call call("CertOIDToAlgId(%s)", pszObjId);
  if (call.fails()) {
    return 0;
  }
  for (const ToyOid& toy : provider().oids) {
    if (toy.oid == pszObjId) {
      return toy.algId;
    }
  }
  return 0;
}
