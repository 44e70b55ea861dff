#include "provider/cipher/key_agreement.h"

#include <vector>

#include <openssl/evp.h>

#include "provider/cipher/gost28147_wrap.h"

namespace qx {
namespace {

bool isGost(KeyType type) {
  return keyTypeInfo(type).onlyHash.has_value();
}

// The engine chooses between VKO and KEG by the length of the UKM.
Result<SecretBytes> agree(const PrivateKey& own,
                          const PublicKey& other,
                          der::Bytes ukm,
                          std::size_t length) {
  if (!isGost(own.type()) || own.type() != other.type()) {
    return fail(NTE_BAD_KEY);
  }
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(own.evp(), nullptr));
  std::vector<std::uint8_t> copy(ukm.begin(), ukm.end());
  if (context == nullptr || EVP_PKEY_derive_init(context.get()) <= 0 ||
      EVP_PKEY_derive_set_peer(context.get(), other.evp()) <= 0 ||
      EVP_PKEY_CTX_ctrl(context.get(),
                        -1,
                        EVP_PKEY_OP_DERIVE,
                        EVP_PKEY_CTRL_SET_IV,
                        static_cast<int>(copy.size()),
                        copy.data()) <= 0) {
    return fail(NTE_BAD_KEY);
  }
  SecretBytes key(length);
  std::size_t made = length;
  if (EVP_PKEY_derive(context.get(), key.data(), &made) <= 0 || made != length) {
    return fail(NTE_BAD_KEY);
  }
  return key;
}

}  // namespace

Result<SecretBytes> vko(const PrivateKey& own, const PublicKey& other, der::Bytes ukm) {
  return ukm.size() == kVkoUkmSize ? agree(own, other, ukm, kGostKeySize) : fail(NTE_BAD_DATA);
}

Result<SecretBytes> keg(const PrivateKey& own, const PublicKey& other, der::Bytes ukm) {
  if (own.type() == KeyType::Gost2001) {
    return fail(NTE_BAD_KEY);
  }
  return ukm.size() == kKegUkmSize ? agree(own, other, ukm, 2 * kGostKeySize) : fail(NTE_BAD_DATA);
}

Result<std::shared_ptr<const PrivateKey>> ephemeralKey(const PublicKey& other) {
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(other.evp(), nullptr));
  EVP_PKEY* made = nullptr;
  if (!isGost(other.type()) || context == nullptr || EVP_PKEY_keygen_init(context.get()) <= 0 ||
      EVP_PKEY_keygen(context.get(), &made) <= 0) {
    return fail(NTE_FAIL);
  }
  return PrivateKey::fromEvp(EvpPkeyPtr(made));
}

}  // namespace qx
