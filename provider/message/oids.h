#ifndef QX_PROVIDER_MESSAGE_OIDS_H_
#define QX_PROVIDER_MESSAGE_OIDS_H_

#include <string_view>

namespace qx::oids {

/// Content types (RFC 5652) and attributes (RFC 5652, 11; RFC 5035).
inline constexpr std::string_view kData = "1.2.840.113549.1.7.1";
inline constexpr std::string_view kSignedData = "1.2.840.113549.1.7.2";
inline constexpr std::string_view kEnvelopedData = "1.2.840.113549.1.7.3";
inline constexpr std::string_view kDigestedData = "1.2.840.113549.1.7.5";
inline constexpr std::string_view kContentType = "1.2.840.113549.1.9.3";
inline constexpr std::string_view kMessageDigest = "1.2.840.113549.1.9.4";
inline constexpr std::string_view kSigningCertificate = "1.2.840.113549.1.9.16.2.12";
inline constexpr std::string_view kSigningCertificateV2 = "1.2.840.113549.1.9.16.2.47";

/// The MAC of encrypted content, an unprotected attribute (R 1323565.1.025-2019).
inline constexpr std::string_view kContentMac = "1.2.643.7.1.0.6.1.1";

/// Signature algorithms: the "signature" that is the bare hash (RFC 5272, 6.2), RSASSA-PSS (RFC 4055),
/// an elliptic curve key and its signatures (RFC 5758).
inline constexpr std::string_view kNoSignature = "1.3.6.1.5.5.7.6.2";
inline constexpr std::string_view kRsaPss = "1.2.840.113549.1.1.10";
inline constexpr std::string_view kEcPublicKey = "1.2.840.10045.2.1";

/// The made-up name under which a signer known by his key's identifier is shown.
inline constexpr std::string_view kKeyIdRdn = "1.3.6.1.4.1.311.10.7.1";

}  // namespace qx::oids

#endif
