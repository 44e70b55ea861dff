#ifndef QX_PROVIDER_MESSAGE_KNOWN_CERTIFICATE_H_
#define QX_PROVIDER_MESSAGE_KNOWN_CERTIFICATE_H_

#include <initializer_list>
#include <memory>
#include <string_view>

#include "provider/message/signer_id.h"
#include "provider/store/certificate_data.h"

namespace qx {

/// isNamedBy tells whether a message's identifier names this certificate.
bool isNamedBy(const CertificateData& certificate, const SignerId& id);

/// knownCertificate finds the certificate that a message names in these system stores, the user's
/// before the machine's; null when there is none.
std::shared_ptr<const CertificateData> knownCertificate(
    const SignerId& id, std::initializer_list<std::string_view> stores);

}  // namespace qx

#endif
