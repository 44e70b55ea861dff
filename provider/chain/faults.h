#ifndef QX_PROVIDER_CHAIN_FAULTS_H_
#define QX_PROVIDER_CHAIN_FAULTS_H_

#include <cstdint>

#include "platform/cert_chain.h"

namespace qx {

/// Who carries the trust bits of a fault that libcrypto's verifier found at some depth.
enum class FaultPlace : std::uint8_t {
  Element,  ///< the certificate at that depth
  Subject,  ///< the one that the certificate at that depth signed
  Last,     ///< the last certificate of the chain
  End,      ///< the end certificate
  Chain,    ///< none: only the chain as a whole
};

struct FaultMeaning {
  int error;   ///< X509_V_ERR_...
  DWORD bits;  ///< CERT_TRUST_...
  FaultPlace place;
};

/// What is said when the revocation of a certificate could not be looked up.
inline constexpr DWORD kRevocationUnknown =
    CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION;

/// What is said about an extension that is critical and not understood.
inline constexpr DWORD kUnknownCriticalExtension =
    CERT_TRUST_INVALID_EXTENSION | CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT;

/// meaningOf maps a fault of libcrypto's verifier to trust bits. A fault that no row names is a
/// CERT_TRUST_INVALID_EXTENSION of its certificate: nothing unknown passes.
const FaultMeaning& meaningOf(int error);

}  // namespace qx

#endif
