#ifndef QX_PROVIDER_CADES_VALUES_H_
#define QX_PROVIDER_CADES_VALUES_H_

#include <cstdint>
#include <span>
#include <vector>

#include "provider/chain/verify.h"
#include "provider/message/attributes.h"

namespace qx {

/// RevocationValues is what a revocation-values attribute holds, over the bytes it was read from.
struct RevocationValues {
  std::vector<der::Bytes> crls;  ///< each a whole CertificateList
  std::vector<der::Bytes> ocsp;  ///< each a whole BasicOCSPResponse
};

/// encodeCertificateValues makes certificate-values (RFC 5126, 6.3.3), each certificate once.
std::vector<std::uint8_t> encodeCertificateValues(std::span<const CertificatePtr> certificates);

/// readCertificateValues reads certificate-values: whole elements that were not parsed. Errors:
/// CRYPT_E_ASN1_... for malformed values, CRYPT_E_ASN1_LARGE above kMaxCertificates,
/// CRYPT_E_ATTRIBUTES_MISSING when there is not exactly one value.
Result<std::vector<der::Bytes>> readCertificateValues(const Attribute& attribute);

/// encodeRevocationValues makes revocation-values (RFC 5126, 6.3.4), each CRL and OCSP answer once.
std::vector<std::uint8_t> encodeRevocationValues(std::span<const RevocationEvidence> evidence);

/// readRevocationValues reads revocation-values; other kinds of revocation data are left out. Errors:
/// as readCertificateValues.
Result<RevocationValues> readRevocationValues(const Attribute& attribute);

}  // namespace qx

#endif
