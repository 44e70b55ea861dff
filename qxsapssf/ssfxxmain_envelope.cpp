#include <string_view>
#include <utility>
#include <vector>

#include "platform/crypt_msg.h"

#include "qxsapssf/encoding.h"
#include "qxsapssf/frame.h"
#include "qxsapssf/identity/cert_id.h"
#include "qxsapssf/identity/certificate_walk.h"
#include "qxsapssf/identity/identity.h"
#include "qxsapssf/identity/profile.h"
#include "qxsapssf/message_input.h"
#include "qxsapssf/message_params.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/qxsapssf_print.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/ssfxxmain_arguments.h"
#include "qxsapssf/ssfxxmain_format.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr const char* kSsfEnvelope = "SsfEnvelope";
constexpr const char* kGost28147Oid = "1.2.643.2.2.21";
constexpr int kMessageCreated = 116;

struct EnvelopeArguments {
  const SAP_B8* format;
  SsfOctetlen formatLength;
  const SAP_B8* cipherName;
  SsfOctetlen cipherNameLength;
  const SAP_B8* input;
  SsfOctetlen inputLength;
  std::string_view profile;
  const SigRcpSsfInformationListStruct* recipients;
};

/// Recipients are those that were found, in the form that the encoder takes.
struct Recipients {
  std::vector<Certificate> certificates;
  /// Points into the certificates.
  std::vector<PCERT_INFO> infos;
};

bool isKnownCipher(const SAP_B8* name, SsfOctetlen nameLength) noexcept {
  return name != nullptr && nameLength >= 1 &&
         (isNameOrPrefix(name, nameLength, "GOST28147") ||
          isNameOrPrefix(name, nameLength, "GOST-28147-89"));
}

SAPRETURN checkArguments(const EnvelopeArguments& arguments) noexcept {
  // All formats make the same message.
  const SAPRETURN code = checkFormat(arguments.format, arguments.formatLength);
  if (code != SSF_API_OK) {
    return code;
  }
  if (arguments.inputLength < 1) {
    QX_TRACE(kSsfEnvelope, "#error#: ostrInputDataL <= 0\n");
    return SSF_API_INVALID_INPUT;
  }
  if (!hasInput(kSsfEnvelope, arguments.input)) {
    return SSF_API_INVALID_INPUT;
  }
  if (arguments.recipients == nullptr) {
    QX_TRACE(kSsfEnvelope, "#error#: Empty recipient's list\n");
    return SSF_API_RECIPIENT_ERROR;
  }
  if (!isKnownCipher(arguments.cipherName, arguments.cipherNameLength)) {
    QX_TRACE(kSsfEnvelope, "#error#: Invalid encryption algorithm name\n");
    return SSF_API_INVALID_ENCR_ALG;
  }
  return SSF_API_OK;
}

/// False, told in the trace, when the record names nobody.
bool readIdentity(const SigRcpSsfInformation& recipient, Identity& identity) {
  const std::string_view id = viewOf(recipient.id, recipient.idLength);
  if (id.empty()) {
    QX_TRACE(kSsfEnvelope, "#error#: strSigRcpIdL <= 0\n");
    return false;
  }
  if (isBlank(id)) {
    QX_TRACE(kSsfEnvelope, "#error#: empty strSigRcpId\n");
    return false;
  }
  if (!identity.read(id)) {
    QX_TRACE(kSsfEnvelope,
             "#error#: Invalid user's ID (%s)\n",
             TraceText(recipient.id, recipient.idLength).c_str());
    return false;
  }
  return true;
}

/// A certificate of the recipient, of his own reference; empty when he has none. The record's result
/// tells the outcome.
Certificate findRecipient(const Store& addressBook, SigRcpSsfInformation& recipient) {
  recipient.result = SSF_RESULT_UNKNOWN;
  Identity identity;
  if (!readIdentity(recipient, identity)) {
    return {};
  }
  CertificateWalk walk(addressBook, identity, recipient, kSsfEnvelope);
  PCCERT_CONTEXT found = walk.next();
  Certificate kept(found == nullptr ? nullptr : CertDuplicateCertificateContext(found));
  if (!kept) {
    QX_TRACE(kSsfEnvelope, "Certificate not found\n");
    recipient.result = SSF_RESULT_NOCERTIFICATE;
    return {};
  }
  recipient.result = SSF_RESULT_OK;
  return kept;
}

