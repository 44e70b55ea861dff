#ifndef QX_PROVIDER_CHAIN_CRL_SCOPE_H_
#define QX_PROVIDER_CHAIN_CRL_SCOPE_H_

#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"

namespace qx {

/// whyNotAbout tells why a CRL with the name of a certificate's issuer does not cover the certificate
/// (RFC 5280, 6.3.3 b), in words for a trace line; null when it does. Delta and indirect CRLs and those
/// about some reasons only are not used.
const char* whyNotAbout(const CrlData& crl, const CertificateData& subject);

}  // namespace qx

#endif
