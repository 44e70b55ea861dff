#ifndef QX_PROVIDER_CADES_VALIDATION_DATA_H_
#define QX_PROVIDER_CADES_VALIDATION_DATA_H_

#include <cstddef>
#include <vector>

#include "provider/cades/finding.h"
#include "provider/cades/references.h"
#include "provider/cades/time_stamp_token.h"
#include "provider/chain/ocsp_data.h"
#include "provider/message/signer_info.h"

namespace qx {

/// The most time stamps, and the most references, that one signature may carry. A chain and what
/// speaks about its revocation need far fewer.
inline constexpr std::size_t kMaxStamps = 32;
inline constexpr std::size_t kMaxReferences = 128;

/// ValidationData is what the unsigned attributes of a signer carry for whoever verifies him later
/// (RFC 5126, 6.1 to 6.3), over the signer's own bytes. Nothing of it is proved.
struct ValidationData {
  /// Signature time stamps, in their order.
  std::vector<TimeStampToken> signatureStamps;
  /// Whether there are references and values: all of them, or none.
  bool isLong = false;
  std::vector<CertificateRef> certificateRefs;
  std::vector<RevocationRef> revocationRefs;
  std::vector<CertificatePtr> certificates;
  std::vector<CrlPtr> crls;
  std::vector<OcspPtr> ocsp;
  /// CAdES-C time stamps; only with references and values.
  std::vector<TimeStampToken> cadesCStamps;
};

/// readValidationData reads the attributes into `data`. What is malformed, repeated though it may not be,
/// or goes beyond a limit, and what is missing beside what is there, is found with the status of that
/// attribute: CADES_STATUS_SIGNATURE_STAMP, _CADES_C_STAMP, _REVOCATION_VALUES, and _REFERENCES for
/// references and certificate values.
Finding readValidationData(const SignerInfo& signer, ValidationData& data);

}  // namespace qx

#endif
