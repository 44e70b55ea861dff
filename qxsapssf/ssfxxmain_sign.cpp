#include <vector>

#include "platform/cades.h"

#include "qxsapssf/encoding.h"
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

constexpr const char* kSsfSign = "SsfSign";

struct SignArguments {
  const SAP_B8* format;
  SsfOctetlen formatLength;
  bool includesCertificates;
  bool isDetached;
  const SAP_B8* input;
  SsfOctetlen inputLength;
  const SigRcpSsfInformationListStruct* signers;
};

/// Signers are the selected signers in the form that the encoder takes.
struct Signers {
  std::vector<CMSG_SIGNER_ENCODE_INFO> slots;
  /// What the slots point into. The duplicates for the message do as well.
  CertificateList held;
  CertificateList included;
};

SAPRETURN checkArguments(const SignArguments& arguments, bool& isCades) noexcept {
  const SAPRETURN code = acceptFormat(kSsfSign, arguments.format, arguments.formatLength, isCades);
  if (code != SSF_API_OK) {
    return code;
  }
  if (arguments.signers == nullptr) {
    QX_TRACE(kSsfSign, "#error#: Empty signer's list\n");
    return SSF_API_SIGNER_ERROR;
  }
  if (arguments.inputLength <= 0) {
    QX_TRACE(kSsfSign, "#error#: ostrInputDataL <= 0\n");
    return SSF_API_INVALID_INPUT;
  }
  return hasInput(kSsfSign, arguments.input) ? SSF_API_OK : SSF_API_INVALID_INPUT;
}

/// False when the signer has no usable certificate.
bool selectSigner(SigRcpSsfInformation& record, int number, bool isIncluded, Signers& signers) {
  if (!hasIdentity(record, kSsfSign)) {
    return false;
  }
  Certificate certificate = selectSignerCertificate(record,
                                                    number,
                                                    kSignSelection,
                                                    signers.slots[static_cast<std::size_t>(number)],
                                                    isIncluded ? &signers.included : nullptr);
  if (!certificate) {
    return false;
  }
  if (!isIncluded) {
    signers.held.push_back(std::move(certificate));
  }
  return true;
}

/// Every signer is tried, so that every record gets its result.
SAPRETURN selectSigners(const SignArguments& arguments, Signers& signers) {
  const std::size_t count = countNodes(arguments.signers);
  QX_TRACE(kSsfSign, "#trace# Count of signers=%d.\n", static_cast<int>(count));
  signers.slots.resize(count);
  int failures = 0;
  int number = 0;
  for (const auto* node = arguments.signers; node != nullptr; node = node->next, ++number) {
    QX_TRACE(kSsfSign, "#trace# Check Signer # = %d.\n", number);
    if (node->info == nullptr) {
      QX_TRACE(kSsfSign, "#error#: Unintialized signer structure\n");
      return SSF_API_NO_PROVIDER;
    }
    if (!selectSigner(*node->info, number, arguments.includesCertificates, signers)) {
      ++failures;
    }
  }
  if (failures != 0) {
    signers.included.clear();
    QX_TRACE(kSsfSign, "#error#: %d certificates not found\n", failures);
    return SSF_API_SIGNER_ERROR;
  }
  return SSF_API_OK;
}

std::vector<CERT_BLOB> encodedCertificates(const CertificateList& certificates) {
  std::vector<CERT_BLOB> blobs;
  blobs.reserve(certificates.size());
  for (const Certificate& certificate : certificates) {
    blobs.push_back(
        {.cbData = certificate.get()->cbCertEncoded, .pbData = certificate.get()->pbCertEncoded});
  }
  return blobs;
}

HCRYPTMSG openMessage(bool isCades, DWORD flags, CMSG_SIGNED_ENCODE_INFO& info) noexcept {
  if (!isCades) {
    return CryptMsgOpenToEncode(kEncoding,
                                flags,
                                CMSG_SIGNED,
                                &info,
                                /*pszInnerContentObjID=*/nullptr,
                                /*pStreamInfo=*/nullptr);
  }
  CADES_ENCODE_INFO cadesInfo{};
  cadesInfo.dwSize = sizeof(cadesInfo);
  cadesInfo.pSignedEncodeInfo = &info;
  return CadesMsgOpenToEncode(kEncoding,
                              flags,
                              &cadesInfo,
                              /*pszInnerContentObjID=*/nullptr,
                              /*pStreamInfo=*/nullptr);
}

