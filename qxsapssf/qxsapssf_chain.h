#ifndef QX_QXSAPSSF_QXSAPSSF_CHAIN_H_
#define QX_QXSAPSSF_QXSAPSSF_CHAIN_H_

#include "platform/cert.h"

namespace qx {

/// VerifyCertificate builds the chain of a certificate as of now, with `flags` (CERT_CHAIN_...). Answers
/// 0 with the chain's error bits in *chainStatus. When no chain could be built it reports why, answers
/// the last error (which may be 0) and sets CERT_TRUST_REVOCATION_STATUS_UNKNOWN. The certificate is
/// good only when both are 0.
DWORD VerifyCertificate(PCCERT_CONTEXT certificate, DWORD flags, DWORD* chainStatus) noexcept;

}  // namespace qx

#endif
