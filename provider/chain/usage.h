#ifndef QX_PROVIDER_CHAIN_USAGE_H_
#define QX_PROVIDER_CHAIN_USAGE_H_

#include <vector>

#include "provider/chain/verify.h"

namespace qx {

/// markUsage sets CERT_TRUST_IS_NOT_VALID_FOR_USAGE at each certificate whose extended key usage takes
/// away from what is requested. No extension, or one with anyExtendedKeyUsage (RFC 5280, 4.2.1.12),
/// allows every usage; an authority's extension holds for all below it.
void markUsage(const RequestedUsage& requested, std::vector<ChainElement>& elements);

/// allowsPolicies tells whether the policies that are requested, all of them or any one, are among those
/// that a chain is valid for. None requested: every chain will do; anyPolicy (RFC 5280, 4.2.1.4) stands
/// for every policy.
bool allowsPolicies(const RequestedUsage& requested, const std::vector<std::string>& valid);

}  // namespace qx

#endif
