#ifndef QX_QXSAPSSF_ALGORITHMS_OID_INFO_ENUM_H_
#define QX_QXSAPSSF_ALGORITHMS_OID_INFO_ENUM_H_

// Walks over the platform's OID tables, one class a group. A class receives the entries of its group as
// typed values; a callback that answers false ends the walk, so the first match wins.

#include "platform/oid_info.h"

namespace ATL2 {

/// COidInfoEnum walks the entries of a group. The order of its virtual functions is fixed: the callback,
/// then the destructors, then what a class below adds.
class COidInfoEnum {
 public:
  /// Called with each entry; false ends the walk.
  virtual bool OnOidInfo(const CRYPT_OID_INFO* info) = 0;
  virtual ~COidInfoEnum() = default;

  /// Enum walks the entries of a group; false when a callback ended the walk.
  bool Enum(DWORD groupId) {
    return CryptEnumOIDInfo(groupId, /*dwFlags=*/0, this, EnumOIDInfoCallback) != FALSE;
  }

  /// The callback for CryptEnumOIDInfo; arg is the COidInfoEnum.
  static BOOL EnumOIDInfoCallback(const CRYPT_OID_INFO* info, void* arg) {
    return static_cast<COidInfoEnum*>(arg)->OnOidInfo(info) ? TRUE : FALSE;
  }

  COidInfoEnum(const COidInfoEnum&) = delete;
  COidInfoEnum& operator=(const COidInfoEnum&) = delete;
  COidInfoEnum(COidInfoEnum&&) = delete;
  COidInfoEnum& operator=(COidInfoEnum&&) = delete;

 protected:
  COidInfoEnum() = default;

  /// The index-th 32-bit word of the extra information, 0 when it is too short for that.
  static DWORD extraWord(const CRYPT_OID_INFO* info, unsigned index);
};

class CHashAlgorithmOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnHashAlgorithm(const char* oid, const wchar_t* name, ALG_ID algId) = 0;
};

class CEncryptionAlgorithmOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnEncryptionAlgorithm(const char* oid, const wchar_t* name, ALG_ID algId) = 0;
};

class CPublicKeyAlgorithmOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnPublicKeyAlgorithm(const char* oid,
                                    const wchar_t* name,
                                    ALG_ID algId,
                                    DWORD flags) = 0;
};

class CSignatureAlgorithmOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnSignatureAlgorithm(const char* oid,
                                    const wchar_t* name,
                                    ALG_ID hashAlgId,
                                    ALG_ID publicKeyAlgId,
                                    DWORD flags,
                                    DWORD providerType) = 0;
};

/// The groups whose entries are an OID and a name.
class CRdnAttributeOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnRdnAttribute(const char* oid, const wchar_t* name) = 0;
};

class CExtensionOrAttributeOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnExtensionOrAttribute(const char* oid, const wchar_t* name) = 0;
};

class CEnhancedKeyUsageOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnEnhancedKeyUsage(const char* oid, const wchar_t* name) = 0;
};

class CPolicyOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnPolicy(const char* oid, const wchar_t* name) = 0;
};

class CTemplateOidEnum : public COidInfoEnum {
 public:
  bool OnOidInfo(const CRYPT_OID_INFO* info) override;
  virtual bool OnTemplate(const char* oid, const wchar_t* name) = 0;
};

}  // namespace ATL2

#endif
