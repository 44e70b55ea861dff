#include "platform/cert.h"
#include "platform/crypt_msg.h"

#include "qxsapssf/encoding.h"
#include "qxsapssf/frame.h"
#include "qxsapssf/identity/profile.h"
#include "qxsapssf/identity/signer.h"
#include "qxsapssf/message_input.h"
#include "qxsapssf/message_params.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/ssfxxmain_arguments.h"
#include "qxsapssf/ssfxxmain_format.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr const char* kSsfDevelope = "SsfDevelope";
constexpr DWORD kNoRecipient = 0xFFFFFFFF;

struct DevelopeArguments {
  const SAP_B8* format;
  SsfOctetlen formatLength;
  const SAP_B8* envelopedData;
  SsfOctetlen envelopedDataLength;
  SigRcpSsfInformation* recipient;
};

SAPRETURN checkArguments(const DevelopeArguments& arguments) noexcept {
  const SAPRETURN code = checkFormat(arguments.format, arguments.formatLength);
  if (code != SSF_API_OK) {
    return code;
  }
  if (arguments.recipient == nullptr) {
    QX_TRACE(kSsfDevelope, "#error#: Empty recipient structire\n");
    return SSF_API_RECIPIENT_ERROR;
  }
  if (arguments.envelopedDataLength < 1) {
    QX_TRACE(kSsfDevelope, "#error#: ostrEnvelopedDataL <= 0\n");
    return SSF_API_INVALID_INPUT;
  }
  return hasInput(kSsfDevelope, arguments.envelopedData) ? SSF_API_OK : SSF_API_INVALID_INPUT;
}

/// The recipient's certificate, with its key in the slot. Unlike a signer's his identity may be blank:
/// it is a thumbprint then that no certificate has.
Certificate selectRecipient(SigRcpSsfInformation& recipient, CMSG_SIGNER_ENCODE_INFO& slot) {
  Store store = openKeyStore(recipient, /*number=*/0, kDevelopeSelection);
  if (!store) {
    return {};
  }
  if (viewOf(recipient.id, recipient.idLength).empty()) {
    recipient.result = SSF_RESULT_UNKNOWN_PROFILE;
    QX_TRACE(kSsfDevelope, "#error#: strSigRcpIdL <= 0\n");
    return {};
  }
  recipient.result = SSF_RESULT_UNKNOWN;
  return searchKeyStore(std::move(store),
                        recipient,
                        /*number=*/0,
                        kDevelopeSelection,
                        slot,
                        /*certificates=*/nullptr);
}

bool isSameCertificate(CERT_INFO& certificate, CERT_INFO& entry) noexcept {
  return CertCompareCertificateName(kEncoding, &certificate.Issuer, &entry.Issuer) != FALSE &&
         CertCompareIntegerBlob(&certificate.SerialNumber, &entry.SerialNumber) != FALSE;
}

/// The first entry of the message that names the certificate; kNoRecipient when there is none.
SAPRETURN findEntry(const Message& message,
                    DWORD count,
                    CERT_INFO& certificate,
                    DWORD& index) noexcept {
  index = kNoRecipient;
  for (DWORD i = 0; i < count; ++i) {
    OwnedBytes entry;
    const SAPRETURN code = readParam(
        kSsfDevelope, message.get(), CMSG_RECIPIENT_INFO_PARAM, i, SSF_API_DECODE_ERROR, entry);
    if (code != SSF_API_OK) {
      return code;
    }
    if (entry.size() >= sizeof(CERT_INFO) &&
        isSameCertificate(certificate, *entry.as<CERT_INFO>())) {
      index = i;
      return SSF_API_OK;
    }
  }
  return SSF_API_OK;
}

