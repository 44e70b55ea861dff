#include "provider/cipher/stream.h"

#include <algorithm>
#include <new>

#include <openssl/evp.h>

#include "provider/support/fork_gate.h"

namespace qx {
namespace {

// libcrypto counts in int.
constexpr std::size_t kMaxStep = std::size_t{1} << 30U;

}  // namespace

Result<CipherStream> CipherStream::open(const EVP_CIPHER* cipher,
                                        Direction direction,
                                        der::Bytes key,
                                        der::Bytes iv) {
  EvpCipherCtxPtr context(EVP_CIPHER_CTX_new());
  if (context == nullptr) {
    throw std::bad_alloc();
  }
  if (cipher == nullptr ||
      EVP_CipherInit_ex(
          context.get(), cipher, nullptr, key.data(), iv.data(), static_cast<int>(direction)) !=
          1) {
    return fail(NTE_FAIL);
  }
  return CipherStream(std::move(context));
}

// What is enciphered may be large. A cipher at work holds no lock of libcrypto's.
Result<std::size_t> CipherStream::update(der::Bytes in, std::uint8_t* out) {
  const ForkMayPass noLockIsHeld;
  std::size_t written = 0;
  while (!in.empty()) {
    const der::Bytes step = in.first(std::min(in.size(), kMaxStep));
    int length = 0;
    if (EVP_CipherUpdate(
            context_.get(), out + written, &length, step.data(), static_cast<int>(step.size())) !=
        1) {
      return fail(NTE_FAIL);
    }
    written += static_cast<std::size_t>(length);
    in = in.subspan(step.size());
  }
  return written;
}

Result<std::size_t> CipherStream::finish(std::uint8_t* out) {
  int length = 0;
  if (EVP_CipherFinal_ex(context_.get(), out, &length) != 1) {
    return fail(NTE_BAD_DATA);
  }
  return static_cast<std::size_t>(length);
}

}  // namespace qx
