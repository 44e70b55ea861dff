#include <cstring>

#include "platform/cades.h"

#include "qxsapssf/config/config.h"
#include "qxsapssf/frame.h"
#include "qxsapssf/identity/signer.h"
#include "qxsapssf/message_input.h"
#include "qxsapssf/message_params.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/ssfxxmain_arguments.h"
#include "qxsapssf/ssfxxmain_enhance.h"
#include "qxsapssf/ssfxxmain_format.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr const char* kSsfAddSign = "SsfAddSign";

struct AddSignArguments {
  const SAP_B8* format;
  SsfOctetlen formatLength;
  bool includesCertificate;
  const SAP_B8* signedData;
  SsfOctetlen signedDataLength;
  const SAP_B8* input;
  SsfOctetlen inputLength;
  SigRcpSsfInformation* signer;
};

SAPRETURN checkArguments(const AddSignArguments& arguments, bool& isCades) noexcept {
  const SAPRETURN code =
      acceptFormat(kSsfAddSign, arguments.format, arguments.formatLength, isCades);
  if (code != SSF_API_OK) {
    return code;
  }
  if (arguments.signer == nullptr) {
    QX_TRACE(kSsfAddSign, "#error#: Empty signer structure\n");
    return SSF_API_SIGNER_ERROR;
  }
  if (arguments.signedDataLength <= 0) {
    QX_TRACE(kSsfAddSign, "#error#: ostrSignedDataL <= 0\n");
    return SSF_API_INVALID_INPUT;
  }
  if (arguments.inputLength < 0) {
    QX_TRACE(kSsfAddSign, "#error#: ostrInputDataL < 0\n");
    return SSF_API_INVALID_INPUT;
  }
  if (!hasInput(kSsfAddSign, arguments.signedData)) {
    return SSF_API_INVALID_INPUT;
  }
  return hasIdentity(*arguments.signer, kSsfAddSign) ? SSF_API_OK : SSF_API_SIGNER_ERROR;
}

/// The content that the caller gave, if any, must be the message's.
SAPRETURN compareContent(const AddSignArguments& arguments,
                         const Message& message,
                         DWORD size) noexcept {
  if (arguments.inputLength > 0 && !hasInput(kSsfAddSign, arguments.input)) {
    return SSF_API_INVALID_INPUT;
  }
  OwnedBytes content;
  const SAPRETURN code = readSizedParam(kSsfAddSign,
                                        message.get(),
                                        CMSG_CONTENT_PARAM,
                                        /*index=*/0,
                                        size,
                                        SSF_API_DECODE_ERROR,
                                        content);
  if (code != SSF_API_OK || arguments.inputLength == 0) {
    return code;
  }
  const auto inputSize = static_cast<std::size_t>(arguments.inputLength);
  if (content.size() != inputSize || std::memcmp(content.data(), arguments.input, inputSize) != 0) {
    QX_TRACE(kSsfAddSign, "#error#: Input data is different from content data\n");
    return SSF_API_INVALID_INPUT;
  }
  return SSF_API_OK;
}

/// Decodes the message to learn whether it brings its content along: `flags` is what it has to be opened
/// with from then on.
SAPRETURN examineMessage(const AddSignArguments& arguments, DWORD& flags) noexcept {
  Message message;
  if (!openDecoder(kSsfAddSign, /*flags=*/0, message)) {
    return SSF_API_NO_PROVIDER;
  }
  if (!feedMessage(kSsfAddSign, message, arguments.signedData, arguments.signedDataLength)) {
    return SSF_API_DECODE_ERROR;
  }
  DWORD size = 0;
  if (CryptMsgGetParam(message.get(), CMSG_CONTENT_PARAM, /*dwIndex=*/0, nullptr, &size) == FALSE) {
    return failedCall(kSsfAddSign, SSF_API_DECODE_ERROR);
  }
  if (size != 0) {
    flags = 0;
    return compareContent(arguments, message, size);
  }
  flags = CMSG_DETACHED_FLAG;
  if (arguments.input == nullptr || arguments.inputLength == 0) {
    QX_TRACE(kSsfAddSign, "#error#: No Input data\n");
    return SSF_API_INVALID_INPUT;
  }
  return SSF_API_OK;
}

