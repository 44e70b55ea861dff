#ifndef QX_PROVIDER_CHAIN_OCSP_STATUS_H_
#define QX_PROVIDER_CHAIN_OCSP_STATUS_H_

#include <optional>

#include "provider/chain/statement.h"

namespace qx {

/// readAnswer tells what an answer says about a certificate at a moment (RFC 6960, 4.2.1); nothing when
/// it is not about it, or does not know it. An answer with a critical extension that is not understood,
/// or out of its time, is not reliable. An answer without nextUpdate is about its own moment only, kClockSkew
/// long.
std::optional<Statement> readAnswer(const OcspPtr& answer,
                                    const CertificateData& subject,
                                    const CertificateData& issuer,
                                    const RevocationMoment& moment);

}  // namespace qx

#endif