/// Every recipient is searched, so that every record gets its result.
SAPRETURN findRecipients(const EnvelopeArguments& arguments, Recipients& recipients) {
  const std::size_t count = countNodes(arguments.recipients);
  Store addressBook = openProfileStore(arguments.profile, StoreAB);
  if (!addressBook) {
    QX_TRACE(kSsfEnvelope, "#error#: Invalid PAB store\n");
    return SSF_API_INVALID_PAB;
  }
  recipients.certificates.reserve(count);
  recipients.infos.reserve(count);
  for (const auto* node = arguments.recipients; node != nullptr; node = node->next) {
    if (node->info == nullptr) {
      QX_TRACE(kSsfEnvelope, "#error#: Unintialized recipient structure\n");
      return SSF_API_NO_PROVIDER;
    }
    Certificate certificate = findRecipient(addressBook, *node->info);
    if (certificate) {
      recipients.infos.push_back(certificate.get()->pCertInfo);
      recipients.certificates.push_back(std::move(certificate));
    }
  }
  addressBook.close();
  if (recipients.infos.size() != count) {
    recipients.certificates.clear();
    QX_TRACE(kSsfEnvelope, "#error#: Some certificates not found\n");
    return SSF_API_RECIPIENT_ERROR;
  }
  return SSF_API_OK;
}

HCRYPTMSG openMessage(std::vector<PCERT_INFO>& recipients) noexcept {
  CMSG_ENVELOPED_ENCODE_INFO info{};
  info.cbSize = sizeof(info);
  // The platform only reads the OID; the published record has no const.
  info.ContentEncryptionAlgorithm.pszObjId =
      const_cast<LPSTR>(kGost28147Oid);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  info.cRecipients = static_cast<DWORD>(recipients.size());
  info.rgpRecipients = recipients.data();
  return CryptMsgOpenToEncode(kEncoding,
                              /*dwFlags=*/0,
                              CMSG_ENVELOPED,
                              &info,
                              /*pszInnerContentObjID=*/nullptr,
                              /*pStreamInfo=*/nullptr);
}

SAPRETURN encodeEnveloped(const EnvelopeArguments& arguments,
                          Recipients& recipients,
                          OwnedBytes& encoded) noexcept {
  const Message message(openMessage(recipients.infos));
  if (!message) {
    return failedCall(kSsfEnvelope, SSF_API_NO_PROVIDER);
  }
  if (!feedMessage(kSsfEnvelope, message, arguments.input, arguments.inputLength)) {
    return SSF_API_NO_PROVIDER;
  }
  const SAPRETURN code = readParam(
      kSsfEnvelope, message.get(), CMSG_CONTENT_PARAM, /*index=*/0, SSF_API_ENCODE_ERROR, encoded);
  if (code == SSF_API_OK) {
    recipients.certificates.clear();
  }
  return code;
}

SAPRETURN envelope(const EnvelopeArguments& arguments, OwnedBytes& encoded) {
  Recipients recipients;
  SAPRETURN code = checkArguments(arguments);
  if (code == SSF_API_OK) {
    code = findRecipients(arguments, recipients);
  }
  return code == SSF_API_OK ? encodeEnveloped(arguments, recipients, encoded) : code;
}

}  // namespace
}  // namespace qx

// NOLINTBEGIN(readability-non-const-parameter): the interface is published without const
SAPRETURN SsfEnvelope(SAP_B8* format,
                      SsfOctetlen formatLength,
                      SAP_B8* encrAlgName,
                      SsfOctetlen encrAlgNameLength,
                      SAP_B8* ostrInputData,
                      SsfOctetlen ostrInputDataL,
                      SAP_B8* profile,
                      SsfOctetlen profileLength,
                      SAP_B8* /*ignoredPassword*/,
                      SsfOctetlen /*ignoredPasswordLength*/,
                      SigRcpSsfInformationListStruct* recipientList,
                      SAP_B8** ostrEnvelopedData,
                      SsfOctetlen* ostrEnvelopedDataL) noexcept {
  return qx::runOperation(qx::kSsfEnvelope, [&](qx::Frame& /*frame*/) -> SAPRETURN {
    if (!qx::clearOutputLength(qx::kSsfEnvelope, ostrEnvelopedData, ostrEnvelopedDataL)) {
      return SSF_API_INVALID_INPUT;
    }
    qx::OwnedBytes encoded;
    const SAPRETURN code = qx::envelope({.format = format,
                                         .formatLength = formatLength,
                                         .cipherName = encrAlgName,
                                         .cipherNameLength = encrAlgNameLength,
                                         .input = ostrInputData,
                                         .inputLength = ostrInputDataL,
                                         .profile = qx::viewOf(profile, profileLength),
                                         .recipients = recipientList},
                                        encoded);
    if (code == SSF_API_OK) {
      qx::PrintMessage(qx::kMessageCreated, /*flag=*/1);
      qx::handOver(encoded, ostrEnvelopedData, ostrEnvelopedDataL);
    }
    return code;
  });
}

// NOLINTEND(readability-non-const-parameter)
