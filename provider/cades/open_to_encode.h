#ifndef QX_PROVIDER_CADES_OPEN_TO_ENCODE_H_
#define QX_PROVIDER_CADES_OPEN_TO_ENCODE_H_

#include "platform/crypt_msg.h"

#include "provider/result.h"

namespace qx {

/// openToEncode opens a signed message whose signers are CAdES-BES signers. Errors: those of
/// BesSigner::make and of CryptMsgOpenToEncode.
Result<HCRYPTMSG> openToEncode(DWORD encodingType,
                               DWORD flags,
                               const CMSG_SIGNED_ENCODE_INFO& info,
                               LPSTR innerContentType,
                               PCMSG_STREAM_INFO stream);

}  // namespace qx

#endif
