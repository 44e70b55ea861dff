#include "bench/floor.h"

#include <nettle/streebog.h>
#include <openssl/evp.h>
#include <openssl/sha.h>

#include "provider/openssl/owned.h"

namespace qx::bench {
namespace {

const unsigned char* octets(const std::string& content) {
  return reinterpret_cast<const unsigned char*>(content.data());
}

unsigned streebog(const std::string& content) {
  streebog256_ctx context;
  streebog256_init(&context);
  streebog256_update(&context, content.size(), octets(content));
  std::uint8_t digest[STREEBOG256_DIGEST_SIZE];
  streebog256_digest(&context, sizeof digest, digest);
  return digest[0];
}

unsigned sha256(const std::string& content) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(octets(content), content.size(), digest);
  return digest[0];
}

}  // namespace

unsigned cipherAlone(std::string& content, bool encrypts) {
  constexpr unsigned char kKey[32] = {1};
  constexpr unsigned char kInitialValue[8] = {2};
  const EvpCipherCtxPtr context(EVP_CIPHER_CTX_new());
  auto* data = reinterpret_cast<unsigned char*>(content.data());
  int length = 0;
  EVP_CipherInit_ex(context.get(),
                    EVP_get_cipherbyname(SN_id_Gost28147_89),
                    nullptr,
                    kKey,
                    kInitialValue,
                    encrypts ? 1 : 0);
  EVP_CipherUpdate(context.get(), data, &length, data, static_cast<int>(content.size()));
  return static_cast<unsigned char>(content.back());
}

unsigned hashAndCopy(const std::string& content, lab::KeyKind kind) {
  const unsigned digest = kind == lab::KeyKind::Rsa2048 ? sha256(content) : streebog(content);
  std::string copy = content;
  copy.front() = static_cast<char>(digest);
  return static_cast<unsigned char>(copy.front()) + static_cast<unsigned char>(copy.back());
}

}  // namespace qx::bench
