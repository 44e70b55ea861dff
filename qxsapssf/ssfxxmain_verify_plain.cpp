#include <optional>

#include "platform/encode.h"

#include "qxsapssf/config/config.h"
#include "qxsapssf/encoding.h"
#include "qxsapssf/message_params.h"
#include "qxsapssf/qxsapssf_chain.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/qxsapssf_print.h"
#include "qxsapssf/ssfxxmain_cades_info.h"
#include "qxsapssf/ssfxxmain_results.h"
#include "qxsapssf/ssfxxmain_verify.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr const char* kSigningTimeName = "getSigningTime";
constexpr const char* kSigningTimeOid = "1.2.840.113549.1.9.5";

constexpr int kSignatureVerifiedMessage = 134;
constexpr int kNoSignerCertificateMessage = 144;

/// A signer may have no signing time, whatever the reason.
std::optional<FILETIME> getSigningTime(const SignerInMessage& signer) noexcept {
  OwnedBytes bytes;
  if (readParam(kSigningTimeName,
                signer.message,
                CMSG_SIGNER_INFO_PARAM,
                signer.index,
                SSF_API_DECODE_ERROR,
                bytes) != SSF_API_OK ||
      bytes.size() < sizeof(CMSG_SIGNER_INFO)) {
    return std::nullopt;
  }
  const CRYPT_ATTRIBUTES& attributes = bytes.as<CMSG_SIGNER_INFO>()->AuthAttrs;
  if (attributes.cAttr == 0) {
    return std::nullopt;
  }
  const CRYPT_ATTRIBUTE* attribute =
      CertFindAttribute(kSigningTimeOid, attributes.cAttr, attributes.rgAttr);
  if (attribute == nullptr || attribute->cValue == 0) {
    return std::nullopt;
  }
  FILETIME time{};
  DWORD size = sizeof(time);
  if (CryptDecodeObject(kEncoding,
                        kSigningTimeOid,
                        attribute->rgValue[0].pbData,
                        attribute->rgValue[0].cbData,
                        /*dwFlags=*/0,
                        &time,
                        &size) == FALSE) {
    reportFailedCall(kSigningTimeName);
    return std::nullopt;
  }
  return time;
}

/// Nothing when the signature is good, else why not.
std::optional<DWORD> checkSignature(const SignerInMessage& signer,
                                    PCCERT_CONTEXT certificate) noexcept {
  if (certificate == nullptr) {
    QX_TRACE(kVerifyName, "Certificate not found\n");
    return CRYPT_E_NOT_FOUND;
  }
  CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
  para.cbSize = sizeof(para);
  para.dwSignerIndex = signer.index;
  para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
  // The platform only reads the certificate; the published record has no const.
  para.pvSigner =
      const_cast<CERT_CONTEXT*>(certificate);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  if (CryptMsgControl(signer.message, /*dwFlags=*/0, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para) ==
      FALSE) {
    return GetLastError();
  }
  return std::nullopt;
}

SAPRETURN resultOfError(DWORD error) noexcept {
  switch (error) {
    case CRYPT_E_NOT_FOUND:
    case CRYPT_E_SIGNER_NOT_FOUND:
      return SSF_RESULT_NOCERTIFICATE;
    case NTE_BAD_SIGNATURE:
    case CRYPT_E_HASH_VALUE:
      return SSF_RESULT_NOT_OK;
    default:
      return SSF_RESULT_UNKNOWN;
  }
}

/// PlainSigner takes one signer of a plain message through his checks.
class PlainSigner {
 public:
  PlainSigner(const SignerInMessage& signer, Certificate& certificate) noexcept
      : signer_(&signer), certificate_(&certificate), signingTime_(getSigningTime(signer)) {}

  Verdict verify() noexcept {
    OwnedBytes info;
    if (!fetchParam(signer_->message, CMSG_SIGNER_CERT_INFO_PARAM, signer_->index, info) ||
        info.size() < sizeof(CERT_INFO)) {
      return refuseUnreadable();
    }
    *certificate_ = findSignerCertificate(*signer_, *info.as<CERT_INFO>());
    if (const auto error = checkSignature(*signer_, certificate_->get()); error) {
      return refuseSignature(*error);
    }
    QX_TRACE(kVerifyName,
             "#info#: Signer's signature # %d - OK. Verifying Signer's certificate...\n",
             signer_->index);
    DWORD chainStatus = 0;
    const DWORD error =
        VerifyCertificate(certificate_->get(), gConfig.verifyCertFlags, &chainStatus);
    return error == 0 && chainStatus == 0 ? accept() : verifyAsCades();
  }