/// The signed message of the input.
SAPRETURN encodeSigned(const SignArguments& arguments,
                       bool isCades,
                       Signers& signers,
                       OwnedBytes& encoded) {
  std::vector<CERT_BLOB> blobs = encodedCertificates(signers.included);
  CMSG_SIGNED_ENCODE_INFO info{};
  info.cbSize = sizeof(info);
  info.cSigners = static_cast<DWORD>(signers.slots.size());
  info.rgSigners = signers.slots.data();
  info.cCertEncoded = static_cast<DWORD>(blobs.size());
  info.rgCertEncoded = blobs.empty() ? nullptr : blobs.data();
  QX_TRACE(kSsfSign, "#trace#: trying to sign message...\n");
  Message message(openMessage(isCades, arguments.isDetached ? CMSG_DETACHED_FLAG : 0, info));
  if (!message) {
    return failedCall(kSsfSign, SSF_API_NO_PROVIDER);
  }
  if (!feedMessage(kSsfSign, message, arguments.input, arguments.inputLength)) {
    return SSF_API_NO_PROVIDER;
  }
  const SAPRETURN code = readParam(
      kSsfSign, message.get(), CMSG_CONTENT_PARAM, /*index=*/0, SSF_API_ENCODE_ERROR, encoded);
  if (code != SSF_API_OK) {
    return code;
  }
  return message.close() ? SSF_API_OK : failedCall(kSsfSign, SSF_API_ENCODE_ERROR);
}

/// Selects and encodes; the certificates go back before time stamps are asked for.
SAPRETURN makeSigned(const SignArguments& arguments, bool isCades, OwnedBytes& encoded) {
  Signers signers;
  const SAPRETURN code = selectSigners(arguments, signers);
  return code == SSF_API_OK ? encodeSigned(arguments, isCades, signers, encoded) : code;
}

SAPRETURN sign(const SignArguments& arguments, SAP_B8** output, SsfOctetlen* outputLength) {
  bool isCades = false;
  OwnedBytes encoded;
  SAPRETURN code = checkArguments(arguments, isCades);
  if (code == SSF_API_OK) {
    code = makeSigned(arguments, isCades, encoded);
  }
  if (code == SSF_API_OK && isCades) {
    code = enhanceMessage(kSsfSign, encoded);
  }
  if (code == SSF_API_OK) {
    handOver(encoded, output, outputLength);
  }
  return code;
}

}  // namespace
}  // namespace qx

// NOLINTBEGIN(readability-non-const-parameter): the interface is published without const
SAPRETURN SsfSign(SAP_B8* format,
                  SsfOctetlen formatLength,
                  SAP_B8* /*hashAlgName*/,
                  SsfOctetlen /*hashAlgNameLength*/,
                  int includeCertificates,
                  int detached,
                  SAP_B8* ostrInputData,
                  SsfOctetlen ostrInputDataL,
                  SigRcpSsfInformationListStruct* signerList,
                  SAP_B8** ostrSignedData,
                  SsfOctetlen* ostrSignedDataL) noexcept {
  return qx::runOperation(qx::kSsfSign, [&](qx::Frame& /*frame*/) -> SAPRETURN {
    if (!qx::clearOutput(qx::kSsfSign, ostrSignedData, ostrSignedDataL)) {
      return SSF_API_INVALID_INPUT;
    }
    return qx::sign({.format = format,
                     .formatLength = formatLength,
                     .includesCertificates = qx::isSet(includeCertificates),
                     .isDetached = qx::isSet(detached),
                     .input = ostrInputData,
                     .inputLength = ostrInputDataL,
                     .signers = signerList},
                    ostrSignedData,
                    ostrSignedDataL);
  });
}

// NOLINTEND(readability-non-const-parameter)
