#ifndef QX_PROVIDER_CADES_FINDING_H_
#define QX_PROVIDER_CADES_FINDING_H_

#include "platform/cades.h"
#include "platform/errors.h"

namespace qx {

/// Finding is what a step of a verification came to: nothing wrong, or the state of the signature with
/// the last-error value that goes with it.
struct [[nodiscard]] Finding {
  DWORD status = CADES_STATUS_GOOD;
  DWORD error = ERROR_SUCCESS;

  bool isGood() const { return status == CADES_STATUS_GOOD; }
};

}  // namespace qx

#endif
