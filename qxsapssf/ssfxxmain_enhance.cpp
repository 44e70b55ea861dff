#include "qxsapssf/ssfxxmain_enhance.h"

#include <cstring>
#include <string>
#include <utility>

#include "platform/strings.h"

#include "qxsapssf/config/config.h"
#include "qxsapssf/encoding.h"
#include "qxsapssf/message_params.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr std::size_t kMaxAddressSize = 0x40000000;

/// To be called before anything is closed: closing may change the last error.
Enhancement failedAttempt() noexcept {
  return {.succeeded = false, .lastError = GetLastError()};
}

bool enhance(HCRYPTMSG message, int signerIndex, CADES_SIGN_PARA& para) noexcept {
  const BOOL enhanced =
      signerIndex < 0 ? CadesMsgEnhanceSignatureAll(message, &para)
                      : CadesMsgEnhanceSignature(message, static_cast<DWORD>(signerIndex), &para);
  return enhanced != FALSE;
}

}  // namespace

SAPRETURN TspService::setAddress(const char* address) noexcept {
  const std::size_t size = std::strlen(address) + 1;
  if (size >= kMaxAddressSize) {
    return SSF_API_ENCODE_ERROR;
  }
  wideAddress_ = OwnedBytes::allocate(size * sizeof(wchar_t));
  if (!wideAddress_) {
    return SSF_API_NO_MEMORY;
  }
  if (MultiByteToWideChar(CP_ACP,
                          /*dwFlags=*/0,
                          address,
                          /*cbMultiByte=*/-1,
                          wideAddress_.as<wchar_t>(),
                          static_cast<int>(size)) == 0) {
    return SSF_API_ENCODE_ERROR;
  }
  record_.dwSize = sizeof(record_);
  record_.wszUri = wideAddress_.as<wchar_t>();
  return SSF_API_OK;
}

CADES_SIGN_PARA cadesSignPara(CADES_TSP_SERVICE* service) noexcept {
  CADES_SIGN_PARA para{};
  para.dwSize = sizeof(para);
  para.dwCadesType = CADES_TYPE_X_LONG_1;
  para.pTspService = service;
  return para;
}

Enhancement EnhancePKCS7(OwnedBytes& message, const char* tspUrl, int signerIndex) noexcept {
  TspService service;
  OwnedBytes enhanced;
  Message handle(CryptMsgOpenToDecode(kEncoding,
                                      /*dwFlags=*/0,
                                      /*dwMsgType=*/0,
                                      /*hCryptProv=*/0,
                                      /*pRecipientInfo=*/nullptr,
                                      /*pStreamInfo=*/nullptr));
  if (!handle || CryptMsgUpdate(handle.get(),
                                message.data(),
                                static_cast<DWORD>(message.size()),
                                /*fFinal=*/TRUE) == FALSE) {
    return failedAttempt();
  }
  if (tspUrl != nullptr && service.setAddress(tspUrl) != SSF_API_OK) {
    return failedAttempt();
  }
  CADES_SIGN_PARA para = cadesSignPara(tspUrl == nullptr ? nullptr : service.record());
  if (!enhance(handle.get(), signerIndex, para) ||
      !fetchParam(handle.get(), CMSG_ENCODED_MESSAGE, /*index=*/0, enhanced)) {
    return failedAttempt();
  }
  // Until it is closed the handle reads the bytes that it was given.
  handle.close();
  message = std::move(enhanced);
  return {.succeeded = true, .lastError = 0};
}

SAPRETURN enhanceMessage(const char* function, OwnedBytes& message) noexcept {
  QX_TRACE(function, "#trace#: trying to enhance cades message with default TSP\n");
  Enhancement attempt = EnhancePKCS7(message, /*tspUrl=*/nullptr, kEverySignature);
  for (const std::string& server : gConfig.tspList) {
    if (attempt.succeeded) {
      break;
    }
    QX_TRACE(function,
             "#info#: Trying to enhance cades message with additional TSP = %s\n",
             TraceText(server.data(), static_cast<SsfOctetlen>(server.size())).c_str());
    attempt = EnhancePKCS7(message, server.c_str(), kEverySignature);
  }
  if (!attempt.succeeded) {
    QX_TRACE(function, "#error#: Failed to enhance cades message. res = 0x%x\n", attempt.lastError);
    return failedCall(function, SSF_API_ENCODE_ERROR);
  }
  return SSF_API_OK;
}

}  // namespace qx
