#ifndef QX_PROVIDER_CHAIN_EVALUATE_H_
#define QX_PROVIDER_CHAIN_EVALUATE_H_

#include <ctime>
#include <span>

#include "provider/chain/verdict_cache.h"
#include "provider/chain/verify.h"
#include "provider/result.h"
#include "provider/support/folders.h"

namespace qx {

/// What is asked about a certificate that was met in a message. Trust comes from the location's stores
/// (trustOf); what is given here gives none.
struct ChainQuestion {
  CertificatePtr certificate;
  Location location = Location::CurrentUser;
  std::span<const CertificatePtr> certificates;
  std::span<const CrlPtr> crls;
  std::span<const OcspPtr> ocsp;
  RevocationScope revocation = RevocationScope::ChainWithoutRoot;
  RequestedUsage usage;
  /// May what is not at hand be fetched? Only as far as the configuration (revocation.online) allows.
  bool online = true;
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
