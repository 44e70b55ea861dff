#ifndef QX_PROVIDER_CHAIN_TRUST_ERROR_H_
#define QX_PROVIDER_CHAIN_TRUST_ERROR_H_

#include "platform/types.h"

#include "provider/result.h"

namespace qx {

/// trustError turns CERT_TRUST_ error bits into one last-error value, that of the worst fault; success
/// when there is none.
Result<void> trustError(DWORD errors);

}  // namespace qx

#endif
