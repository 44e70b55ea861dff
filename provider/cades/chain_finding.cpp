#include "provider/cades/chain_finding.h"

#include "provider/chain/faults.h"
#include "provider/chain/trust_error.h"

namespace qx {
namespace {

// What comes and goes in the life of a certificate; everything else makes the chain itself bad.
constexpr DWORD kOfItsTime =
    CERT_TRUST_IS_NOT_TIME_VALID | CERT_TRUST_IS_REVOKED | kRevocationUnknown;

Finding finding(DWORD status, DWORD errors) {
  return {.status = status, .error = trustError(errors).error()};
}

}  // namespace

Finding findingOf(const ChainVerdict& verdict) {
  if (verdict.errors == CERT_TRUST_NO_ERROR) {
    return {};
  }
  if (const DWORD lasting = verdict.errors & ~kOfItsTime; lasting != 0) {
    return finding(CADES_STATUS_NO_CHAIN, lasting);
  }
  if (const DWORD own = verdict.elements.front().errors; own != 0) {
    return finding(CADES_STATUS_SIGNER_CERT, own);
  }
  return finding(CADES_STATUS_OTHER_CERT, verdict.errors);
}

}  // namespace qx
