#ifndef QX_PROVIDER_CADES_ESS_H_
#define QX_PROVIDER_CADES_ESS_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "provider/cades/certificate_ref.h"
#include "provider/message/attributes.h"

namespace qx {

/// signingCertificateType is the type of the attribute that names the signer's certificate by this hash:
/// SigningCertificate for SHA-1, SigningCertificateV2 for all others (RFC 5035, 3 and 5). It ends in NUL.
std::string_view signingCertificateType(HashAlgorithm hash);

/// signingCertificateValue makes the value of that attribute.
std::vector<std::uint8_t> signingCertificateValue(HashAlgorithm hash,
                                                  const CertificateData& certificate);

/// readSigningCertificate reads the certificates that a SigningCertificate or SigningCertificateV2
/// attribute names, the signer's first: never none. CRYPT_E_ASN1_... for malformed values,
/// CRYPT_E_ATTRIBUTES_MISSING when there is not exactly one value, or the attribute is of another type.
Result<std::vector<CertificateRef>> readSigningCertificate(const Attribute& attribute);

/// signerCertificateRefs reads what the signed attributes name as the signer's certificate: one reference
/// of each version that is there, and the certificate has to match them all. CRYPT_E_ATTRIBUTES_MISSING
/// when there is no such attribute.
Result<std::vector<CertificateRef>> signerCertificateRefs(const Attributes& signedAttributes);

}  // namespace qx

#endif
