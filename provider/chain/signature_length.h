#ifndef QX_PROVIDER_CHAIN_SIGNATURE_LENGTH_H_
#define QX_PROVIDER_CHAIN_SIGNATURE_LENGTH_H_

#include <openssl/ocsp.h>
#include <openssl/types.h>

namespace qx {

// The GOST engine overlooks an octet too many behind a signature, so that anybody could give a certificate
// another thumbprint. Signatures of R 34.10 have 64 or 128 octets (RFC 4491, 2.2.1; RFC 9215, 2); those of
// other algorithms are measured by libcrypto.

bool hasSignatureOfWrongLength(const X509* certificate);
bool hasSignatureOfWrongLength(const X509_CRL* crl);
bool hasSignatureOfWrongLength(const OCSP_BASICRESP* answer);

}  // namespace qx

#endif
