#ifndef QX_PROVIDER_CHAIN_PATH_SEARCH_H_
#define QX_PROVIDER_CHAIN_PATH_SEARCH_H_

#include <functional>
#include <vector>

#include "provider/chain/time_window.h"
#include "provider/chain/verify.h"

namespace qx {

/// A way from a certificate (the first) upwards.
struct Path {
  std::vector<CertificatePtr> certificates;
  /// The last certificate is self-signed and one of the trust source's roots.
  bool trusted = false;
  /// The last certificate's issuers stand in the path already.
  bool cyclic = false;
};

/// searchPaths finds the ways from the request's certificate to self-signed ones, or as far as they
/// lead: likely ones first, among issuers of one name those whose key fits the signature. `visit` is
/// given each and says whether to go on. The number of paths, of candidates and of signatures tried is
/// limited. `window` is narrowed by the dates of every certificate that was considered.
void searchPaths(const ChainRequest& request,
                 TimeWindow& window,
                 const std::function<bool(const Path&)>& visit);

/// isValidAt tells whether a time lies within a certificate's dates, both included.
bool isValidAt(const CertificateData& certificate, std::time_t time);

}  // namespace qx

#endif
