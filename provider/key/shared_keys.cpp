#include "provider/key/shared_keys.h"

#include <cstddef>
#include <utility>

#include "provider/hash/hash.h"
#include "provider/support/kept_lately.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

constexpr std::size_t kKeptKeys = 500;
constexpr std::size_t kMaxKeptSize = 4096;

using KeptKeys = KeptLately<HashValue, PublicKeyPtr>;

KeptKeys& keptKeys() {
  static auto& keys = untilUnload(std::make_unique<KeptKeys>(kKeptKeys));
  return keys;
}

Result<PublicKeyPtr> parse(der::Bytes spki) {
  Result<PublicKey> key = PublicKey::parse(spki);
  return key ? Result<PublicKeyPtr>(std::make_shared<const PublicKey>(*std::move(key)))
             : key.failure();
}

}  // namespace

Result<PublicKeyPtr> sharedPublicKey(der::Bytes spki) {
  if (spki.size() > kMaxKeptSize) {
    return parse(spki);
  }
  const HashValue name = hashOf(HashAlgorithm::Sha256, spki);
  if (std::optional<PublicKeyPtr> known = keptKeys().find(name)) {
    return *std::move(known);
  }
  Result<PublicKeyPtr> fresh = parse(spki);
  if (fresh) {
    keptKeys().keep(name, *fresh);
  }
  return fresh;
}

}  // namespace qx
