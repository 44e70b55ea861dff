#ifndef QX_PROVIDER_KEY_SIGNATURE_H_
#define QX_PROVIDER_KEY_SIGNATURE_H_

#include <cstdint>
#include <span>
#include <string>

#include "provider/key/algorithms.h"
#include "provider/openssl/owned.h"
#include "provider/result.h"

namespace qx {

/// How a signature was made, as a SignerInfo or certificate names it.
struct SignatureAlgorithm {
  std::string oid;                           ///< dotted; the public key's own OID is good, too
  std::span<const std::uint8_t> parameters;  ///< one DER value, or empty; read for RSASSA-PSS only
};

/// checkDigest refuses what libcrypto and the engine must not see: the engine ends the process on a
/// digest of another length, and signs a short one with a long key. NTE_BAD_ALGID, NTE_BAD_HASH.
Result<void> checkDigest(const KeyTypeInfo& key,
                         HashAlgorithm hash,
                         std::span<const std::uint8_t> digest);

/// signingContext and verifyingContext make a libcrypto operation over finished digests of `hash`.
/// Errors: NTE_BAD_ALGID when the algorithm does not fit key and hash, NTE_FAIL.
Result<EvpPkeyCtxPtr> signingContext(EVP_PKEY* key, const KeyTypeInfo& type, HashAlgorithm hash);
Result<EvpPkeyCtxPtr> verifyingContext(EVP_PKEY* key,
                                       const KeyTypeInfo& type,
                                       const SignatureAlgorithm& algorithm,
                                       HashAlgorithm hash);

}  // namespace qx

#endif
