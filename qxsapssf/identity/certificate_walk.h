#ifndef QX_QXSAPSSF_IDENTITY_CERTIFICATE_WALK_H_
#define QX_QXSAPSSF_IDENTITY_CERTIFICATE_WALK_H_

#include "qxsapssf/identity/identity.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"

namespace qx {

/// CertificateWalk visits the certificates of a store that an identity names, in the store's order. All
/// operations search signers and recipients with it.
class CertificateWalk {
 public:
  /// The store and the identity outlive the walk. A certificate whose subject does not parse is told
  /// under the name of the operation, and sets the record's result.
  CertificateWalk(const Store& store,
                  const Identity& identity,
                  SigRcpSsfInformation& record,
                  const char* function) noexcept
      : store_(&store), identity_(&identity), record_(&record), function_(function) {}

  /// next gives the next certificate that is named; NULL at the end. The walk keeps it until the
  /// following call.
  PCCERT_CONTEXT next();

  /// take hands the present certificate out.
  Certificate take() noexcept { return std::move(candidate_); }

 private:
  const Store* store_;
  const Identity* identity_;
  SigRcpSsfInformation* record_;
  const char* function_;
  Certificate candidate_;
};

}  // namespace qx

#endif
