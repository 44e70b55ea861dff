#ifndef QX_PROVIDER_CIPHER_GOST28147_WRAP_H_
#define QX_PROVIDER_CIPHER_GOST28147_WRAP_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "provider/cipher/gost28147.h"
#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

inline constexpr std::size_t kVkoUkmSize = 8;

/// How a key is wrapped with a key of VKO: as it is (RFC 4357, 6.1 and 6.2), or with one that the UKM
/// is mixed into (6.3 to 6.5).
enum class Gost28147Wrap : std::uint8_t { Plain, Diversified };

/// A wrapped key: kGostKeySize octets encrypted, and the MAC of the key.
struct WrappedKey {
  std::vector<std::uint8_t> encrypted;
  std::vector<std::uint8_t> mac;
};

/// wrapKey wraps a session key. `ukm` is kVkoUkmSize octets. NTE_BAD_ALGID for an unknown set, NTE_FAIL.
Result<WrappedKey> wrapKey(Gost28147Wrap wrap,
                           std::string_view set,
                           der::Bytes keyEncryptionKey,
                           der::Bytes ukm,
                           der::Bytes key);

/// unwrapKey gives the session key. NTE_BAD_DATA when a length or the MAC is wrong: another key
/// wrapped it, or it was changed. NTE_BAD_ALGID, NTE_FAIL.
Result<SecretBytes> unwrapKey(Gost28147Wrap wrap,
                              std::string_view set,
                              der::Bytes keyEncryptionKey,
                              der::Bytes ukm,
                              const WrappedKey& wrapped);

/// diversifyKey is the CryptoPro KEK diversification (RFC 4357, 6.5).
Result<SecretBytes> diversifyKey(std::string_view set, der::Bytes key, der::Bytes ukm);

}  // namespace qx

#endif
