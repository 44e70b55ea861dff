#ifndef QX_PROVIDER_STORE_COMPUTED_VALUE_H_
#define QX_PROVIDER_STORE_COMPUTED_VALUE_H_

#include <cstdint>
#include <vector>

#include "provider/result.h"
#include "provider/store/certificate_data.h"

namespace qx {

/// computedValue gives the value of a property that follows from the certificate: its hashes
/// (CERT_SHA1_HASH_PROP_ID, ..._MD5_..., ..._SHA256_...: the whole certificate;
/// CERT_SIGNATURE_HASH_PROP_ID: the signed part, by the hash of its signature's algorithm) and
/// CERT_KEY_IDENTIFIER_PROP_ID (what its subject key identifier says, else SHA-1 over its
/// SubjectPublicKeyInfo). CRYPT_E_NOT_FOUND for other properties and an unknown algorithm,
/// ERROR_INVALID_DATA for a damaged extension.
Result<std::vector<std::uint8_t>> computedValue(const CertificateData& certificate,
                                                DWORD propertyId);

}  // namespace qx

#endif
