#ifndef QX_PROVIDER_CADES_SIGN_PARAMETERS_H_
#define QX_PROVIDER_CADES_SIGN_PARAMETERS_H_

#include <string>

#include "platform/cades.h"

#include "provider/result.h"

namespace qx {

/// timeStampUrl checks how a caller wants signatures enhanced, and gives the address of the time-stamp
/// server in UTF-8; empty when he names none. E_INVALIDARG for a missing or short record and for an
/// address that is no text or longer than 4096 bytes; ERROR_NOT_SUPPORTED for another type than X Long
/// type 1.
Result<std::string> timeStampUrl(const CADES_SIGN_PARA* parameters);

}  // namespace qx

#endif
