#ifndef QX_PROVIDER_CHAIN_PATH_CHECK_H_
#define QX_PROVIDER_CHAIN_PATH_CHECK_H_

#include <ctime>
#include <span>
#include <string>
#include <vector>

#include "platform/cert_chain.h"

#include "provider/chain/name_index.h"
#include "provider/chain/path_search.h"
#include "provider/chain/verify.h"
#include "provider/result.h"

namespace qx {

/// The trust bits of what is wrong with a path.
struct PathFaults {
  /// One for each certificate.
  std::vector<DWORD> elements;
  /// Those of the chain alone.
  DWORD chain = 0;
  /// What the chain is valid for (RFC 5280, 6.1.6), as its first authority names it: dotted OIDs.
  std::vector<std::string> policies;
};

/// checkPath runs libcrypto's verifier over exactly this path and tells every fault that it finds.
/// Dates that have passed, or not come yet, and revocation are not among them. Errors: E_OUTOFMEMORY.
Result<PathFaults> checkPath(const Path& path, std::time_t now);

/// countChecked is the number of certificates, from the end certificate upwards, whose revocation is
/// looked up.
std::size_t countChecked(const Path& path, RevocationScope revocation);

}  // namespace qx

#endif
