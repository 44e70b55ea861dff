#include "provider/openssl/random.h"

#include <openssl/rand.h>

#include "provider/openssl/library_context.h"

namespace qx {

Result<void> fillRandom(std::span<std::uint8_t> out) {
  return RAND_bytes_ex(libraryContext(), out.data(), out.size(), /*strength=*/0) == 1
             ? Result<void>{}
             : fail(NTE_FAIL);
}

Result<SecretBytes> randomKey(std::size_t length) {
  SecretBytes key(length);
  if (RAND_priv_bytes_ex(libraryContext(), key.data(), key.size(), /*strength=*/0) != 1) {
    return fail(NTE_FAIL);
  }
  return key;
}

}  // namespace qx
