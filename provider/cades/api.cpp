#include "provider/api.h"

#include "platform/cades.h"
#include "platform/errors.h"

#include "provider/cades/open_to_encode.h"

namespace {

using qx::fail;
using qx::Result;

// The messages are signed without enhancement so far; a caller learns it from each of these calls.
BOOL notOffered() {
  SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
  return FALSE;
}

}  // namespace

HCRYPTMSG CadesMsgOpenToEncode(DWORD dwMsgEncodingType,
                               DWORD dwFlags,
                               CADES_ENCODE_INFO* pvMsgEncodeInfo,
                               LPSTR pszInnerContentObjID,
                               PCMSG_STREAM_INFO pStreamInfo) {
  return qx::apiValue<HCRYPTMSG>([&]() -> Result<HCRYPTMSG> {
    if (pvMsgEncodeInfo == nullptr || pvMsgEncodeInfo->dwSize < sizeof *pvMsgEncodeInfo ||
        pvMsgEncodeInfo->pSignedEncodeInfo == nullptr) {
      return fail(E_INVALIDARG);
    }
    return qx::openToEncode(dwMsgEncodingType,
                            dwFlags,
                            *pvMsgEncodeInfo->pSignedEncodeInfo,
                            pszInnerContentObjID,
                            pStreamInfo);
  });
}

BOOL CadesMsgEnhanceSignature(HCRYPTMSG /*hCryptMsg*/,
                              DWORD /*dwSignatureIndex*/,
                              CADES_SIGN_PARA* /*pCadesSignPara*/) {
  return notOffered();
}

BOOL CadesMsgEnhanceSignatureAll(HCRYPTMSG /*hCryptMsg*/, CADES_SIGN_PARA* /*pCadesSignPara*/) {
  return notOffered();
}

BOOL CadesMsgAddEnhancedSignature(HCRYPTMSG /*hCryptMsg*/, CADES_ENHANCED_SIGN_PARA* /*pPara*/) {
  return notOffered();
}
