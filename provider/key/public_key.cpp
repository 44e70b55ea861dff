#include "provider/key/public_key.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/x509.h>

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/library_context.h"

namespace qx {
namespace {

/// A curve by its OID. Curves with explicit parameters are refused: whoever describes the curve
/// chooses its strength.
struct Curve {
  std::string_view oid;
  const char* name;
};

constexpr Curve kCurves[] = {{.oid = "1.2.840.10045.3.1.7", .name = "P-256"},
                             {.oid = "1.3.132.0.34", .name = "P-384"},
                             {.oid = "1.3.132.0.35", .name = "P-521"}};

struct Spki {
  der::AlgorithmIdentifier algorithm;
  der::Bytes bits;
};

Result<Spki> readSpki(der::Bytes input) {
  const auto sequence = der::readWhole(input, der::kSequence);
  der::Reader members(sequence ? sequence->content : der::Bytes());
  const auto algorithm = members.next(der::kSequence);
  const auto bits = members.next(der::kBitString);
  if (!algorithm || !bits || !members.atEnd()) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  auto read = der::readAlgorithm(*algorithm);
  const auto octets = der::readBitString(*bits);
  if (!read || !octets || octets->unusedBits != 0) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  return Spki{.algorithm = std::move(*read), .bits = octets->octets};
}

/// A GOST point has the size of the signatures. The engine also takes the other size's curve under an
/// algorithm, and then writes past what it believes to be the signature's end.
Result<EvpPkeyPtr> makeGostKey(const KeyTypeInfo& type, const Spki& parts, der::Bytes spki) {
  if (const auto engine = gostEngine(); !engine) {
    return engine.failure();
  }
  const auto point = der::readWhole(parts.bits, der::kOctetString);
  if (!point || point->content.size() != type.signatureLength) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  const unsigned char* position = spki.data();
  EvpPkeyPtr key(d2i_PUBKEY(nullptr, &position, static_cast<long>(spki.size())));
  if (key == nullptr || EVP_PKEY_get_base_id(key.get()) != type.nid) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  return key;
}

// The next two go past libcrypto's decoders, which take longer than the verification.

Result<EvpPkeyPtr> makeRsaKey(const Spki& parts) {
  const unsigned char* position = parts.bits.data();
  EvpPkeyPtr key(
      d2i_PublicKey(EVP_PKEY_RSA, nullptr, &position, static_cast<long>(parts.bits.size())));
  if (key == nullptr || position != parts.bits.data() + parts.bits.size()) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  return key;
}

const Curve* findCurve(der::Bytes parameters) {
  const auto element = der::readWhole(parameters, der::kOid);
  const auto oid = element ? der::readOid(*element) : element.failure();
  if (!oid) {
    return nullptr;
  }
  const auto* const found =
      std::ranges::find_if(kCurves, [&](const Curve& curve) { return curve.oid == *oid; });
  return found != std::end(kCurves) ? found : nullptr;
}

Result<EvpPkeyPtr> makeEcKey(const Spki& parts) {
  const Curve* curve = findCurve(parts.algorithm.parameters);
  if (curve == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  // libcrypto reads both values only, but its records are made for writing, too.
  std::string group = curve->name;
  std::vector<std::uint8_t> point(parts.bits.begin(), parts.bits.end());
  OSSL_PARAM parameters[] = {
      OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group.data(), group.size()),
      OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size()),
      OSSL_PARAM_construct_end()};
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_from_name(libraryContext(), "EC", nullptr));
  EVP_PKEY* made = nullptr;
  // One octet is the point at infinity, which is nobody's key.
  if (point.size() < 2 || context == nullptr || EVP_PKEY_fromdata_init(context.get()) != 1 ||
      EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, parameters) != 1) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  return EvpPkeyPtr(made);
}

Result<EvpPkeyPtr> makeKey(const KeyTypeInfo& type, const Spki& parts, der::Bytes spki) {
  switch (type.type) {
    case KeyType::Rsa:
      return makeRsaKey(parts);
    case KeyType::Ec:
      return makeEcKey(parts);
    default:
      return makeGostKey(type, parts, spki);
  }
}

}  // namespace

Result<PublicKey> PublicKey::parse(std::span<const std::uint8_t> spki) {
  const auto parts = readSpki(spki);
  if (!parts) {
    return parts.failure();
  }
  const KeyTypeInfo* type = keyTypeByOid(parts->algorithm.oid);
  if (type == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  auto key = makeKey(*type, *parts, spki);
  if (!key) {
    return key.failure();
  }
  PublicKey result(std::move(*key), *type);
  result.spki_.assign(spki.begin(), spki.end());
  result.bits_.assign(parts->bits.begin(), parts->bits.end());
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

Result<std::span<const std::uint8_t>> spkiAlgorithm(std::span<const std::uint8_t> spki) {
  const auto sequence = der::readWhole(spki, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader members(sequence->content);
  const auto algorithm = members.next(der::kSequence);
  return algorithm ? Result<std::span<const std::uint8_t>>(algorithm->whole) : algorithm.failure();
}

}  // namespace qx
