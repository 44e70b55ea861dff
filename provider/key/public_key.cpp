#include "provider/key/public_key.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <openssl/evp.h>
#include <openssl/x509.h>

#include "provider/der/reader.h"
#include "provider/openssl/engine.h"

namespace qx {
namespace {

constexpr std::array kCurves = {
    std::string_view("prime256v1"), std::string_view("secp384r1"), std::string_view("secp521r1")};
constexpr std::size_t kCurveNameSize = 32;

/// Curves with explicit parameters are refused: whoever names the curve chooses its strength.
bool isKnownCurve(EVP_PKEY* key) {
  std::array<char, kCurveNameSize> name{};
  std::size_t length = 0;
  if (EVP_PKEY_get_group_name(key, name.data(), name.size(), &length) != 1) {
    return false;
  }
  const std::string_view curve(name.data(), length);
  return std::find(kCurves.begin(), kCurves.end(), curve) != kCurves.end();
}

/// A GOST point has the size of the signatures. The engine also takes the other size's curve under an
/// algorithm, and then writes past what it believes to be the signature's end.
bool hasPointOfItsSize(const KeyTypeInfo& type, std::span<const std::uint8_t> bits) {
  const auto point = der::readWhole(bits, der::kOctetString);
  return point && point->content.size() == type.signatureLength;
}

struct SpkiParts {
  const KeyTypeInfo* type;
  std::span<const std::uint8_t> bits;
};

SpkiParts partsOf(const X509_PUBKEY* pubkey) {
  ASN1_OBJECT* object = nullptr;
  const unsigned char* bits = nullptr;
  int length = 0;
  X509_PUBKEY_get0_param(&object, &bits, &length, nullptr, pubkey);
  return {.type = keyTypeByNid(OBJ_obj2nid(object)),
          .bits = {bits, static_cast<std::size_t>(length)}};
}

}  // namespace

Result<PublicKey> PublicKey::parse(std::span<const std::uint8_t> spki) {
  const auto engine = gostEngine();
  const unsigned char* position = spki.data();
  const X509PubkeyPtr pubkey(d2i_X509_PUBKEY(nullptr, &position, static_cast<long>(spki.size())));
  if (pubkey == nullptr || position != spki.data() + spki.size()) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  const SpkiParts parts = partsOf(pubkey.get());
  if (parts.type == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  if (parts.type->onlyHash && !engine) {
    return engine.failure();
  }
  if (parts.type->onlyHash && !hasPointOfItsSize(*parts.type, parts.bits)) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  EvpPkeyPtr key(X509_PUBKEY_get(pubkey.get()));
  if (key == nullptr || EVP_PKEY_get_base_id(key.get()) != parts.type->nid) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  if (parts.type->type == KeyType::Ec && !isKnownCurve(key.get())) {
    return fail(NTE_BAD_ALGID);
  }
  PublicKey result(std::move(key), *parts.type);
  result.spki_.assign(spki.begin(), spki.end());
  result.bits_.assign(parts.bits.begin(), parts.bits.end());
  return result;
}

unsigned PublicKey::bitLength() const {
  return static_cast<unsigned>(EVP_PKEY_get_bits(key_.get()));
}

Result<void> PublicKey::verifyDigest(const SignatureAlgorithm& algorithm,
                                     HashAlgorithm hash,
                                     std::span<const std::uint8_t> digest,
                                     std::span<const std::uint8_t> signature) const {
  if (const auto good = checkDigest(*type_, hash, digest); !good) {
    return good;
  }
  const auto context = verifyingContext(key_.get(), *type_, algorithm, hash);
  if (!context) {
    return context.failure();
  }
  if (!mayHaveLength(signature.size()) ||
      EVP_PKEY_verify(
          context->get(), signature.data(), signature.size(), digest.data(), digest.size()) != 1) {
    return fail(NTE_BAD_SIGNATURE);
  }
  return {};
}

bool PublicKey::mayHaveLength(std::size_t length) const {
  if (type_->signatureLength != 0) {
    return length == type_->signatureLength;
  }
  const auto most = static_cast<std::size_t>(EVP_PKEY_get_size(key_.get()));
  return type_->type == KeyType::Rsa ? length == most : length <= most;
}

}  // namespace qx
