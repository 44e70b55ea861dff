#include "provider/cipher/rsa_transport.h"

#include <algorithm>

#include <openssl/evp.h>
#include <openssl/rsa.h>

#include "provider/openssl/library_context.h"
#include "provider/openssl/random.h"

namespace qx {
namespace {

EvpPkeyCtxPtr newContext(EVP_PKEY* key) {
  return EvpPkeyCtxPtr(EVP_PKEY_CTX_new_from_pkey(libraryContext(), key, nullptr));
}

// Takes the other's octets when `other` is 1, in the same steps as when it is 0.
void select(SecretBytes& key, der::Bytes octets, unsigned other) {
  const auto mask = static_cast<std::uint8_t>(0U - other);
  for (std::size_t i = 0; i < key.size(); ++i) {
    key.data()[i] = static_cast<std::uint8_t>((key.data()[i] & static_cast<std::uint8_t>(~mask)) |
                                              (octets[i] & mask));
  }
}

}  // namespace

Result<std::vector<std::uint8_t>> encryptKeyRsa(const PublicKey& key, der::Bytes session) {
  const EvpPkeyCtxPtr context = newContext(key.evp());
  std::vector<std::uint8_t> encrypted(static_cast<std::size_t>(EVP_PKEY_get_size(key.evp())));
  std::size_t length = encrypted.size();
  if (key.type() != KeyType::Rsa || context == nullptr ||
      EVP_PKEY_encrypt_init(context.get()) <= 0 ||
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) <= 0 ||
      EVP_PKEY_encrypt(context.get(), encrypted.data(), &length, session.data(), session.size()) <=
          0) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  encrypted.resize(length);
  return encrypted;
}

Result<TransportedKey> decryptKeyRsa(const PrivateKey& key,
                                     der::Bytes encrypted,
                                     std::size_t length) {
  if (key.type() != KeyType::Rsa) {
    return fail(NTE_BAD_KEY);
  }
  const EvpPkeyCtxPtr context = newContext(key.evp());
  auto substitute = randomKey(length);
  if (!substitute || context == nullptr || EVP_PKEY_decrypt_init(context.get()) <= 0 ||
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) <= 0) {
    return fail(NTE_FAIL);
  }
  SecretBytes plain(std::max(static_cast<std::size_t>(EVP_PKEY_get_size(key.evp())), length));
  std::size_t size = plain.size();
  const int decrypted =
      EVP_PKEY_decrypt(context.get(), plain.data(), &size, encrypted.data(), encrypted.size());
  const auto good = static_cast<unsigned>(decrypted > 0) & static_cast<unsigned>(size == length);
  select(*substitute, plain.bytes(), good);
  return TransportedKey{.key = *std::move(substitute), .isGood = good != 0};
}

}  // namespace qx
