#ifndef QX_PROVIDER_CHAIN_OCSP_SIGNER_H_
#define QX_PROVIDER_CHAIN_OCSP_SIGNER_H_

#include <ctime>
#include <functional>
#include <span>

#include "provider/chain/name_index.h"
#include "provider/chain/ocsp_data.h"

namespace qx {

/// What is needed to judge who signed an answer.
struct OcspSignerRules {
  /// Certificates among which the responder's is looked for, beside those in the answer.
  std::span<const CertificatePtr> certificates;
  /// When the responder's certificate must be valid, in seconds since 1970.
  std::time_t time = 0;
  /// Is a certificate of the same issuer known to be revoked?
  std::function<bool(const CertificateData&)> isRevoked;
};

/// isSignedFor tells whether an answer was signed by somebody who may speak about the certificates of
/// `issuer` (RFC 6960, 4.2.2.2): the issuer itself, or a responder that it certified for this usage.
/// A responder without id-pkix-ocsp-nocheck whose certificate names a place to look it up is not
/// listened to: the CRL that would tell about the responder tells about the certificate as well.
bool isSignedFor(const OcspData& answer,
                 const CertificateData& issuer,
                 const OcspSignerRules& rules);

}  // namespace qx

#endif
