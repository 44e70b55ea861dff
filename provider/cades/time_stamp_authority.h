#ifndef QX_PROVIDER_CADES_TIME_STAMP_AUTHORITY_H_
#define QX_PROVIDER_CADES_TIME_STAMP_AUTHORITY_H_

#include <ctime>

#include "provider/chain/evaluate.h"
#include "provider/result.h"

namespace qx {

/// isTimeStampAuthority tells whether a certificate is good for time stamps and nothing else (RFC 3161,
/// 2.3): one extended key usage, critical, id-kp-timeStamping alone; a key usage, where there is one, of
/// signatures only.
bool isTimeStampAuthority(const CertificateData& certificate);

/// trustAuthority tells whether the certificate that is asked about may make time stamps and is trusted
/// now, and gives the verdict on it. That nothing is known about its revocation is tolerated, with a trace
/// line. Errors: CERT_E_WRONG_USAGE; those of trustError.
Result<VerdictPtr> trustAuthority(const ChainQuestion& question);

/// trustAuthorityAsOf tells the same of a past time, in seconds since 1970, by the revocation data that
/// is given with the question. There, what is not known about revocation is a fault.
Result<void> trustAuthorityAsOf(const ChainQuestion& question, std::time_t time);

}  // namespace qx

#endif
