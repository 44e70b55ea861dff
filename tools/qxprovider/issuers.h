#ifndef QX_TOOLS_QXPROVIDER_ISSUERS_H_
#define QX_TOOLS_QXPROVIDER_ISSUERS_H_

#include <vector>

#include "provider/chain/trust_stores.h"
#include "provider/store/certificate_data.h"

namespace qx::admin {

/// issuerOf gives the authority in "Root" or "CA" whose signature a certificate bears; null when there
/// is none. Dates and revocation are not looked at.
CertificatePtr issuerOf(const CertificateData& certificate, const TrustSource& trust);

/// issuersOf gives the chain above a certificate, as far as it is known; a root stands at its end.
std::vector<CertificatePtr> issuersOf(const CertificateData& certificate, const TrustSource& trust);

}  // namespace qx::admin

#endif
