#include "provider/cipher/kexp15.h"

#include <openssl/crypto.h>

#include "provider/cipher/gost28147.h"

namespace qx {
namespace {

Result<std::vector<std::uint8_t>> macOf(BlockCipher cipher,
                                        der::Bytes macKey,
                                        der::Bytes iv,
                                        der::Bytes key) {
  auto omac = Omac::open(cipher, macKey);
  if (!omac) {
    return omac.failure();
  }
  for (const der::Bytes part : {iv, key}) {
    if (const auto done = omac->update(part); !done) {
      return done.failure();
    }
  }
  return omac->finish();
}

}  // namespace

Result<SecretBytes> importKey(BlockCipher cipher,
                              der::Bytes exportKeys,
                              der::Bytes iv,
                              der::Bytes exported) {
  if (exportKeys.size() != 2 * kGostKeySize || iv.size() != blockSize(cipher) / 2 ||
      exported.size() != kGostKeySize + blockSize(cipher)) {
    return fail(NTE_BAD_DATA);
  }
  auto stream = counterMode(cipher, exportKeys.subspan(kGostKeySize), iv);
  if (!stream) {
    return stream.failure();
  }
  SecretBytes plain(exported.size());
  if (const auto done = stream->update(exported, plain.data()); !done) {
    return done.failure();
  }
  const der::Bytes key = plain.bytes().first(kGostKeySize);
  const auto mac = macOf(cipher, exportKeys.first(kGostKeySize), iv, key);
  if (!mac) {
    return mac.failure();
  }
  if (CRYPTO_memcmp(mac->data(), plain.data() + kGostKeySize, mac->size()) != 0) {
    return fail(NTE_BAD_DATA);
  }
  plain.truncate(kGostKeySize);
  return plain;
}

}  // namespace qx
