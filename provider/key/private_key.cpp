#include "provider/key/private_key.h"

#include <algorithm>
#include <array>

#include <openssl/evp.h>
#include <openssl/x509.h>

#include "provider/key/public_key.h"
#include "provider/openssl/encoded.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/library_context.h"

namespace qx {
namespace {

/// A digest that every kind of key signs, for the proof that both halves belong together.
constexpr HashAlgorithm kProofHash = HashAlgorithm::Sha256;

/// A key file may state a public key that is not its private key's.
Result<void> proveTogether(const PrivateKey& key, const PublicKey& publicKey) {
  const KeyTypeInfo& type = keyTypeInfo(key.type());
  const HashAlgorithm hash = type.onlyHash.value_or(kProofHash);
  std::array<std::uint8_t, kMaxHashLength> digest{};
  digest.fill(1);
  const auto proof = std::span<const std::uint8_t>(digest).first(hashInfo(hash).length);
  const auto signature = key.signDigest(hash, proof);
  if (!signature ||
      !publicKey.verifyDigest({.oid = type.oid, .parameters = {}}, hash, proof, *signature)) {
    return fail(NTE_BAD_KEY);
  }
  return {};
}

}  // namespace

Result<Pkcs8Ptr> readPkcs8(std::span<const std::uint8_t> der) {
  const unsigned char* position = der.data();
  Pkcs8Ptr info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &position, static_cast<long>(der.size())));
  if (info == nullptr || position != der.data() + der.size()) {
    return fail(NTE_BAD_KEY);
  }
  return info;
}

Result<std::shared_ptr<const PrivateKey>> PrivateKey::fromPkcs8(const PKCS8_PRIV_KEY_INFO& info) {
  const ASN1_OBJECT* algorithm = nullptr;
  PKCS8_pkey_get0(&algorithm, nullptr, nullptr, nullptr, &info);
  const KeyTypeInfo* type = keyTypeByNid(OBJ_obj2nid(algorithm));
  if (type == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  // Without the engine libcrypto does not know what a GOST key is.
  if (const auto engine = gostEngine(); type->onlyHash && !engine) {
    return engine.failure();
  }
  EvpPkeyPtr key(EVP_PKCS82PKEY_ex(&info, libraryContext(), nullptr));
  if (key == nullptr) {
    return fail(NTE_BAD_KEY);
  }
  return fromEvp(std::move(key));
}

Result<std::shared_ptr<const PrivateKey>> PrivateKey::fromEvp(EvpPkeyPtr key) {
  const KeyTypeInfo* type = keyTypeByNid(EVP_PKEY_get_base_id(key.get()));
  if (type == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  std::vector<std::uint8_t> spki = encodedBy<EVP_PKEY>(i2d_PUBKEY, key.get());
  if (spki.empty()) {
    return fail(NTE_BAD_KEY);
  }
  const auto publicKey = PublicKey::parse(spki);
  if (!publicKey) {
    return publicKey.failure();
  }
  const std::shared_ptr<PrivateKey> result(new PrivateKey(std::move(key), *type));
  result->publicKeyBits_.assign(publicKey->bits().begin(), publicKey->bits().end());
  result->spki_ = std::move(spki);
  if (const auto proof = proveTogether(*result, *publicKey); !proof) {
    return proof.failure();
  }
  return std::shared_ptr<const PrivateKey>(result);
}

Result<std::vector<std::uint8_t>> PrivateKey::signDigest(
    HashAlgorithm hash, std::span<const std::uint8_t> digest) const {
  if (const auto good = checkDigest(*type_, hash, digest); !good) {
    return good.failure();
  }
  const auto context = signingContext(key_.get(), *type_, hash);
  if (!context) {
    return context.failure();
  }
  std::vector<std::uint8_t> signature(static_cast<std::size_t>(EVP_PKEY_get_size(key_.get())));
  std::size_t length = signature.size();
  if (EVP_PKEY_sign(context->get(), signature.data(), &length, digest.data(), digest.size()) != 1) {
    return fail(NTE_FAIL);
  }
  signature.resize(length);
  return signature;
}

Result<Pkcs8Ptr> PrivateKey::toPkcs8() const {
  Pkcs8Ptr info(EVP_PKEY2PKCS8(key_.get()));
  return info != nullptr ? Result<Pkcs8Ptr>(std::move(info)) : fail(NTE_FAIL);
}

}  // namespace qx
