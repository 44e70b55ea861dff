#ifndef QX_PROVIDER_KEY_PBES2_H_
#define QX_PROVIDER_KEY_PBES2_H_

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "provider/openssl/owned.h"
#include "provider/result.h"

namespace qx {

/// Rounds of PBKDF2 above which a key file is refused: somebody wants to keep us busy.
inline constexpr std::uint64_t kMaxKdfRounds = 10'000'000;

/// encryptPkcs8 makes an EncryptedPrivateKeyInfo (RFC 5958) under a PIN: PBES2 (RFC 8018) with
/// PBKDF2-HMAC-SHA256 of `rounds` rounds and a fresh salt of 16 bytes, and AES-256-CBC.
/// Errors: NTE_FAIL.
Result<std::vector<std::uint8_t>> encryptPkcs8(PKCS8_PRIV_KEY_INFO* key,
                                               std::string_view pin,
                                               unsigned rounds);

/// decryptPkcs8 opens an EncryptedPrivateKeyInfo: PBES2 with PBKDF2 (at most kMaxKdfRounds) or scrypt
/// (RFC 7914; N * r * p at most 2^23, at most 32 MB), and any cipher of libcrypto's default provider.
/// Errors: SCARD_W_WRONG_CHV when it does not open under this PIN; NTE_BAD_KEYSET for what is no such
/// structure or is beyond the limits.
Result<Pkcs8Ptr> decryptPkcs8(std::span<const std::uint8_t> der, std::string_view pin);

}  // namespace qx

#endif
