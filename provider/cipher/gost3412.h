#ifndef QX_PROVIDER_CIPHER_GOST3412_H_
#define QX_PROVIDER_CIPHER_GOST3412_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "provider/cipher/stream.h"
#include "provider/der/tag.h"
#include "provider/openssl/owned.h"
#include "provider/result.h"

// The block ciphers of R 34.12-2015 (RFC 8891, RFC 7801). Keys are kGostKeySize octets. Every function
// here fails with NTE_FAIL where the engine does.

namespace qx {

enum class BlockCipher : std::uint8_t { Magma, Kuznyechik };

/// blockSize is the size of a block, and of a MAC, in octets; initial values have half of it.
constexpr std::size_t blockSize(BlockCipher cipher) {
  return cipher == BlockCipher::Magma ? 8 : 16;
}

/// counterMode opens CTR (R 34.13-2015, 5.2). It works in both directions alike.
Result<CipherStream> counterMode(BlockCipher cipher, der::Bytes key, der::Bytes iv);

/// counterAcpkm opens CTR-ACPKM (RFC 8645, 6.2.2) with the sections of messages: 8 KB with Magma,
/// 256 KB with Kuznyechik (R 1323565.1.025-2019).
Result<CipherStream> counterAcpkm(BlockCipher cipher, der::Bytes key, der::Bytes iv);

/// Omac computes OMAC (R 34.13-2015, 5.6) of what it is given.
class Omac {
 public:
  static Result<Omac> open(BlockCipher cipher, der::Bytes key);

  Result<void> update(der::Bytes bytes);

  /// blockSize octets; the state is used up.
  Result<std::vector<std::uint8_t>> finish();

 private:
  Omac(BlockCipher cipher, EvpMacCtxPtr context) : cipher_(cipher), context_(std::move(context)) {}

  BlockCipher cipher_;
  EvpMacCtxPtr context_;
};

}  // namespace qx

#endif
