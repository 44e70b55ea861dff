#ifndef QX_PROVIDER_CADES_NAMED_SIGNER_H_
#define QX_PROVIDER_CADES_NAMED_SIGNER_H_

#include <span>
#include <string_view>
#include <vector>

#include "provider/cades/certificate_ref.h"
#include "provider/chain/verify.h"
#include "provider/message/content.h"
#include "provider/message/signer_info.h"
#include "provider/result.h"

namespace qx {

/// findSigner gives the first candidate that the signer's identifier names; null when there is none.
CertificatePtr findSigner(const SignerInfo& signer, std::span<const CertificatePtr> candidates);

/// isNamedSigner tells whether the signer's identifier and all these references name a certificate.
bool isNamedSigner(const CertificateData& certificate,
                   const SignerInfo& signer,
                   std::span<const CertificateRef> refs);

/// findNamedSigner gives the candidate that the signer's identifier and his signed signing-certificate
/// attributes name. CRYPT_E_ATTRIBUTES_MISSING when there is no such attribute, CRYPT_E_ASN1_... for a
/// malformed one, CRYPT_E_SIGNER_NOT_FOUND when no candidate is named.
Result<CertificatePtr> findNamedSigner(const SignerInfo& signer,
                                       std::span<const CertificatePtr> candidates);

/// allowsChain tells whether the signer's attributes allow this chain of his: one that names more
/// certificates than his own allows no others (RFC 5035, 5.4), but for the root that ends the chain.
bool allowsChain(const SignerInfo& signer, const std::vector<ChainElement>& chain);

/// verifyByCertificate is verifySigner with the key of a certificate.
Result<void> verifyByCertificate(const SignerInfo& signer,
                                 std::string_view contentType,
                                 MessageContent& content,
                                 const CertificateData& certificate);

}  // namespace qx

#endif
