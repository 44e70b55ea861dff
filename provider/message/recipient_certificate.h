#ifndef QX_PROVIDER_MESSAGE_RECIPIENT_CERTIFICATE_H_
#define QX_PROVIDER_MESSAGE_RECIPIENT_CERTIFICATE_H_

#include <memory>

#include "provider/der/tag.h"
#include "provider/store/certificate_data.h"

namespace qx {

/// certificateByKeyId finds the certificate with a subject key identifier in the store "My", the
/// user's before the machine's; null when there is none.
std::shared_ptr<const CertificateData> certificateByKeyId(der::Bytes keyId);

}  // namespace qx

#endif
