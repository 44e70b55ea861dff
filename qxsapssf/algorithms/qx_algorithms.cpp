#include "qxsapssf/qx_algorithms.h"

#include <array>
#include <string_view>

#include "platform/crypt_prov.h"

#include "qxsapssf/algorithms/find_oid_info.h"
#include "qxsapssf/frame.h"

namespace qx {
namespace {

struct GostHash {
  std::string_view publicKeyOid;
  ALG_ID hashAlgId;
};

constexpr std::array<GostHash, 3> kGostHashes = {{
    {"1.2.643.2.2.19", CALG_QX_GR3411},
    {"1.2.643.7.1.1.1.1", CALG_QX_GR3411_2012_256},
    {"1.2.643.7.1.1.1.2", CALG_QX_GR3411_2012_512},
}};

ALG_ID gostHash(const char* publicKeyOid) {
  for (const GostHash& entry : kGostHashes) {
    if (publicKeyOid != nullptr && entry.publicKeyOid == publicKeyOid) {
      return entry.hashAlgId;
    }
  }
  return 0;
}

const CRYPT_OID_INFO* publicKeyInfo(const char* publicKeyOid, DWORD algClass) {
  if (publicKeyOid == nullptr) {
    return nullptr;
  }
  CFindPubKeyAlgId finder(publicKeyOid, algClass);
  finder.Enum(CRYPT_PUBKEY_ALG_OID_GROUP_ID);
  return finder.info();
}

/// The id of a public key for signing, 0 when there is none.
ALG_ID signingKeyAlgId(const char* publicKeyOid) {
  const CRYPT_OID_INFO* info = publicKeyInfo(publicKeyOid, ALG_CLASS_SIGNATURE);
  return info == nullptr ? 0 : info->Algid;
}

const CRYPT_OID_INFO* signatureInfo(ALG_ID hashAlgId, ALG_ID publicKeyAlgId) {
  std::array<ALG_ID, 2> key = {hashAlgId, publicKeyAlgId};
  return CryptFindOIDInfo(CRYPT_OID_INFO_SIGN_KEY, key.data(), CRYPT_SIGN_ALG_OID_GROUP_ID);
}

const CRYPT_OID_INFO* defaultSignatureInfo(const char* publicKeyOid) {
  const ALG_ID publicKeyAlgId = signingKeyAlgId(publicKeyOid);
  if (publicKeyAlgId == 0) {
    return nullptr;
  }
  const ALG_ID gost = gostHash(publicKeyOid);
  const CRYPT_OID_INFO* info = signatureInfo(gost != 0 ? gost : CALG_SHA1, publicKeyAlgId);
  if (info != nullptr) {
    return info;
  }
  CFindSignatureOidInfo finder(publicKeyAlgId);
  finder.Enum(CRYPT_SIGN_ALG_OID_GROUP_ID);
  return finder.info();
}

/// The first hash of the provider; with a public key the first that makes a signature with it.
ALG_ID firstProviderHash(HCRYPTPROV provider, bool hasPublicKey, ALG_ID publicKeyAlgId) {
  PROV_ENUMALGS algorithm{};
  DWORD size = sizeof(algorithm);
  DWORD flags = CRYPT_FIRST;
  while (CryptGetProvParam(
             provider, PP_ENUMALGS, reinterpret_cast<BYTE*>(&algorithm), &size, flags) != FALSE) {
    const ALG_ID algId = algorithm.aiAlgid;
    if ((algId & kAlgClassMask) == ALG_CLASS_HASH &&
        (!hasPublicKey || signatureInfo(algId, publicKeyAlgId) != nullptr)) {
      return algId;
    }
    size = sizeof(algorithm);
    flags = 0;
  }
  return 0;
}

ALG_ID providerHash(HCRYPTPROV provider, const char* publicKeyOid) {
  if (publicKeyOid == nullptr) {
    return firstProviderHash(provider, /*hasPublicKey=*/false, 0);
  }
  const ALG_ID gost = gostHash(publicKeyOid);
  if (gost != 0) {
    return gost;
  }
  const ALG_ID publicKeyAlgId = signingKeyAlgId(publicKeyOid);
  return publicKeyAlgId == 0 ? 0
                             : firstProviderHash(provider, /*hasPublicKey=*/true, publicKeyAlgId);
}

/// The entry that `find` finds, or NULL for want of memory.
template <class Find>
const CRYPT_OID_INFO* guardedInfo(Find&& find) noexcept {
  return guarded(std::forward<Find>(find), []() -> const CRYPT_OID_INFO* { return nullptr; });
}

}  // namespace
}  // namespace qx

ALG_ID QXGetDefaultGostHashAlgId(const char* pubKeyOid) noexcept {
  return qx::guarded([&] { return qx::gostHash(pubKeyOid); }, [] { return ALG_ID{0}; });
}

const CRYPT_OID_INFO* QXCryptGetPublicKeyOIDInfo(const char* pubKeyOid, DWORD keySpec) noexcept {
  return qx::guardedInfo([&]() -> const CRYPT_OID_INFO* {
    switch (keySpec) {
      case AT_KEYEXCHANGE:
        return qx::publicKeyInfo(pubKeyOid, ALG_CLASS_KEY_EXCHANGE);
      case AT_SIGNATURE:
        return qx::publicKeyInfo(pubKeyOid, ALG_CLASS_SIGNATURE);
      default:
        return nullptr;
    }
  });
}

const CRYPT_OID_INFO* QXCryptGetSignatureOIDInfo(const char* pubKeyOid,
                                                 const char* hashOid) noexcept {
  return qx::guardedInfo([&]() -> const CRYPT_OID_INFO* {
    const ALG_ID publicKeyAlgId = qx::signingKeyAlgId(pubKeyOid);
    if (publicKeyAlgId == 0 || hashOid == nullptr) {
      return nullptr;
    }
    return qx::signatureInfo(CertOIDToAlgId(hashOid), publicKeyAlgId);
  });
}

const CRYPT_OID_INFO* QXCryptGetDefaultSignatureOIDInfo(const char* pubKeyOid) noexcept {
  return qx::guardedInfo([&] { return qx::defaultSignatureInfo(pubKeyOid); });
}

const CRYPT_OID_INFO* QXCryptGetDefaultHashOIDInfo(const char* pubKeyOid) noexcept {
  return qx::guardedInfo([&]() -> const CRYPT_OID_INFO* {
    const CRYPT_OID_INFO* signature = qx::defaultSignatureInfo(pubKeyOid);
    if (signature == nullptr) {
      return nullptr;
    }
    ALG_ID hashAlgId = signature->Algid;
    return CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &hashAlgId, CRYPT_HASH_ALG_OID_GROUP_ID);
  });
}

ALG_ID QXCryptGetProviderHashAlgId(HCRYPTPROV provider, const char* pubKeyOid) noexcept {
  return qx::guarded([&] { return qx::providerHash(provider, pubKeyOid); },
                     [] { return ALG_ID{0}; });
}
