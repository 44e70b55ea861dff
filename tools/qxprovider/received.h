#ifndef QX_TOOLS_QXPROVIDER_RECEIVED_H_
#define QX_TOOLS_QXPROVIDER_RECEIVED_H_

#include <memory>
#include <string>
#include <vector>

#include "provider/store/certificate_data.h"
#include "provider/store/store_name.h"
#include "tools/common/report.h"

namespace qx::admin {

// Certificates that came from somebody else, with a key or in an authority's answer.

/// readAnswer reads the certificates of a file: PEM (any number of certificates and of PKCS#7), or DER
/// of one certificate or PKCS#7. Signatures of PKCS#7 are not looked at. Throws ToolError (Input).
std::vector<std::shared_ptr<const CertificateData>> readAnswer(const std::string& path);

/// putCertificate puts a certificate into a store and reports it.
void putCertificate(const StoreName& store,
                    const CertificateData& certificate,
                    tools::Report& report);

/// isSelfIssued tells whether subject and issuer are one.
bool isSelfIssued(const CertificateData& certificate);

/// isAuthority tells whether a certificate says that it may issue others.
bool isAuthority(const CertificateData& certificate);

}  // namespace qx::admin

#endif
