#include "provider/cipher/key_agreement.h"

#include <utility>

#include <openssl/evp.h>
#include <openssl/x509.h>

#include "provider/cipher/gost28147_wrap.h"
#include "provider/openssl/encoded.h"

namespace qx {
namespace {

bool isGost(KeyType type) {
  return keyTypeInfo(type).onlyHash.has_value();
}

// The engine chooses between VKO and KEG by the length of the UKM.
Result<SecretBytes> agree(EVP_PKEY* own, EVP_PKEY* other, der::Bytes ukm, std::size_t length) {
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(own, nullptr));
  std::vector<std::uint8_t> copy(ukm.begin(), ukm.end());
  if (context == nullptr || EVP_PKEY_derive_init(context.get()) <= 0 ||
      EVP_PKEY_derive_set_peer(context.get(), other) <= 0 ||
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

Result<EvpPkeyPtr> generateLike(const PublicKey& other) {
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new(other.evp(), nullptr));
  EVP_PKEY* made = nullptr;
  if (context == nullptr || EVP_PKEY_keygen_init(context.get()) <= 0 ||
      EVP_PKEY_keygen(context.get(), &made) <= 0) {
    return fail(NTE_FAIL);
  }
  return EvpPkeyPtr(made);
}

bool fitTogether(const PrivateKey& own, const PublicKey& other) {
  return isGost(own.type()) && own.type() == other.type();
}

}  // namespace

Result<SecretBytes> vko(const PrivateKey& own, const PublicKey& other, der::Bytes ukm) {
  if (!fitTogether(own, other)) {
    return fail(NTE_BAD_KEY);
  }
  return ukm.size() == kVkoUkmSize ? agree(own.evp(), other.evp(), ukm, kGostKeySize)
                                   : fail(NTE_BAD_DATA);
}

Result<SecretBytes> keg(const PrivateKey& own, const PublicKey& other, der::Bytes ukm) {
  if (!fitTogether(own, other) || own.type() == KeyType::Gost2001) {
    return fail(NTE_BAD_KEY);
  }
  return ukm.size() == kKegUkmSize ? agree(own.evp(), other.evp(), ukm, 2 * kGostKeySize)
                                   : fail(NTE_BAD_DATA);
}

Result<EphemeralAgreement> ephemeralVko(const PublicKey& other, der::Bytes ukm) {
  if (!isGost(other.type())) {
    return fail(NTE_BAD_KEY);
  }
  if (ukm.size() != kVkoUkmSize) {
    return fail(NTE_BAD_DATA);
  }
  const auto own = generateLike(other);
  if (!own) {
    return own.failure();
  }
  std::vector<std::uint8_t> spki = encodedBy<EVP_PKEY>(i2d_PUBKEY, own->get());
  if (spki.empty()) {
    return fail(NTE_FAIL);
  }
  auto key = agree(own->get(), other.evp(), ukm, kGostKeySize);
  if (!key) {
    return key.failure();
  }
  return EphemeralAgreement{.key = *std::move(key), .spki = std::move(spki)};
}

}  // namespace qx
