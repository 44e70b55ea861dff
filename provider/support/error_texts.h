#ifndef QX_PROVIDER_SUPPORT_ERROR_TEXTS_H_
#define QX_PROVIDER_SUPPORT_ERROR_TEXTS_H_

#include "platform/types.h"

namespace qx {

/// errorText is the English text of a last-error value, in ASCII, without the full stop and the line
/// end; null when there is none.
const char* errorText(DWORD code);

}  // namespace qx

#endif
