#include "provider/hash/kept_hash.h"

#include <memory>

namespace qx {

HashValue KeptHash::of(HashAlgorithm algorithm, der::Bytes bytes) const {
  const Made* known = kept_.load(std::memory_order_acquire);
  if (known != nullptr && known->algorithm == algorithm) {
    return known->value;
  }
  const HashValue value = hashOf(algorithm, bytes);
  if (known == nullptr) {
    auto made = std::make_unique<const Made>(Made{.algorithm = algorithm, .value = value});
    if (kept_.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel)) {
      static_cast<void>(made.release());
    }
  }
  return value;
}

}  // namespace qx