SAPRETURN reopenMessage(const AddSignArguments& arguments, DWORD flags, Message& message) noexcept {
  QX_TRACE(kSsfAddSign, "#trace#: trying to add signature to message.\n");
  if (!openDecoder(kSsfAddSign, flags, message)) {
    return SSF_API_NO_PROVIDER;
  }
  if (!feedMessage(kSsfAddSign, message, arguments.signedData, arguments.signedDataLength)) {
    return SSF_API_INVALID_INPUT;
  }
  if (flags == CMSG_DETACHED_FLAG &&
      !feedMessage(kSsfAddSign, message, arguments.input, arguments.inputLength)) {
    return SSF_API_INVALID_INPUT;
  }
  return SSF_API_OK;
}

SAPRETURN addPlainSigner(const Message& message,
                         CMSG_SIGNER_ENCODE_INFO& slot,
                         PCCERT_CONTEXT included) noexcept {
  if (CryptMsgControl(message.get(), /*dwFlags=*/0, CMSG_CTRL_ADD_SIGNER, &slot) == FALSE) {
    reportFailedCall(kSsfAddSign);
    QX_TRACE(kSsfAddSign, "#error#: Failed to add signer to message.\n");
    return SSF_API_ENCODE_ERROR;
  }
  if (included != nullptr) {
    const CERT_BLOB blob{.cbData = included->cbCertEncoded, .pbData = included->pbCertEncoded};
    if (CryptMsgControl(message.get(), /*dwFlags=*/0, CMSG_CTRL_ADD_CERT, &blob) == FALSE) {
      reportFailedCall(kSsfAddSign);
      QX_TRACE(kSsfAddSign, "#error#: Failed to add certificate to message.\n");
      return SSF_API_ENCODE_ERROR;
    }
  }
  QX_TRACE(kSsfAddSign, "#info#: Signature is added to message.\n");
  return SSF_API_OK;
}

bool addEnhanced(const Message& message,
                 CMSG_SIGNER_ENCODE_INFO& slot,
                 CADES_TSP_SERVICE* service) noexcept {
  CADES_SIGN_PARA signPara = cadesSignPara(service);
  CADES_ENHANCED_SIGN_PARA para{};
  para.dwSize = sizeof(para);
  para.pSignerInfo = &slot;
  para.pCadesSignPara = &signPara;
  return CadesMsgAddEnhancedSignature(message.get(), &para) != FALSE;
}

SAPRETURN failedWithListedServer() noexcept {
  // Administrators know the line with this number, which has never told anything.
  QX_TRACE(
      kSsfAddSign, "#error#: Failed to add enhanced signature to cades message. res = 0x%x\n", 0U);
  return failedCall(kSsfAddSign, SSF_API_ENCODE_ERROR);
}

/// The failed attempt may have changed the message, so the second one works on a new handle. Unlike
/// SsfSign this operation tries one server of the list only.
SAPRETURN addWithListedServer(const AddSignArguments& arguments,
                              DWORD flags,
                              CMSG_SIGNER_ENCODE_INFO& slot,
                              Message& message) noexcept {
  const std::string& server = gConfig.tspList.front();
  QX_TRACE(kSsfAddSign,
           "#info#: Trying to enhance cades message with additional TSP = %s...\n",
           TraceText(server.data(), static_cast<SsfOctetlen>(server.size())).c_str());
  TspService service;
  SAPRETURN code = service.setAddress(server.c_str());
  if (code == SSF_API_NO_MEMORY) {
    return failedCall(kSsfAddSign, code);
  }
  if (code != SSF_API_OK) {
    return failedWithListedServer();
  }
  message.close();
  code = reopenMessage(arguments, flags, message);
  if (code != SSF_API_OK) {
    return code;
  }
  return addEnhanced(message, slot, service.record()) ? SSF_API_OK : failedWithListedServer();
}

SAPRETURN addCadesSigner(const AddSignArguments& arguments,
                         DWORD flags,
                         CMSG_SIGNER_ENCODE_INFO& slot,
                         Message& message) noexcept {
  QX_TRACE(kSsfAddSign, "#trace#: trying to add cades enhanced signature with default TSP...\n");
  if (!addEnhanced(message, slot, /*service=*/nullptr)) {
    if (gConfig.tspList.empty()) {
      reportFailedCall(kSsfAddSign);
      QX_TRACE(kSsfAddSign, "#error#: Failed to add enhanced signature to cades message.\n");
      return SSF_API_ENCODE_ERROR;
    }
    const SAPRETURN code = addWithListedServer(arguments, flags, slot, message);
    if (code != SSF_API_OK) {
      return code;
    }
  }
  QX_TRACE(kSsfAddSign, "#info#: Enhanced signature is added to cades message.\n");
  return SSF_API_OK;
}

