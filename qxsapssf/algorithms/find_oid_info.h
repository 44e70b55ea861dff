#ifndef QX_QXSAPSSF_ALGORITHMS_FIND_OID_INFO_H_
#define QX_QXSAPSSF_ALGORITHMS_FIND_OID_INFO_H_

#include <string>
#include <utility>

#include "qxsapssf/algorithms/oid_info_enum.h"

namespace qx {

/// The class of an algorithm id (hash, signature, key exchange, ...).
inline constexpr ALG_ID kAlgClassMask = 0xE000;

/// CFindPubKeyAlgId finds the public-key entry of an OID whose id is of a class.
class CFindPubKeyAlgId : public ATL2::COidInfoEnum {
 public:
  CFindPubKeyAlgId(std::string oid, DWORD algClass) : oid_(std::move(oid)), algClass_(algClass) {}

  bool OnOidInfo(const CRYPT_OID_INFO* info) override {
    if (info->pszOID == nullptr || oid_ != info->pszOID ||
        (info->Algid & kAlgClassMask) != algClass_) {
      return true;
    }
    algId_ = info->Algid;
    info_ = info;
    return false;
  }

  ALG_ID algId() const { return algId_; }

  const CRYPT_OID_INFO* info() const { return info_; }

 private:
  std::string oid_;
  ALG_ID algId_ = 0;
  DWORD algClass_;
  const CRYPT_OID_INFO* info_ = nullptr;
};

/// CFindSignatureOidInfo finds the first signature entry of a public-key algorithm.
class CFindSignatureOidInfo : public ATL2::COidInfoEnum {
 public:
  explicit CFindSignatureOidInfo(ALG_ID publicKeyAlgId) : publicKeyAlgId_(publicKeyAlgId) {}

  bool OnOidInfo(const CRYPT_OID_INFO* info) override {
    const ALG_ID algId = extraWord(info, 0);
    if ((algId & kAlgClassMask) != ALG_CLASS_SIGNATURE || algId != publicKeyAlgId_) {
      return true;
    }
    info_ = info;
    return false;
  }

  const CRYPT_OID_INFO* info() const { return info_; }

 private:
  ALG_ID publicKeyAlgId_;
  const CRYPT_OID_INFO* info_ = nullptr;
};

}  // namespace qx

#endif
