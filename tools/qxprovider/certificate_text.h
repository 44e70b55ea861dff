#ifndef QX_TOOLS_QXPROVIDER_CERTIFICATE_TEXT_H_
#define QX_TOOLS_QXPROVIDER_CERTIFICATE_TEXT_H_

#include <string>

#include <nlohmann/json.hpp>

#include "platform/cert.h"

#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"

namespace qx::admin {

/// nameText writes a name as signers are named by it: "CN=Ivan Petrov, O=Bank, C=RU".
std::string nameText(const CERT_NAME_BLOB& name);

std::string thumbprintText(const CertificateData& certificate);

/// certificateFacts and crlFacts are what lists show.
nlohmann::ordered_json certificateFacts(const CertificateData& certificate);
nlohmann::ordered_json crlFacts(const CrlData& crl);

}  // namespace qx::admin

#endif
