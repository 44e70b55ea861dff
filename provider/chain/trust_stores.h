#ifndef QX_PROVIDER_CHAIN_TRUST_STORES_H_
#define QX_PROVIDER_CHAIN_TRUST_STORES_H_

#include <map>
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

/// OneLook makes a call that judges several chains look at the folders once: as long as one exists, trustOf
/// tells its thread what it told it first, or what there is since lookAgain(). They may be nested; the
/// outermost counts.
class OneLook {
 public:
  OneLook();
  ~OneLook();
  OneLook(const OneLook&) = delete;
  OneLook& operator=(const OneLook&) = delete;
  OneLook(OneLook&&) = delete;
  OneLook& operator=(OneLook&&) = delete;

  TrustSourcePtr of(Location location);

  void forget() { seen_.clear(); }

 private:
  std::map<Location, TrustSourcePtr> seen_;
};

/// lookAgain is called by whoever changed a folder that trustOf looks at.
void lookAgain();

}  // namespace qx

#endif
