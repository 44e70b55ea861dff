#ifndef QX_PROVIDER_CHAIN_EVALUATE_H_
#define QX_PROVIDER_CHAIN_EVALUATE_H_

#include <ctime>
#include <span>

#include "provider/chain/network.h"
#include "provider/chain/verdict_cache.h"
#include "provider/chain/verify.h"
#include "provider/result.h"
#include "provider/support/folders.h"

namespace qx {

/// What a caller lets be fetched. The configuration must allow it, too: revocation.online, and for
/// issuers revocation.issuers as well.
struct MayFetch {
  bool revocation = true;
  bool issuers = true;
};

/// evaluateOver judges a request over a location's trust (trustOf), through the cache of verdicts. What
/// is missing comes from the cache on disk and then, when allowed, from the network; unless the request
/// judges by given revocation data alone. `network` is asked; null: one with the configured budget.
Result<VerdictPtr> evaluateOver(Location location,
                                ChainRequest request,
                                MayFetch may,
                                Network* network = nullptr);

/// What is asked about a certificate that was met in a message. Trust comes from the location's stores;
/// what is given here gives none.
struct ChainQuestion {
  CertificatePtr certificate;
  Location location = Location::CurrentUser;
  std::span<const CertificatePtr> certificates;
  std::span<const CrlPtr> crls;
  std::span<const OcspPtr> ocsp;
  RevocationScope revocation = RevocationScope::ChainWithoutRoot;
  RequestedUsage usage;
  /// May what is not at hand be fetched? Only as far as the configuration allows.
  bool online = true;
  /// Borrowed; several questions of one call share its budget. Null: each has its own.
  Network* network = nullptr;
};

/// evaluateNow judges a certificate at this moment, by the revocation data given, in the stores, in the
/// cache and, when allowed, in the network. The verdict's elements carry the evidence that decided.
/// A chain with faults is a success: look at the verdict's errors. Errors: as evaluate().
Result<VerdictPtr> evaluateNow(const ChainQuestion& question);

/// evaluateAsOf judges a certificate as it was at a past time, in seconds since 1970: its chain's dates
/// and its revocation at that time, by the given CRLs and answers alone. Nothing is fetched.
Result<VerdictPtr> evaluateAsOf(const ChainQuestion& question, std::time_t time);

}  // namespace qx

#endif
