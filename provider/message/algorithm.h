#ifndef QX_PROVIDER_MESSAGE_ALGORITHM_H_
#define QX_PROVIDER_MESSAGE_ALGORITHM_H_

#include <string_view>

#include "provider/der/values.h"
#include "provider/der/writer.h"
#include "provider/hash/hash.h"
#include "provider/message/one_piece.h"
#include "provider/message/param_output.h"
#include "provider/result.h"

namespace qx {

/// readHashAlgorithm reads the next element as a digestAlgorithm, readSignatureAlgorithm as a
/// signatureAlgorithm. CRYPT_E_ASN1_CORRUPT for parameters that no such algorithm has.
Result<der::AlgorithmIdentifier> readHashAlgorithm(der::Reader& reader);
Result<der::AlgorithmIdentifier> readSignatureAlgorithm(der::Reader& reader);

/// areParameters tells whether a caller's parameters are one element, or none.
bool areParameters(der::Bytes parameters);

/// layOutAlgorithm writes an algorithm as a record.
CRYPT_ALGORITHM_IDENTIFIER layOutAlgorithm(const der::AlgorithmIdentifier& algorithm,
                                           OnePiece& piece);

/// putAlgorithm writes an algorithm as the caller's record.
Result<void> putAlgorithm(const der::AlgorithmIdentifier& algorithm, ParamOutput& output);

/// encodeAlgorithm makes the AlgorithmIdentifier of an algorithm that the caller names. Empty parameters
/// are written as NULL, but for ECDSA signatures, which have none (RFC 5758, 3.2).
Result<der::Encoding> encodeAlgorithm(std::string_view oid, der::Bytes parameters);

/// encodeSignatureAlgorithm makes the signatureAlgorithm of a SignerInfo for a key with this public key
/// OID: ecdsa-with-SHA for elliptic curves (RFC 5753, 2.1.1), the key's own OID with NULL for the
/// others (RFC 4490, 3; RFC 3370, 3.2). An empty OID stands as it is.
Result<der::Encoding> encodeSignatureAlgorithm(std::string_view publicKeyOid, HashAlgorithm hash);

}  // namespace qx

#endif