 private:
  Verdict refuseUnreadable() const noexcept {
    QX_TRACE(kVerifyName,
             "#error#: signer's signature # %d - Failed. Can not get Certificate Info from "
             "signature\n",
             signer_->index);
    reportFailedCall(kVerifyName);
    const auto* record = addToSignerResultList(
        signer_->signers, nullptr, kByText, signingTime(), nullptr, SSF_RESULT_OK);
    return record == nullptr ? Verdict::Unreadable : Verdict::Failed;
  }

  Verdict refuseSignature(DWORD error) const noexcept {
    SetLastError(error);
    reportFailedCall(kVerifyName);
    const SAPRETURN result = resultOfError(error);
    if (result == SSF_RESULT_NOCERTIFICATE) {
      PrintMessage(kNoSignerCertificateMessage, 1);
    }
    const auto* record = addRecord(signingTime(), nullptr, result);
    if (record != nullptr) {
      QX_TRACE(kVerifyName,
               "#error#: Failed to verify signature # %d with CertID=%s\n",
               signer_->index,
               TraceText(record->id, record->idLength).c_str());
    }
    return Verdict::Failed;
  }

  Verdict accept() const noexcept {
    PrintMessage(kSignatureVerifiedMessage, 1);
    const auto* record = addRecord(signingTime(), nullptr, SSF_RESULT_OK);
    if (record == nullptr) {
      return Verdict::Failed;
    }
    QX_TRACE(kVerifyName,
             "#info#: Successed to verify Certificate (CertID=%s) for signature # %d\n",
             TraceText(record->id, record->idLength).c_str(),
             signer_->index);
    return Verdict::FullyVerified;
  }

  /// The chain may have been good at the time of a time stamp.
  Verdict verifyAsCades() const noexcept {
    QX_TRACE(kVerifyName,
             "#error#: Signer's certificate # %d - Not checked. Trying to check as cades "
             "message...\n",
             signer_->index);
    const CadesVerification verification(signer_->message, signer_->index);
    if (!verification.succeeded()) {
      reportFailedCall(kVerifyName);
    }
    const bool isGood = verification.isGood();
    if (isGood) {
      QX_TRACE(kVerifyName, "#info#: VerifyCertificate (%d) as Cades - Success\n", signer_->index);
    } else {
      QX_TRACE(kVerifyName, "#error#: VerifyCertificate (%d) failed\n", signer_->index);
      PrintCadesErrorMessage(static_cast<int>(verification.status()), 1);
    }
    const FILETIME* stated = verification.signingTime();
    const auto* record = addRecord(stated != nullptr ? stated : signingTime(),
                                   verification.stampTime(),
                                   isGood ? SSF_RESULT_OK : SSF_RESULT_UNKNOWN);
    if (!isGood && record != nullptr) {
      QX_TRACE(kVerifyName,
               "#error#: Failed to verify Certificate (CertID=%s) for signature # %d\n",
               TraceText(record->id, record->idLength).c_str(),
               signer_->index);
    }
    return isGood && record != nullptr ? Verdict::VerifiedAsCades : Verdict::Failed;
  }

  SigRcpSsfInformation* addRecord(const FILETIME* signingTime,
                                  const FILETIME* stampTime,
                                  SAPRETURN result) const noexcept {
    return addToSignerResultList(
        signer_->signers, certificate_->get(), kByCertificate, signingTime, stampTime, result);
  }

  const FILETIME* signingTime() const noexcept { return signingTime_ ? &*signingTime_ : nullptr; }

  const SignerInMessage* signer_;
  Certificate* certificate_;
  std::optional<FILETIME> signingTime_;
};

}  // namespace

Verdict verifyPlainSigner(const SignerInMessage& signer, Certificate& certificate) noexcept {
  return PlainSigner(signer, certificate).verify();
}

}  // namespace qx
