#ifndef QX_PROVIDER_CADES_TIME_STAMP_REQUEST_H_
#define QX_PROVIDER_CADES_TIME_STAMP_REQUEST_H_

#include <array>
#include <cstdint>
#include <vector>

#include "provider/der/tag.h"
#include "provider/hash/hash.h"
#include "provider/result.h"

namespace qx {

inline constexpr std::size_t kNonceLength = 8;

/// TimeStampRequest is what a time-stamp authority is asked (RFC 3161, 2.4.1): version 1, an imprint,
/// no policy, a random nonce, and the authority's certificate in the answer.
struct TimeStampRequest {
  /// The DER of the nonce's INTEGER content octets: positive, without redundant octets.
  std::vector<std::uint8_t> nonce;
  /// The TimeStampReq.
  std::vector<std::uint8_t> der;
};

/// makeTimeStampRequest asks for a stamp over a hash. NTE_BAD_HASH when the imprint has not the length
/// of the algorithm's hashes; NTE_FAIL without random bytes.
Result<TimeStampRequest> makeTimeStampRequest(HashAlgorithm algorithm, der::Bytes imprint);

/// readTimeStampResponse reads a TimeStampResp (RFC 3161, 2.4.2) and gives its TimeStampToken, a slice
/// of `response`, when the status is granted or grantedWithMods. Errors: ERROR_REQUEST_REFUSED for
/// another status, with the authority's words in a trace line; TRUST_E_TIME_STAMP for a granted answer
/// without a token; CRYPT_E_ASN1_* when it is no TimeStampResp.
Result<der::Bytes> readTimeStampResponse(der::Bytes response);

}  // namespace qx

#endif
