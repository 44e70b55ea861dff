#ifndef QX_PROVIDER_HASH_KEPT_HASH_H_
#define QX_PROVIDER_HASH_KEPT_HASH_H_

#include <atomic>

#include "provider/hash/hash.h"

namespace qx {

/// KeptHash is the hash of bytes that never change, made when it is first asked for and kept: references
/// name one object again and again, mostly by one algorithm. The first one asked for is kept, others are
/// made each time. Any number of threads may ask.
class KeptHash {
 public:
  KeptHash() = default;

  ~KeptHash() { delete kept_.load(); }

  KeptHash(const KeptHash&) = delete;
  KeptHash& operator=(const KeptHash&) = delete;
  KeptHash(KeptHash&&) = delete;
  KeptHash& operator=(KeptHash&&) = delete;

  /// of is hashOf; `bytes` are the same in each call.
  HashValue of(HashAlgorithm algorithm, der::Bytes bytes) const;

 private:
  struct Made {
    HashAlgorithm algorithm{};
    HashValue value;
  };

  mutable std::atomic<const Made*> kept_ = nullptr;
};

}  // namespace qx

#endif
