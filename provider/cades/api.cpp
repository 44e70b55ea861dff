#include "provider/api.h"

#include <cstdlib>

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

void release(void* memory) {
  std::free(memory);  // NOLINT(cppcoreguidelines-no-malloc): records for callers come from malloc
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

BOOL CadesMsgIsType(HCRYPTMSG /*hCryptMsg*/,
                    DWORD /*dwSignatureIndex*/,
                    DWORD /*dwCadesType*/,
                    BOOL* /*pbResult*/) {
  return notOffered();
}

BOOL CadesMsgGetCertificateValues(HCRYPTMSG /*hCryptMsg*/,
                                  DWORD /*dwSignatureIndex*/,
                                  CADES_BLOB_ARRAY** ppValues) {
  if (ppValues != nullptr) {
    *ppValues = nullptr;
  }
  return notOffered();
}

BOOL CadesFreeBlobArray(CADES_BLOB_ARRAY* pBlobArray) {
  if (pBlobArray != nullptr) {
    for (DWORD i = 0; i < pBlobArray->cBlob; ++i) {
      release(pBlobArray->pBlobs[i].pbData);
    }
    release(pBlobArray->pBlobs);
    release(pBlobArray);
  }
  return TRUE;
}
