#ifndef QX_PROVIDER_CHAIN_USAGE_H_
#define QX_PROVIDER_CHAIN_USAGE_H_

#include <vector>

#include "provider/chain/verify.h"

namespace qx {

/// markUsage sets CERT_TRUST_IS_NOT_VALID_FOR_USAGE at each certificate whose extended key usage takes
/// away from what is requested. No extension, or one with anyExtendedKeyUsage (RFC 5280, 4.2.1.12),
/// allows every usage; an authority's extension holds for all below it.
void markUsage(const RequestedUsage& requested, std::vector<ChainElement>& elements);

}  // namespace qx

#endif
