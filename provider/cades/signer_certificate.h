#ifndef QX_PROVIDER_CADES_SIGNER_CERTIFICATE_H_
#define QX_PROVIDER_CADES_SIGNER_CERTIFICATE_H_

#include <span>

#include "platform/crypt_msg.h"

#include "provider/chain/name_index.h"
#include "provider/message/signed_data.h"
#include "provider/result.h"

namespace qx {

/// signerCertificate finds the certificate that a record, of which only parts of a certificate are
/// read, is about: among those that go into the message, with the signer's key, then in all stores of
/// the user and of the machine, "My" before the others. CRYPT_E_SIGNER_NOT_FOUND when it is nowhere,
/// E_INVALIDARG for a record without certificate.
Result<CertificatePtr> signerCertificate(const CMSG_SIGNER_ENCODE_INFO& record,
                                         std::span<const CertificatePtr> given);

/// signerCertificate finds the certificate that a signer names by his identifier and his signed
/// attributes: in the message, then in the stores as above. Errors: as findNamedSigner.
Result<CertificatePtr> signerCertificate(const SignedData& message, const SignerInfo& signer);

}  // namespace qx

#endif
