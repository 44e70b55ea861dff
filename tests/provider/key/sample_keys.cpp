#include "tests/provider/key/sample_keys.h"

#include <algorithm>
#include <stdexcept>

#include "provider/hash/hash.h"

namespace qx::test {
namespace {

using lab::KeyKind;

template <class T>
T valueOf(Result<T> result) {
  if (!result) {
    throw std::runtime_error("failed with " + std::to_string(result.error()));
  }
  return *std::move(result);
}

}  // namespace

HashAlgorithm usualHash(KeyKind kind) {
  switch (kind) {
    case KeyKind::Gost2001:
      return HashAlgorithm::Gost94;
    case KeyKind::Gost2012_256:
      return HashAlgorithm::Streebog256;
    case KeyKind::Gost2012_512:
      return HashAlgorithm::Streebog512;
    case KeyKind::EcP384:
      return HashAlgorithm::Sha384;
    default:
      return HashAlgorithm::Sha256;
  }
}

std::shared_ptr<const PrivateKey> makeKey(KeyKind kind) {
  return valueOf(PrivateKey::fromEvp(lab::generateKey(kind)));
}

std::shared_ptr<const PrivateKey> toOurs(EVP_PKEY* key) {
  EVP_PKEY_up_ref(key);
  return valueOf(PrivateKey::fromEvp(EvpPkeyPtr(key)));
}

PublicKey publicHalf(const PrivateKey& key) {
  return valueOf(PublicKey::parse(key.spki()));
}

SignatureAlgorithm plainAlgorithm(const PrivateKey& key) {
  return {.oid = keyTypeInfo(key.type()).oid, .parameters = {}};
}

std::vector<std::uint8_t> someDigest(HashAlgorithm hash, std::uint8_t fill) {
  return std::vector<std::uint8_t>(hashInfo(hash).length, fill);
}

std::vector<std::uint8_t> reversedHex(std::string_view text) {
  std::vector<std::uint8_t> bytes = fromHex(text);
  std::ranges::reverse(bytes);
  return bytes;
}

}  // namespace qx::test
