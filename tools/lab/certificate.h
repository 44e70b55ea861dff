#ifndef QX_TOOLS_LAB_CERTIFICATE_H_
#define QX_TOOLS_LAB_CERTIFICATE_H_

#include "tools/lab/pki.h"

namespace qx::lab {

/// makeCertificate builds and signs a certificate for `key` (only its public half is used). `issuer`
/// is null for one that signs itself with `signer`.
X509Ptr makeCertificate(EVP_PKEY* key,
                        const CertificateOptions& options,
                        EVP_PKEY* signer,
                        X509* issuer);

/// digestFor is the digest with this NID, or the usual one of the key for NID_undef.
const EVP_MD* digestFor(int nid, EVP_PKEY* key);

/// setOffset writes a time as an offset from now.
void setOffset(ASN1_TIME* time, std::chrono::seconds offset);

Asn1IntegerPtr serialFromHex(const std::string& hex);

}  // namespace qx::lab

#endif
