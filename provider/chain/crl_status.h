#ifndef QX_PROVIDER_CHAIN_CRL_STATUS_H_
#define QX_PROVIDER_CHAIN_CRL_STATUS_H_

#include <optional>

#include "provider/chain/statement.h"

namespace qx {

/// readCrl tells what a CRL with the name of the certificate's issuer says about the certificate at a
/// moment; nothing when it is not about it (a trace line says why). A list with a critical extension
/// that is not understood, or out of its time, is not reliable.
std::optional<Statement> readCrl(const CrlPtr& crl,
                                 const CertificateData& subject,
                                 const RevocationMoment& moment);

/// isSignedBy tells whether an authority signed a CRL and may do so. MD2, MD4 and MD5 are no signature.
bool isSignedBy(const CrlData& crl, const CertificateData& issuer);

}  // namespace qx

#endif
