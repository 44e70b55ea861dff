#ifndef QX_TOOLS_QXSSF_CHAIN_VIEW_H_
#define QX_TOOLS_QXSSF_CHAIN_VIEW_H_

#include <memory>

#include "platform/cert_chain.h"

#include "tools/qxssf/library.h"

namespace qx::ssf {

using ChainPtr = std::shared_ptr<const CERT_CHAIN_CONTEXT>;

/// chainOf builds the chain of a certificate as it stands now, with the flags of CertGetCertificateChain,
/// from the user's stores; empty when none can be built.
ChainPtr chainOf(const Library& library, const CERT_CONTEXT& certificate, DWORD flags);

}  // namespace qx::ssf

#endif
