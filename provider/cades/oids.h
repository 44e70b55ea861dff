#ifndef QX_PROVIDER_CADES_OIDS_H_
#define QX_PROVIDER_CADES_OIDS_H_

#include <string_view>

namespace qx::oids {

/// A signed attribute (RFC 5652, 11.3).
inline constexpr std::string_view kSigningTime = "1.2.840.113549.1.9.5";

/// The unsigned attributes of CAdES (RFC 5126, 6.1 to 6.3).
inline constexpr std::string_view kSignatureTimeStamp = "1.2.840.113549.1.9.16.2.14";
inline constexpr std::string_view kCertificateRefs = "1.2.840.113549.1.9.16.2.21";
inline constexpr std::string_view kRevocationRefs = "1.2.840.113549.1.9.16.2.22";
inline constexpr std::string_view kCertificateValues = "1.2.840.113549.1.9.16.2.23";
inline constexpr std::string_view kRevocationValues = "1.2.840.113549.1.9.16.2.24";
inline constexpr std::string_view kCadesCTimeStamp = "1.2.840.113549.1.9.16.2.25";

/// What is inside a time-stamp token, and what its signer's certificate is good for (RFC 3161, 2.3 and
/// 2.4.2).
inline constexpr std::string_view kTstInfo = "1.2.840.113549.1.9.16.1.4";
inline constexpr std::string_view kTimeStamping = "1.3.6.1.5.5.7.3.8";

}  // namespace qx::oids

#endif
