#ifndef QX_PROVIDER_KEY_PUBLIC_KEY_H_
#define QX_PROVIDER_KEY_PUBLIC_KEY_H_

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "provider/key/algorithms.h"
#include "provider/key/signature.h"
#include "provider/openssl/owned.h"
#include "provider/result.h"

namespace qx {

/// A public key, read from a SubjectPublicKeyInfo. Immutable; several threads may verify with it at
/// once.
class PublicKey {
 public:
  /// parse reads a SubjectPublicKeyInfo and nothing behind it. Errors: NTE_BAD_PUBLIC_KEY for what is
  /// no key, NTE_BAD_ALGID for a kind of key that we do not know (elliptic curves: P-256, P-384,
  /// P-521 by name).
  static Result<PublicKey> parse(std::span<const std::uint8_t> spki);

  KeyType type() const { return type_->type; }

  /// bits is the content of the BIT STRING, without its count of unused bits.
  std::span<const std::uint8_t> bits() const { return bits_; }

  /// spki is the whole SubjectPublicKeyInfo as it was read.
  std::span<const std::uint8_t> spki() const { return spki_; }

  /// bitLength is the size of the key in bits, as people name it (256, 512, 2048, ...).
  unsigned bitLength() const;

  /// verifyDigest proves a signature over a finished digest of `hash`. GOST, RSA PKCS#1 v1.5,
  /// RSASSA-PSS (RFC 4055) and ECDSA. Errors: NTE_BAD_SIGNATURE when the signature is not this key's
  /// over this digest, whatever its form; NTE_BAD_ALGID when algorithm, key and hash do not fit
  /// together or the hash is refused (MD2, MD4, MD5); NTE_BAD_HASH when the digest has not the hash's
  /// length.
  Result<void> verifyDigest(const SignatureAlgorithm& algorithm,
                            HashAlgorithm hash,
                            std::span<const std::uint8_t> digest,
                            std::span<const std::uint8_t> signature) const;

  /// evp is libcrypto's key, borrowed.
  EVP_PKEY* evp() const { return key_.get(); }

 private:
  bool mayHaveLength(std::size_t length) const;

  PublicKey(EvpPkeyPtr key, const KeyTypeInfo& type) : key_(std::move(key)), type_(&type) {}

  EvpPkeyPtr key_;
  const KeyTypeInfo* type_;
  std::vector<std::uint8_t> spki_;
  std::vector<std::uint8_t> bits_;
};

/// spkiAlgorithm gives the whole AlgorithmIdentifier of a SubjectPublicKeyInfo, as a part of it. Errors:
/// those of the DER reader.
Result<std::span<const std::uint8_t>> spkiAlgorithm(std::span<const std::uint8_t> spki);

}  // namespace qx

#endif
