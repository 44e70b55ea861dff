#ifndef QX_PROVIDER_CHAIN_VERDICT_CACHE_H_
#define QX_PROVIDER_CHAIN_VERDICT_CACHE_H_

#include <cstddef>
#include <memory>

#include "provider/chain/trust_source.h"
#include "provider/chain/verify.h"
#include "provider/hash/hash.h"
#include "provider/support/kept_lately.h"

namespace qx {

using VerdictPtr = std::shared_ptr<const ChainVerdict>;

/// VerdictCache remembers verdicts for a minute at most, so that a certificate met again costs a
/// look-up. A verdict is given again only for the same request over the very same trust source (which
/// is another one as soon as a store or a CRL changes), and only while no certificate or CRL that was
/// considered begins or ceases to be valid. What the network may still answer is not remembered. Safe from several threads and over fork.
class VerdictCache {
 public:
  /// How long a verdict is kept, in seconds.
  static constexpr std::time_t kLifetime = 60;

  /// `capacity` is the number of verdicts; the oldest makes room for the next.
  explicit VerdictCache(std::size_t capacity) : entries_(capacity) {}

  /// evaluate gives what qx::evaluate would give for the request over `trust` (the request's own trust
  /// is not read). The clock is the request's.
  Result<VerdictPtr> evaluate(ChainRequest request,
                              const std::shared_ptr<const TrustSource>& trust);

  std::size_t size() { return entries_.size(); }

 private:
  struct Entry {
    std::shared_ptr<const TrustSource> trust;
    std::time_t made = 0;
    VerdictPtr verdict;

    bool holdsFor(const TrustSource& other, std::time_t now) const;
  };

  static HashValue keyOf(const ChainRequest& request);
  VerdictPtr find(const HashValue& key, const TrustSource& trust, std::time_t now);

  KeptLately<HashValue, Entry> entries_;
};

/// processVerdicts is the cache that everybody in this process shares.
VerdictCache& processVerdicts();

}  // namespace qx

#endif
