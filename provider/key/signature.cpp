#include "provider/key/signature.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include <openssl/evp.h>
#include <openssl/rsa.h>

#include "provider/key/pss.h"
#include "provider/openssl/library_context.h"

namespace qx {
namespace {

enum class Scheme { Plain, Pss };

struct SignatureOid {
  std::string_view oid;
  KeyType key;
  std::optional<HashAlgorithm> hash;  // none: the OID leaves it open
  Scheme scheme = Scheme::Plain;
};

constexpr SignatureOid kSignatureOids[] = {
    {.oid = "1.2.643.2.2.19", .key = KeyType::Gost2001, .hash = std::nullopt},
    {.oid = "1.2.643.2.2.3", .key = KeyType::Gost2001, .hash = HashAlgorithm::Gost94},
    {.oid = "1.2.643.7.1.1.1.1", .key = KeyType::Gost2012_256, .hash = std::nullopt},
    {.oid = "1.2.643.7.1.1.3.2", .key = KeyType::Gost2012_256, .hash = HashAlgorithm::Streebog256},
    {.oid = "1.2.643.7.1.1.1.2", .key = KeyType::Gost2012_512, .hash = std::nullopt},
    {.oid = "1.2.643.7.1.1.3.3", .key = KeyType::Gost2012_512, .hash = HashAlgorithm::Streebog512},
    {.oid = "1.2.840.113549.1.1.1", .key = KeyType::Rsa, .hash = std::nullopt},
    {.oid = "1.2.840.113549.1.1.5", .key = KeyType::Rsa, .hash = HashAlgorithm::Sha1},
    {.oid = "1.3.14.3.2.29", .key = KeyType::Rsa, .hash = HashAlgorithm::Sha1},
    {.oid = "1.2.840.113549.1.1.11", .key = KeyType::Rsa, .hash = HashAlgorithm::Sha256},
    {.oid = "1.2.840.113549.1.1.12", .key = KeyType::Rsa, .hash = HashAlgorithm::Sha384},
    {.oid = "1.2.840.113549.1.1.13", .key = KeyType::Rsa, .hash = HashAlgorithm::Sha512},
    {.oid = "1.2.840.113549.1.1.10",
     .key = KeyType::Rsa,
     .hash = std::nullopt,
     .scheme = Scheme::Pss},
    {.oid = "1.2.840.10045.2.1", .key = KeyType::Ec, .hash = std::nullopt},
    {.oid = "1.2.840.10045.4.1", .key = KeyType::Ec, .hash = HashAlgorithm::Sha1},
    {.oid = "1.2.840.10045.4.3.2", .key = KeyType::Ec, .hash = HashAlgorithm::Sha256},
    {.oid = "1.2.840.10045.4.3.3", .key = KeyType::Ec, .hash = HashAlgorithm::Sha384},
    {.oid = "1.2.840.10045.4.3.4", .key = KeyType::Ec, .hash = HashAlgorithm::Sha512},
};

const SignatureOid* findSignature(std::string_view oid) {
  const auto* const found = std::ranges::find_if(
      kSignatureOids, [oid](const SignatureOid& row) { return row.oid == oid; });
  return found != std::end(kSignatureOids) ? found : nullptr;
}

const EVP_MD* libcryptoDigest(HashAlgorithm hash) {
  switch (hash) {
    case HashAlgorithm::Sha1:
      return EVP_sha1();
    case HashAlgorithm::Sha256:
      return EVP_sha256();
    case HashAlgorithm::Sha384:
      return EVP_sha384();
    case HashAlgorithm::Sha512:
      return EVP_sha512();
    default:
      return nullptr;
  }
}

bool isGost(const KeyTypeInfo& type) {
  return type.onlyHash.has_value();
}

EvpPkeyCtxPtr newContext(EVP_PKEY* key) {
  return EvpPkeyCtxPtr(EVP_PKEY_CTX_new_from_pkey(libraryContext(), key, nullptr));
}

/// A GOST operation takes the finished digest as it is; the others are told which hash it is.
bool setPlainScheme(EVP_PKEY_CTX* context, const KeyTypeInfo& type, HashAlgorithm hash) {
  if (isGost(type)) {
    return true;
  }
  if (type.type == KeyType::Rsa && EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) <= 0) {
    return false;
  }
  return EVP_PKEY_CTX_set_signature_md(context, libcryptoDigest(hash)) > 0;
}

Result<void> setPssScheme(EVP_PKEY_CTX* context,
                          std::span<const std::uint8_t> der,
                          HashAlgorithm hash) {
  const auto parameters = readPssParameters(der);
  if (!parameters || parameters->hash != hash) {
    return fail(NTE_BAD_ALGID);
  }
  const EVP_MD* maskHash = libcryptoDigest(parameters->maskHash);
  const bool set = maskHash != nullptr &&
                   EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) > 0 &&
                   EVP_PKEY_CTX_set_signature_md(context, libcryptoDigest(hash)) > 0 &&
                   EVP_PKEY_CTX_set_rsa_mgf1_md(context, maskHash) > 0 &&
                   EVP_PKEY_CTX_set_rsa_pss_saltlen(context, parameters->saltLength) > 0;
  return set ? Result<void>() : fail(NTE_BAD_ALGID);
}

}  // namespace

Result<void> checkDigest(const KeyTypeInfo& key,
                         HashAlgorithm hash,
                         std::span<const std::uint8_t> digest) {
  if (!mayBeSigned(key, hash)) {
    return fail(NTE_BAD_ALGID);
  }
  return digest.size() == hashInfo(hash).length ? Result<void>() : fail(NTE_BAD_HASH);
}

Result<EvpPkeyCtxPtr> signingContext(EVP_PKEY* key, const KeyTypeInfo& type, HashAlgorithm hash) {
  EvpPkeyCtxPtr context = newContext(key);
  if (context == nullptr || EVP_PKEY_sign_init(context.get()) <= 0 ||
      !setPlainScheme(context.get(), type, hash)) {
    return fail(NTE_FAIL);
  }
  return context;
}

Result<EvpPkeyCtxPtr> verifyingContext(EVP_PKEY* key,
                                       const KeyTypeInfo& type,
                                       const SignatureAlgorithm& algorithm,
                                       HashAlgorithm hash) {
  const SignatureOid* row = findSignature(algorithm.oid);
  if (row == nullptr || row->key != type.type || row->hash.value_or(hash) != hash) {
    return fail(NTE_BAD_ALGID);
  }
  EvpPkeyCtxPtr context = newContext(key);
  if (context == nullptr || EVP_PKEY_verify_init(context.get()) <= 0) {
    return fail(NTE_FAIL);
  }
  if (row->scheme == Scheme::Plain) {
    return setPlainScheme(context.get(), type, hash) ? Result<EvpPkeyCtxPtr>(std::move(context))
                                                     : fail(NTE_FAIL);
  }
  const auto pss = setPssScheme(context.get(), algorithm.parameters, hash);
  return pss ? Result<EvpPkeyCtxPtr>(std::move(context)) : pss.failure();
}

}  // namespace qx
