#ifndef QX_PROVIDER_CADES_IMPRINT_H_
#define QX_PROVIDER_CADES_IMPRINT_H_

#include <vector>

#include "provider/hash/hash.h"
#include "provider/message/signer_info.h"
#include "provider/result.h"

namespace qx {

/// What a time stamp covers, in order and as it stands in the message, over the signer's own bytes.
using Stamped = std::vector<der::Bytes>;

/// stampedBySignatureStamp is the octets of the signature value (RFC 5126, 6.1.1).
Stamped stampedBySignatureStamp(const SignerInfo& signer);

/// stampedByCadesCStamp is the octets of the signature value, then signature-time-stamp,
/// complete-certificate-references and complete-revocation-references, each as its type and its set of
/// values without the SEQUENCE around them (RFC 5126, 6.3.5). Several signature-time-stamp attributes
/// come in the order of the message. CRYPT_E_ATTRIBUTES_MISSING when one of the three is not there.
Result<Stamped> stampedByCadesCStamp(const SignerInfo& signer);

/// imprintOf hashes what a time stamp covers.
HashValue imprintOf(HashAlgorithm hash, const Stamped& stamped);

}  // namespace qx

#endif
