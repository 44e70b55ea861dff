#include "provider/hash/kept_hash.h"

namespace qx {

HashValue KeptHash::of(HashAlgorithm algorithm, der::Bytes bytes) const {
  const Made* known = kept_.load(std::memory_order_acquire);
  if (known != nullptr && known->algorithm == algorithm) {
    return known->value;
  }
  const HashValue value = hashOf(algorithm, bytes);
  if (known == nullptr) {
    const auto* const made = new Made{.algorithm = algorithm, .value = value};
    if (!kept_.compare_exchange_strong(known, made, std::memory_order_acq_rel)) {
      delete made;  // another thread was first
    }
  }
  return value;
}

}  // namespace qx
