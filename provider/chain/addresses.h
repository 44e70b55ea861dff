#ifndef QX_PROVIDER_CHAIN_ADDRESSES_H_
#define QX_PROVIDER_CHAIN_ADDRESSES_H_

#include <string>
#include <vector>

#include "provider/store/certificate_data.h"

namespace qx {

/// How many addresses of a kind are read of one certificate.
inline constexpr std::size_t kMaxAddresses = 4;

// What a certificate says where to ask about it: http and https addresses in the order in which they
// stand, at most kMaxAddresses. They are whatever somebody wrote: nothing but the scheme is checked.

/// Of OCSP responders (RFC 5280, 4.2.2.1).
std::vector<std::string> responderAddresses(const CertificateData& certificate);

/// Of the issuer's certificate (RFC 5280, 4.2.2.1).
std::vector<std::string> issuerAddresses(const CertificateData& certificate);

/// Of CRLs that its issuer makes about all reasons (RFC 5280, 4.2.1.13).
std::vector<std::string> crlAddresses(const CertificateData& certificate);

}  // namespace qx

#endif
