#include "provider/api.h"

#include "platform/cades.h"
#include "platform/errors.h"

#include "provider/cades/open_to_encode.h"

namespace {

using qx::fail;
using qx::Result;

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
