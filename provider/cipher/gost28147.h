#ifndef QX_PROVIDER_CIPHER_GOST28147_H_
#define QX_PROVIDER_CIPHER_GOST28147_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "provider/cipher/stream.h"
#include "provider/support/wipe.h"

// GOST 28147-89 by the parameter sets that have names: id-Gost28147-89-CryptoPro-A to D (RFC 4357,
// 11.2) and id-tc26-gost-28147-param-Z (RFC 7836, C). Keys are kGostKeySize octets. Every function
// here fails with NTE_BAD_ALGID for another set, and with NTE_FAIL where the engine does.

namespace qx {

inline constexpr std::size_t kGostKeySize = 32;
inline constexpr std::size_t kGost28147BlockSize = 8;
inline constexpr std::size_t kGost28147MacSize = 4;

/// The sets that nobody has to name: of keys of R 34.10-2001 and of later ones.
inline constexpr std::string_view kGost28147SetA = "1.2.643.2.2.31.1";
inline constexpr std::string_view kGost28147SetZ = "1.2.643.7.1.2.5.1.1";

/// isGost28147Set tells whether an OID names a set that we know.
bool isGost28147Set(std::string_view oid);

/// gost28147Cfb opens the cipher in CFB with key meshing (RFC 4357, 2.3.2); `iv` is a block.
Result<CipherStream> gost28147Cfb(std::string_view set,
                                  Direction direction,
                                  der::Bytes key,
                                  der::Bytes iv);

/// gost28147Encrypt and gost28147Decrypt work on each block by itself; `in` is whole blocks.
Result<SecretBytes> gost28147Encrypt(std::string_view set, der::Bytes key, der::Bytes in);
Result<SecretBytes> gost28147Decrypt(std::string_view set, der::Bytes key, der::Bytes in);

using Gost28147Mac = std::array<std::uint8_t, kGost28147MacSize>;

/// gost28147Mac is gostMAC (RFC 4357, 1.1) of two to 128 whole blocks that begins at `iv`, a block.
Result<Gost28147Mac> gost28147Mac(std::string_view set,
                                  der::Bytes iv,
                                  der::Bytes key,
                                  der::Bytes in);

}  // namespace qx

#endif
