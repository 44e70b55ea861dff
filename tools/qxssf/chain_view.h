#ifndef QX_TOOLS_QXSSF_CHAIN_VIEW_H_
#define QX_TOOLS_QXSSF_CHAIN_VIEW_H_

#include <memory>

#include "platform/cert_chain.h"

#include "tools/qxssf/library.h"

namespace qx::ssf {

using ChainPtr = std::shared_ptr<const CERT_CHAIN_CONTEXT>;

/// verifyFlags are the flags with which SsfVerify checks a chain.
DWORD verifyFlags();

/// chainOf builds the chain of a certificate as it stands now, with the flags of CertGetCertificateChain,
/// from the user's stores and, for building alone, from `more`; empty when none can be built.
ChainPtr chainOf(const Library& library,
                 const CERT_CONTEXT& certificate,
                 DWORD flags,
                 HCERTSTORE more = nullptr);

}  // namespace qx::ssf

#endif
