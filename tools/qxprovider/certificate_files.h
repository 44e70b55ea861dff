#ifndef QX_TOOLS_QXPROVIDER_CERTIFICATE_FILES_H_
#define QX_TOOLS_QXPROVIDER_CERTIFICATE_FILES_H_

#include <memory>
#include <string>
#include <vector>

#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"

namespace qx::admin {

/// readCertificates reads the certificates of a file, PEM (any number) or DER (one). readCrls does
/// the same for CRLs. Throws ToolError (Input), naming the file, when there is none or one is bad.
std::vector<std::shared_ptr<const CertificateData>> readCertificates(const std::string& path);
std::vector<std::shared_ptr<const CrlData>> readCrls(const std::string& path);

/// certificatePem is the PEM text of a certificate.
std::string certificatePem(const CertificateData& certificate);

}  // namespace qx::admin

#endif
