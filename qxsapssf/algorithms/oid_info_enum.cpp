#include "qxsapssf/algorithms/oid_info_enum.h"

#include <cstring>

namespace ATL2 {

DWORD COidInfoEnum::extraWord(const CRYPT_OID_INFO* info, unsigned index) {
  DWORD word = 0;
  if (info->ExtraInfo.pbData != nullptr && info->ExtraInfo.cbData / sizeof(word) > index) {
    std::memcpy(&word, info->ExtraInfo.pbData + (index * sizeof(word)), sizeof(word));
  }
  return word;
}

bool CHashAlgorithmOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnHashAlgorithm(info->pszOID, info->pwszName, info->Algid);
}

bool CEncryptionAlgorithmOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnEncryptionAlgorithm(info->pszOID, info->pwszName, info->Algid);
}

bool CPublicKeyAlgorithmOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnPublicKeyAlgorithm(info->pszOID, info->pwszName, info->Algid, extraWord(info, 0));
}

bool CSignatureAlgorithmOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnSignatureAlgorithm(info->pszOID,
                              info->pwszName,
                              info->Algid,
                              extraWord(info, 0),
                              extraWord(info, 1),
                              extraWord(info, 2));
}

bool CRdnAttributeOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnRdnAttribute(info->pszOID, info->pwszName);
}

bool CExtensionOrAttributeOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnExtensionOrAttribute(info->pszOID, info->pwszName);
}

bool CEnhancedKeyUsageOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnEnhancedKeyUsage(info->pszOID, info->pwszName);
}

bool CPolicyOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnPolicy(info->pszOID, info->pwszName);
}

bool CTemplateOidEnum::OnOidInfo(const CRYPT_OID_INFO* info) {
  return OnTemplate(info->pszOID, info->pwszName);
}

}  // namespace ATL2
