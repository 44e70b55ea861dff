#include "qxsapssf/message_input.h"

#include "qxsapssf/encoding.h"
#include "qxsapssf/qxsapssf_errors.h"

namespace qx {

bool openDecoder(const char* function,
                 DWORD flags,
                 Message& message,
                 std::source_location where) noexcept {
  message.reset(CryptMsgOpenToDecode(kEncoding,
                                     flags,
                                     /*dwMsgType=*/0,
                                     /*hCryptProv=*/0,
                                     /*pRecipientInfo=*/nullptr,
                                     /*pStreamInfo=*/nullptr));
  if (!message) {
    reportFailedCall(function, where);
  }
  return static_cast<bool>(message);
}

bool feedMessage(const char* function,
                 const Message& message,
                 const SAP_B8* bytes,
                 SsfOctetlen length,
                 std::source_location where) noexcept {
  if (CryptMsgUpdate(message.get(), bytes, static_cast<DWORD>(length), /*fFinal=*/TRUE) == FALSE) {
    reportFailedCall(function, where);
    return false;
  }
  return true;
}

}  // namespace qx