SAPRETURN readEncoded(const Message& message, OwnedBytes& encoded) noexcept {
  DWORD size = 0;
  if (CryptMsgGetParam(message.get(), CMSG_ENCODED_MESSAGE, /*dwIndex=*/0, nullptr, &size) ==
      FALSE) {
    reportFailedCall(kSsfAddSign);
    QX_TRACE(kSsfAddSign, "#error#: Failed to extract encoded message size.\n");
    return SSF_API_ENCODE_ERROR;
  }
  const SAPRETURN code = readSizedParam(kSsfAddSign,
                                        message.get(),
                                        CMSG_ENCODED_MESSAGE,
                                        /*index=*/0,
                                        size,
                                        SSF_API_ENCODE_ERROR,
                                        encoded);
  if (code == SSF_API_ENCODE_ERROR) {
    QX_TRACE(kSsfAddSign, "#error#: Failed to extract encoded message.\n");
  }
  return code;
}

/// A message that was encoded, or could not be, leaves before the signer's certificate.
SAPRETURN encodeMessage(Message& message, OwnedBytes& encoded) noexcept {
  const SAPRETURN code = readEncoded(message, encoded);
  const bool isClosed = message.close();
  return code != SSF_API_OK || isClosed ? code : failedCall(kSsfAddSign, SSF_API_ENCODE_ERROR);
}

/// Selects the signer and makes the message with him in it. His certificate leaves before a message that
/// he could not be added to.
SAPRETURN addSigner(const AddSignArguments& arguments,
                    bool isCades,
                    DWORD flags,
                    OwnedBytes& encoded) {
  Message message;
  CMSG_SIGNER_ENCODE_INFO slot{};
  const Certificate certificate = selectSignerCertificate(
      *arguments.signer, /*number=*/0, kAddSignSelection, slot, /*certificates=*/nullptr);
  if (!certificate) {
    return SSF_API_SIGNER_ERROR;
  }
  SAPRETURN code = reopenMessage(arguments, flags, message);
  if (code == SSF_API_OK) {
    code = isCades
               ? addCadesSigner(arguments, flags, slot, message)
               : addPlainSigner(
                     message, slot, arguments.includesCertificate ? certificate.get() : nullptr);
  }
  return code == SSF_API_OK ? encodeMessage(message, encoded) : code;
}

SAPRETURN addSign(const AddSignArguments& arguments, SAP_B8** output, SsfOctetlen* outputLength) {
  bool isCades = false;
  DWORD flags = 0;
  OwnedBytes encoded;
  SAPRETURN code = checkArguments(arguments, isCades);
  if (code == SSF_API_OK) {
    code = examineMessage(arguments, flags);
  }
  if (code == SSF_API_OK) {
    code = addSigner(arguments, isCades, flags, encoded);
  }
  if (code == SSF_API_OK) {
    handOver(encoded, output, outputLength);
  }
  return code;
}

}  // namespace
}  // namespace qx

// NOLINTBEGIN(readability-non-const-parameter): the interface is published without const
SAPRETURN SsfAddSign(SAP_B8* format,
                     SsfOctetlen formatLength,
                     void* /*ignored3*/,
                     void* /*ignored4*/,
                     int includeCertificate,
                     SAP_B8* ostrSignedData,
                     SsfOctetlen ostrSignedDataL,
                     SAP_B8* ostrInputData,
                     SsfOctetlen ostrInputDataL,
                     SigRcpSsfInformation* signer,
                     SAP_B8** ostrOutputData,
                     SsfOctetlen* ostrOutputDataL) noexcept {
  return qx::runOperation(qx::kSsfAddSign, [&](qx::Frame& /*frame*/) -> SAPRETURN {
    if (!qx::clearOutput(qx::kSsfAddSign, ostrOutputData, ostrOutputDataL)) {
      return SSF_API_INVALID_INPUT;
    }
    return qx::addSign({.format = format,
                        .formatLength = formatLength,
                        .includesCertificate = qx::isSet(includeCertificate),
                        .signedData = ostrSignedData,
                        .signedDataLength = ostrSignedDataL,
                        .input = ostrInputData,
                        .inputLength = ostrInputDataL,
                        .signer = signer},
                       ostrOutputData,
                       ostrOutputDataL);
  });
}

// NOLINTEND(readability-non-const-parameter)
