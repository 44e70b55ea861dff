#include <cstring>
#include <string_view>

#include "qxsapssf/identity/profile.h"
#include "qxsapssf/message_input.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/ssfxxmain_arguments.h"
#include "qxsapssf/ssfxxmain_format.h"
#include "qxsapssf/ssfxxmain_verify.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

SAPRETURN checkArguments(const VerifyArguments& arguments, bool& isCades) noexcept {
  const SAPRETURN code =
      acceptFormat(kVerifyName, arguments.format, arguments.formatLength, isCades);
  if (code != SSF_API_OK) {
    return code;
  }
  if (arguments.signedDataLength <= 0) {
    QX_TRACE(kVerifyName, "#error#: ostrSignedDataL <= 0\n");
    return SSF_API_INVALID_INPUT;
  }
  if (arguments.inputLength < 0) {
    QX_TRACE(kVerifyName, "#error#: ostrInputDataL < 0\n");
    return SSF_API_INVALID_INPUT;
  }
  return hasInput(kVerifyName, arguments.signedData) ? SSF_API_OK : SSF_API_INVALID_INPUT;
}

SAPRETURN decode(const VerifyArguments& arguments, Message& message) noexcept {
  if (!openDecoder(kVerifyName, /*flags=*/0, message)) {
    return SSF_API_NO_PROVIDER;
  }
  if (!feedMessage(kVerifyName, message, arguments.signedData, arguments.signedDataLength)) {
    QX_TRACE(kVerifyName, "#error#: Invalid message format?.\n");
    return SSF_API_DECODE_ERROR;
  }
  return SSF_API_OK;
}

/// PKCS7_ANY is told apart from PKCS7 by the first signer of the message.
void detectCades(const VerifyArguments& arguments, SignedMessage& message) noexcept {
  if (message.isCades || viewOf(arguments.format, arguments.formatLength) != "PKCS7_ANY") {
    return;
  }
  BOOL isXLong = FALSE;
  if (CadesMsgIsType(message.handle.get(), /*dwSignatureIndex=*/0, CADES_TYPE_X_LONG_1, &isXLong) ==
      FALSE) {
    reportFailedCall(kVerifyName);
    isXLong = FALSE;
  }
  message.isCades = isXLong != FALSE;
  QX_TRACE(kVerifyName,
           "#info#: Checking for PKCS7_ANY format. isCades = %d\n",
           static_cast<int>(message.isCades));
}

/// The message is decoded again, with the content that the caller gave, of which he gets a copy.
SAPRETURN takeDetached(const VerifyArguments& arguments, SignedMessage& message) noexcept {
  QX_TRACE(kVerifyName, "#info#: Detached dignature!\n");
  if (arguments.input == nullptr || arguments.inputLength == 0) {
    message.handle.close();
    QX_TRACE(kVerifyName, "#error#: No input data while verifying detached signature\n");
    return SSF_API_INVALID_INPUT;
  }
  OwnedBytes copy =
      OwnedBytes::copyOf(arguments.input, static_cast<std::size_t>(arguments.inputLength));
  if (!copy) {
    return failedCall(kVerifyName, SSF_API_NO_MEMORY);
  }
  handOver(copy, arguments.output, arguments.outputLength);
  message.handle.close();
  if (!openDecoder(kVerifyName, CMSG_DETACHED_FLAG, message.handle)) {
    return SSF_API_NO_PROVIDER;
  }
  if (!feedMessage(kVerifyName, message.handle, arguments.signedData, arguments.signedDataLength)) {
    QX_TRACE(kVerifyName, "#error#: failed to decode Detached dignature!\n");
    return SSF_API_DECODE_ERROR;
  }
  if (!feedMessage(kVerifyName, message.handle, arguments.input, arguments.inputLength)) {
    QX_TRACE(kVerifyName, "#error#: failed to encode source data for Detached dignature!\n");
    return SSF_API_DECODE_ERROR;
  }
  return SSF_API_OK;
}

/// The content is read into the caller's buffer at once, which is his from its allocation on.
SAPRETURN takeAttached(const VerifyArguments& arguments,
                       const Message& message,
                       DWORD size) noexcept {
  if (size > INT32_MAX) {
    QX_TRACE(kVerifyName, "#error#: %u bytes are more than a length can tell\n", size);
    return SSF_API_DECODE_ERROR;
  }
  OwnedBytes content = OwnedBytes::allocate(size);
  if (!content) {
    return failedCall(kVerifyName, SSF_API_NO_MEMORY);
  }
  *arguments.output = content.release();
  DWORD read = size;
  if (CryptMsgGetParam(
          message.get(), CMSG_CONTENT_PARAM, /*dwIndex=*/0, *arguments.output, &read) == FALSE ||
      read > size) {
    reportFailedCall(kVerifyName);
    QX_TRACE(kVerifyName, "#error#: failed to extract content from signed message!\n");
    return SSF_API_DECODE_ERROR;
  }
  *arguments.outputLength = static_cast<SsfOctetlen>(read);
  return SSF_API_OK;
}

SAPRETURN takeContent(const VerifyArguments& arguments, SignedMessage& message) noexcept {
  // A message without content answers nothing or fails: both mean that the content comes apart.
  DWORD size = 0;
  static_cast<void>(
      CryptMsgGetParam(message.handle.get(), CMSG_CONTENT_PARAM, /*dwIndex=*/0, nullptr, &size));
  message.isAttached = size != 0;
  if (!message.isAttached) {
    return takeDetached(arguments, message);
  }
  if (arguments.inputLength > 0 && !hasInput(kVerifyName, arguments.input)) {
    return SSF_API_INVALID_INPUT;
  }
  return takeAttached(arguments, message.handle, size);
}

SAPRETURN countSigners(SignedMessage& message) noexcept {
  DWORD size = sizeof(message.signerCount);
  if (CryptMsgGetParam(message.handle.get(),
                       CMSG_SIGNER_COUNT_PARAM,
                       /*dwIndex=*/0,
                       &message.signerCount,
                       &size) == FALSE) {
    reportFailedCall(kVerifyName);
    QX_TRACE(kVerifyName, "#error#: failed to get signer count from message!\n");
    return SSF_API_INVALID_FORMAT;
  }
  if (message.signerCount == 0) {
    QX_TRACE(kVerifyName, "#error#: Signers not found in message!\n");
    ErrorHandleEx(kMainUnit, __LINE__, kNoSignatureMessage, nullptr);
    return SSF_API_SIGNER_ERROR;
  }
  return SSF_API_OK;
}

}  // namespace

SAPRETURN openSignedMessage(const VerifyArguments& arguments, SignedMessage& message) noexcept {
  SAPRETURN code = checkArguments(arguments, message.isCades);
  if (code == SSF_API_OK) {
    code = decode(arguments, message.handle);
  }
  if (code != SSF_API_OK) {
    return code;
  }
  detectCades(arguments, message);
  code = takeContent(arguments, message);
  return code == SSF_API_OK ? countSigners(message) : code;
}

}  // namespace qx
