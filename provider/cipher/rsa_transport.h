#ifndef QX_PROVIDER_CIPHER_RSA_TRANSPORT_H_
#define QX_PROVIDER_CIPHER_RSA_TRANSPORT_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "provider/der/tag.h"
#include "provider/key/private_key.h"
#include "provider/key/public_key.h"
#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// encryptKeyRsa encrypts a session key, RSAES-PKCS1-v1_5 (RFC 8017, 7.2.1). NTE_BAD_PUBLIC_KEY.
Result<std::vector<std::uint8_t>> encryptKeyRsa(const PublicKey& key, der::Bytes session);

/// TransportedKey is a session key, or, when `isGood` is false, random octets in its place: whoever
/// sent it learns nothing from how long the rest takes if that goes on with them and fails at the end.
struct TransportedKey {
  SecretBytes key;
  bool isGood = true;
};

/// decryptKeyRsa gives a key of `length` octets whatever `encrypted` holds. NTE_BAD_KEY for what is no
/// RSA key, NTE_FAIL.
Result<TransportedKey> decryptKeyRsa(const PrivateKey& key,
                                     der::Bytes encrypted,
                                     std::size_t length);

}  // namespace qx

#endif
