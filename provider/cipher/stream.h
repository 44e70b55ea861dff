#ifndef QX_PROVIDER_CIPHER_STREAM_H_
#define QX_PROVIDER_CIPHER_STREAM_H_

#include <cstddef>
#include <cstdint>

#include "provider/der/tag.h"
#include "provider/openssl/owned.h"
#include "provider/result.h"

namespace qx {

enum class Direction : std::uint8_t { Decrypt = 0, Encrypt = 1 };

/// CipherStream is a keyed cipher at work on what it is given, in any number of pieces of any length.
class CipherStream {
 public:
  /// open keys a cipher of libcrypto or the engine; both values must have its lengths. NTE_FAIL.
  static Result<CipherStream> open(const EVP_CIPHER* cipher,
                                   Direction direction,
                                   der::Bytes key,
                                   der::Bytes iv);

  /// A context that is keyed.
  explicit CipherStream(EvpCipherCtxPtr context) : context_(std::move(context)) {}

  /// update gives the number of octets that it wrote to `out`, which may be where `in` is. Stream
  /// modes write as many as they read, CBC holds back what is no whole block, and the last one of what
  /// it decrypts. Forks go on meanwhile: the caller holds no lock. NTE_FAIL.
  Result<std::size_t> update(der::Bytes in, std::uint8_t* out);

  /// finish writes what was held back, less than a block. NTE_BAD_DATA when the padding is wrong.
  Result<std::size_t> finish(std::uint8_t* out);

  EVP_CIPHER_CTX* context() { return context_.get(); }

 private:
  EvpCipherCtxPtr context_;
};

}  // namespace qx

#endif
