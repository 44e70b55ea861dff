#ifndef QX_PROVIDER_MESSAGE_RECIPIENT_KEY_H_
#define QX_PROVIDER_MESSAGE_RECIPIENT_KEY_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "provider/cipher/rsa_transport.h"
#include "provider/key/private_key.h"
#include "provider/key/public_key.h"
#include "provider/message/recipient.h"
#include "provider/result.h"

namespace qx {

/// encryptKeyFor makes the encrypted key of a key-transport recipient: RFC 4490, 4.2 for GOST keys
/// (RFC 9215 for those of R 34.10-2012), RFC 8017 for RSA. NTE_BAD_ALGID for other keys, NTE_FAIL.
Result<std::vector<std::uint8_t>> encryptKeyFor(const PublicKey& recipient, der::Bytes session);

/// recoverKey gives the session key, of `length` octets, that a recipient's entry holds for his private
/// key: key transport and key agreement of RFC 4490, those with KExp15 of R 1323565.1.025-2019, RSA.
/// CRYPT_E_NOT_FOUND when the originator's certificate stands neither in "Addressbook" nor in "My",
/// NTE_BAD_KEY when the key is of another kind than the entry or its curve, NTE_BAD_ALGID for an
/// algorithm that we do not know, NTE_BAD_DATA when the entry is no entry for this key or was changed;
/// of RSA that shows in the answer instead.
Result<TransportedKey> recoverKey(const Recipient& recipient,
                                  const PrivateKey& key,
                                  std::size_t length);

}  // namespace qx

#endif
