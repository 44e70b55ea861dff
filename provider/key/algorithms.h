#ifndef QX_PROVIDER_KEY_ALGORITHMS_H_
#define QX_PROVIDER_KEY_ALGORITHMS_H_

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/crypt_prov.h"

#include "provider/hash/hash.h"

namespace qx {

/// Provider types of keys of R 34.10-2012, beside PROV_GOST_2001_DH.
inline constexpr DWORD kProviderGost2012_256 = 80;
inline constexpr DWORD kProviderGost2012_512 = 81;

/// The kinds of keys that we sign and verify with.
enum class KeyType { Gost2001, Gost2012_256, Gost2012_512, Rsa, Ec };

/// What is fixed for a kind of key.
struct KeyTypeInfo {
  KeyType type = KeyType::Rsa;
  int nid = 0;                            ///< libcrypto's base id of the key
  const char* oid = "";                   ///< of the public key's AlgorithmIdentifier
  std::optional<HashAlgorithm> onlyHash;  ///< GOST: the one hash that its signatures are made over
  std::size_t signatureLength = 0;        ///< GOST: bytes of a signature, always; else 0
  DWORD providerType = 0;                 ///< what PP_PROVTYPE says of a handle with such a key
  DWORD keySpec = 0;                      ///< AT_KEYEXCHANGE or AT_SIGNATURE
};

const KeyTypeInfo& keyTypeInfo(KeyType type);

/// keyTypeByOid gives the row of a public key's dotted algorithm OID, or null.
const KeyTypeInfo* keyTypeByOid(std::string_view oid);

/// keyTypeByNid gives the row of libcrypto's base id, or null.
const KeyTypeInfo* keyTypeByNid(int nid);

/// mayBeSigned tells whether signatures over this hash are made and accepted for keys of this kind:
/// GOST keys with their own hash, RSA and ECDSA with SHA-1 and SHA-2, never MD2 or MD5.
bool mayBeSigned(const KeyTypeInfo& key, HashAlgorithm hash);

}  // namespace qx

#endif
