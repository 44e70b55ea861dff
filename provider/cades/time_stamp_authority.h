#ifndef QX_PROVIDER_CADES_TIME_STAMP_AUTHORITY_H_
#define QX_PROVIDER_CADES_TIME_STAMP_AUTHORITY_H_

#include <ctime>
#include <span>

#include "provider/chain/trust_source.h"
#include "provider/result.h"

namespace qx {

/// isTimeStampAuthority tells whether a certificate is good for time stamps and nothing else (RFC 3161,
/// 2.3): one extended key usage, critical, id-kp-timeStamping alone; a key usage, where there is one, of
/// signatures only.
bool isTimeStampAuthority(const CertificateData& certificate);

/// checkAuthority tells whether an authority may make time stamps and its chain leads to a trusted root
/// at a time (seconds since 1970); revocation is not looked at. `others` are building material. Errors:
/// CERT_E_WRONG_USAGE, CERT_E_..., TRUST_E_CERT_SIGNATURE.
Result<void> checkAuthority(const CertificatePtr& authority,
                            const TrustSource& trust,
                            std::span<const CertificatePtr> others,
                            std::time_t time);

}  // namespace qx

#endif