SAPRETURN chooseEntry(const Message& message,
                      PCCERT_CONTEXT certificate,
                      SigRcpSsfInformation& recipient,
                      DWORD& index) noexcept {
  DWORD count = 0;
  DWORD size = sizeof(count);
  if (CryptMsgGetParam(message.get(), CMSG_RECIPIENT_COUNT_PARAM, /*dwIndex=*/0, &count, &size) ==
      FALSE) {
    recipient.result = SSF_RESULT_UNDEFINED;
    return failedCall(kSsfDevelope, SSF_API_INVALID_FORMAT);
  }
  const SAPRETURN code = findEntry(message, count, *certificate->pCertInfo, index);
  if (code == SSF_API_OK && index == kNoRecipient) {
    recipient.result = SSF_RESULT_NOT_OK;
    return failedCall(kSsfDevelope, SSF_API_RECIPIENT_ERROR);
  }
  return code;
}

SAPRETURN decrypt(const Message& message,
                  const CMSG_SIGNER_ENCODE_INFO& slot,
                  DWORD index,
                  SigRcpSsfInformation& recipient) noexcept {
  CMSG_CTRL_DECRYPT_PARA para{};
  para.cbSize = sizeof(para);
  para.hCryptProv = slot.hCryptProv;
  para.dwKeySpec = slot.dwKeySpec;
  para.dwRecipientIndex = index;
  if (CryptMsgControl(message.get(), /*dwFlags=*/0, CMSG_CTRL_DECRYPT, &para) == FALSE) {
    recipient.result = SSF_RESULT_NOT_OK;
    return failedCall(kSsfDevelope, SSF_API_RECIPIENT_ERROR);
  }
  return SSF_API_OK;
}

/// The content of the message, decrypted with the key of the slot.
SAPRETURN openEnvelope(const DevelopeArguments& arguments,
                       PCCERT_CONTEXT certificate,
                       const CMSG_SIGNER_ENCODE_INFO& slot,
                       OwnedBytes& content) noexcept {
  Message message;
  if (!openDecoder(kSsfDevelope, /*flags=*/0, message)) {
    return SSF_API_NO_PROVIDER;
  }
  if (!feedMessage(kSsfDevelope, message, arguments.envelopedData, arguments.envelopedDataLength)) {
    return SSF_API_INVALID_INPUT;
  }
  DWORD index = kNoRecipient;
  SAPRETURN code = chooseEntry(message, certificate, *arguments.recipient, index);
  if (code == SSF_API_OK) {
    code = decrypt(message, slot, index, *arguments.recipient);
  }
  if (code != SSF_API_OK) {
    return code;
  }
  return readParam(
      kSsfDevelope, message.get(), CMSG_CONTENT_PARAM, /*index=*/0, SSF_API_DECODE_ERROR, content);
}

SAPRETURN develope(const DevelopeArguments& arguments, OwnedBytes& content) {
  const SAPRETURN code = checkArguments(arguments);
  if (code != SSF_API_OK) {
    return code;
  }
  CMSG_SIGNER_ENCODE_INFO slot{};
  const Certificate certificate = selectRecipient(*arguments.recipient, slot);
  return certificate ? openEnvelope(arguments, certificate.get(), slot, content)
                     : SSF_API_RECIPIENT_ERROR;
}

}  // namespace
}  // namespace qx

// NOLINTBEGIN(readability-non-const-parameter): the interface is published without const
SAPRETURN SsfDevelope(SAP_B8* format,
                      SsfOctetlen formatLength,
                      SAP_B8* ostrEnvelopedData,
                      SsfOctetlen ostrEnvelopedDataL,
                      SigRcpSsfInformation* recipient,
                      SAP_B8** ostrOutputData,
                      SsfOctetlen* ostrOutputDataL) noexcept {
  return qx::runOperation(qx::kSsfDevelope, [&](qx::Frame& /*frame*/) -> SAPRETURN {
    if (!qx::clearOutput(qx::kSsfDevelope, ostrOutputData, ostrOutputDataL)) {
      return SSF_API_INVALID_INPUT;
    }
    qx::OwnedBytes content;
    const SAPRETURN code = qx::develope({.format = format,
                                         .formatLength = formatLength,
                                         .envelopedData = ostrEnvelopedData,
                                         .envelopedDataLength = ostrEnvelopedDataL,
                                         .recipient = recipient},
                                        content);
    if (code == SSF_API_OK) {
      qx::handOver(content, ostrOutputData, ostrOutputDataL);
    }
    return code;
  });
}

// NOLINTEND(readability-non-const-parameter)
