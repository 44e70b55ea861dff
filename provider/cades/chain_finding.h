#ifndef QX_PROVIDER_CADES_CHAIN_FINDING_H_
#define QX_PROVIDER_CADES_CHAIN_FINDING_H_

#include "provider/cades/finding.h"
#include "provider/chain/verify.h"

namespace qx {

/// findingOf turns the verdict on a signer's chain into the state of his signature:
/// CADES_STATUS_NO_CHAIN when it does not lead to trust, else CADES_STATUS_SIGNER_CERT when he is
/// revoked, out of his dates or of unknown revocation, else CADES_STATUS_OTHER_CERT when another
/// certificate is.
Finding findingOf(const ChainVerdict& verdict);

}  // namespace qx

#endif
