#include "provider/openssl/random.h"

#include <unistd.h>

#include <openssl/rand.h>

#include "provider/openssl/library_context.h"

namespace qx {

Result<void> fillRandom(std::span<std::uint8_t> out) {
  // The kernel's: for a few octets libcrypto's generator takes ten times as long.
  return getentropy(out.data(), out.size()) == 0 ? Result<void>{} : fail(NTE_FAIL);
}

Result<SecretBytes> randomKey(std::size_t length) {
  SecretBytes key(length);
  if (RAND_priv_bytes_ex(libraryContext(), key.data(), key.size(), /*strength=*/0) != 1) {
    return fail(NTE_FAIL);
  }
  return key;
}

}  // namespace qx
