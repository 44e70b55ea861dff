#ifndef QX_PROVIDER_CHAIN_TRUST_STORES_H_
#define QX_PROVIDER_CHAIN_TRUST_STORES_H_

#include <memory>

#include "provider/chain/trust_source.h"
#include "provider/support/folders.h"

namespace qx {

using TrustSourcePtr = std::shared_ptr<const TrustSource>;

/// trustOf gives what the chains of a location are built from, as it is now: the stores "Root" and
/// "CA", their CRLs, the CRLs in the location's cache folder, and the system's roots when the
/// configuration says so (trust.system_roots). The current user's includes the local machine's. The
/// same object as long as nothing changed. What cannot be read is left out with a trace line: nothing
/// is trusted for being unreadable.
TrustSourcePtr trustOf(Location location);

}  // namespace qx

#endif
