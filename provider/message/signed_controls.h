#ifndef QX_PROVIDER_MESSAGE_SIGNED_CONTROLS_H_
#define QX_PROVIDER_MESSAGE_SIGNED_CONTROLS_H_

#include "platform/types.h"

#include "provider/message/decoded_signed.h"
#include "provider/result.h"

namespace qx {

/// controlSigned verifies or changes a signed message: CMSG_CTRL_VERIFY_SIGNATURE(_EX), CMSG_CTRL_ADD_
/// and DEL_ of SIGNER, SIGNER_UNAUTH_ATTR, CERT, CRL. CRYPT_E_INVALID_MSG_TYPE for other controls,
/// E_INVALIDARG for parameters that are missing or too short, else the errors of the work itself.
Result<void> controlSigned(DecodedSigned& message, DWORD type, const void* para);

}  // namespace qx

#endif
