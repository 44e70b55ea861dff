#ifndef QX_PROVIDER_KEY_PRIVATE_KEY_H_
#define QX_PROVIDER_KEY_PRIVATE_KEY_H_

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "provider/key/algorithms.h"
#include "provider/openssl/owned.h"
#include "provider/result.h"

namespace qx {

/// A private key, ready for use. Immutable: shared by shared_ptr, used by several threads at once.
/// Its memory is wiped when the last owner lets it go.
class PrivateKey {
 public:
  /// fromPkcs8 takes the key in a PrivateKeyInfo (RFC 5208), computes its public key and proves that
  /// both belong together. Errors: NTE_BAD_KEY, NTE_BAD_ALGID for a kind of key that we do not know.
  static Result<std::shared_ptr<const PrivateKey>> fromPkcs8(const PKCS8_PRIV_KEY_INFO& info);

  /// fromEvp takes a key that libcrypto holds. The same proof and errors.
  static Result<std::shared_ptr<const PrivateKey>> fromEvp(EvpPkeyPtr key);

  KeyType type() const { return type_->type; }

  /// publicKeyBits is the content of the public key's BIT STRING, by which keys are compared.
  std::span<const std::uint8_t> publicKeyBits() const { return publicKeyBits_; }

  /// spki is the public key's SubjectPublicKeyInfo.
  std::span<const std::uint8_t> spki() const { return spki_; }

  /// signDigest signs a finished digest: GOST R 34.10 (s || r, RFC 4490), RSA PKCS#1 v1.5 or ECDSA
  /// (DER, RFC 3279). Errors: NTE_BAD_ALGID when keys of this kind do not sign this hash, NTE_BAD_HASH
  /// when the digest has not the hash's length, NTE_FAIL.
  Result<std::vector<std::uint8_t>> signDigest(HashAlgorithm hash,
                                               std::span<const std::uint8_t> digest) const;

  /// toPkcs8 gives the key as a PrivateKeyInfo, in the clear. NTE_FAIL.
  Result<Pkcs8Ptr> toPkcs8() const;

  /// evp is libcrypto's key, borrowed.
  EVP_PKEY* evp() const { return key_.get(); }

 private:
  PrivateKey(EvpPkeyPtr key, const KeyTypeInfo& type) : key_(std::move(key)), type_(&type) {}

  EvpPkeyPtr key_;
  const KeyTypeInfo* type_;
  std::vector<std::uint8_t> spki_;
  std::vector<std::uint8_t> publicKeyBits_;
};

/// readPkcs8 reads a DER PrivateKeyInfo and nothing behind it. NTE_BAD_KEY.
Result<Pkcs8Ptr> readPkcs8(std::span<const std::uint8_t> der);

}  // namespace qx

#endif
