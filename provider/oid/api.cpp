#include <algorithm>
#include <cwctype>
#include <string_view>

#include "platform/errors.h"
#include "platform/oid_info.h"

#include "provider/oid/table.h"

namespace {

using Entry = CRYPT_OID_INFO_LONG;

// The low bits name the group; a key length and search hints may stand above them.
constexpr DWORD kGroupMask = 0xFFFF;

bool isAlgorithm(const Entry& entry) {
  return entry.dwGroupId <= CRYPT_LAST_ALG_OID_GROUP_ID;
}

// An id that only says "look elsewhere" is none that could be searched for.
bool isSearchable(ALG_ID id) {
  return id != CALG_OID_INFO_CNG_ONLY && id != CALG_OID_INFO_PARAMETERS;
}

bool sameName(std::wstring_view left, std::wstring_view right) {
  return std::ranges::equal(left, right, [](wchar_t a, wchar_t b) {
    return std::towlower(static_cast<std::wint_t>(a)) == std::towlower(static_cast<std::wint_t>(b));
  });
}

bool hasAlgorithm(const Entry& entry, ALG_ID id) {
  return isAlgorithm(entry) && isSearchable(id) && entry.Algid == id;
}

bool signsWith(const Entry& entry, ALG_ID hash, ALG_ID publicKey) {
  return entry.dwGroupId == CRYPT_SIGN_ALG_OID_GROUP_ID && hasAlgorithm(entry, hash) &&
         entry.ExtraInfo.cbData >= sizeof(DWORD) &&
         *reinterpret_cast<const DWORD*>(entry.ExtraInfo.pbData) == publicKey;
}

bool matches(const Entry& entry, DWORD keyType, const void* key) {
  switch (keyType) {
    case CRYPT_OID_INFO_OID_KEY:
      return std::string_view(entry.pszOID) == static_cast<LPCSTR>(key);
    case CRYPT_OID_INFO_NAME_KEY:
      return sameName(entry.pwszName, static_cast<LPCWSTR>(key));
    case CRYPT_OID_INFO_ALGID_KEY:
      return hasAlgorithm(entry, *static_cast<const ALG_ID*>(key));
    case CRYPT_OID_INFO_SIGN_KEY: {
      const auto* ids = static_cast<const ALG_ID*>(key);
      return signsWith(entry, ids[0], ids[1]);
    }
    default:
      return false;
  }
}

}  // namespace

BOOL CryptEnumOIDInfo(DWORD dwGroupId,
                      DWORD dwFlags,
                      void* pvArg,
                      PFN_CRYPT_ENUM_OID_INFO pfnEnumOIDInfo) {
  if (dwFlags != 0 || pfnEnumOIDInfo == nullptr) {
    SetLastError(E_INVALIDARG);
    return FALSE;
  }
  for (const Entry& entry : qx::oidTable()) {
    const bool wanted = dwGroupId == 0 || entry.dwGroupId == dwGroupId;
    if (wanted && pfnEnumOIDInfo(qx::publicForm(entry), pvArg) == FALSE) {
      return FALSE;
    }
  }
  return TRUE;
}

PCCRYPT_OID_INFO CryptFindOIDInfo(DWORD dwKeyType, void* pvKey, DWORD dwGroupId) {
  const DWORD keyType = dwKeyType & ~CRYPT_OID_INFO_OID_KEY_FLAGS_MASK;
  const DWORD group = dwGroupId & kGroupMask;
  if (pvKey == nullptr) {
    return nullptr;
  }
  for (const Entry& entry : qx::oidTable()) {
    if ((group == 0 || entry.dwGroupId == group) && matches(entry, keyType, pvKey)) {
      return qx::publicForm(entry);
    }
  }
  return nullptr;
}

LPCSTR CertAlgIdToOID(DWORD dwAlgId) {
  for (const Entry& entry : qx::oidTable()) {
    if (hasAlgorithm(entry, dwAlgId)) {
      return entry.pszOID;
    }
  }
  return nullptr;
}

DWORD CertOIDToAlgId(LPCSTR pszObjId) {
  if (pszObjId == nullptr) {
    return 0;
  }
  for (const Entry& entry : qx::oidTable()) {
    // A signature that has an entry with its hash is better known by that one.
    const bool answers = isAlgorithm(entry) && entry.Algid != CALG_OID_INFO_CNG_ONLY;
    if (answers && std::string_view(entry.pszOID) == pszObjId) {
      return entry.Algid;
    }
  }
  return 0;
}
