#ifndef QX_PROVIDER_MESSAGE_LIMITS_H_
#define QX_PROVIDER_MESSAGE_LIMITS_H_

#include <cstddef>

namespace qx {

/// The most that a message may hold; what goes beyond is refused, when decoding with
/// CRYPT_E_ASN1_LARGE, when encoding with E_INVALIDARG.
inline constexpr std::size_t kMaxSize = 2'147'483'647;  ///< bytes of anything
inline constexpr std::size_t kMaxSigners = 1'000;
inline constexpr std::size_t kMaxRecipients = 1'000;
inline constexpr std::size_t kMaxCertificates = 10'000;  ///< and as many CRLs
inline constexpr std::size_t kMaxAttributes = 64;  ///< of a signer, signed and unsigned together

}  // namespace qx

#endif
