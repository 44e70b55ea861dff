#ifndef QX_PROVIDER_CADES_REFERENCED_DATA_H_
#define QX_PROVIDER_CADES_REFERENCED_DATA_H_

#include <span>
#include <vector>

#include "provider/cades/validation_data.h"

namespace qx {

/// ReferencedData is the certificates, CRLs and OCSP answers that the references of a signature name.
struct ReferencedData {
  std::vector<CertificatePtr> certificates;
  std::vector<CrlPtr> crls;
  std::vector<OcspPtr> ocsp;
};

/// findReferenced finds what the references name among the values and what the message holds elsewhere
/// (RFC 5126, 6.3.3 and 6.3.4). CRYPT_E_NOT_FOUND when one names nothing of it.
Result<ReferencedData> findReferenced(const ValidationData& data,
                                      std::span<const CertificatePtr> certificates,
                                      std::span<const CrlPtr> crls);

}  // namespace qx

#endif
