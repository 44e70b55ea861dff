#ifndef QX_PROVIDER_CADES_ENHANCE_H_
#define QX_PROVIDER_CADES_ENHANCE_H_

#include <cstddef>

#include "provider/cades/time_stamp_service.h"
#include "provider/chain/name_index.h"
#include "provider/chain/network.h"
#include "provider/message/signed_data.h"
#include "provider/result.h"

namespace qx {

/// enhancedSigner makes a signer's signature one of CAdES-X Long type 1 (RFC 5126, 4.4.3.1): it gets a
/// time stamp, references to the certificates and revocation data that prove it, the data themselves,
/// and a time stamp over all that. The chains have to be good now. `signer` is in the message or is
/// about to be; `certificate` is his, null when it has to be found (signerCertificate). What tells about
/// revocation comes from `network` as far as it may.
///
/// Errors: CRYPT_E_EXISTS when some of these attributes are there already; those of signerCertificate,
/// of judgeChain and of the service; CRYPT_E_ASN1_LARGE above kMaxAttributes.
Result<SignerInfo> enhancedSigner(const SignedData& message,
                                  const SignerInfo& signer,
                                  CertificatePtr certificate,
                                  TimeStampService& service,
                                  Network& network);

/// enhance does this to a signer of the message; one who has everything already is left alone.
/// CRYPT_E_INVALID_INDEX.
Result<void> enhance(SignedData& message, std::size_t index, TimeStampService& service);

/// enhanceAll does it to all signers, or to none when it fails for one.
Result<void> enhanceAll(SignedData& message, TimeStampService& service);

}  // namespace qx

#endif
