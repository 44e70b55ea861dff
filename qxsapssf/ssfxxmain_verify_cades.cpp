#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/qxsapssf_print.h"
#include "qxsapssf/ssfxxmain_cades_info.h"
#include "qxsapssf/ssfxxmain_results.h"
#include "qxsapssf/ssfxxmain_verify.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

SAPRETURN resultOfStatus(DWORD status) noexcept {
  switch (status) {
    case CADES_STATUS_GOOD:
      return SSF_RESULT_OK;
    case CADES_STATUS_NO_SIGNER_CERT:
      return SSF_RESULT_NOCERTIFICATE;
    case CADES_STATUS_NO_CHAIN:
    case CADES_STATUS_SIGNER_CERT:
    case CADES_STATUS_OTHER_CERT:
      return SSF_RESULT_UNKNOWN;
    case CADES_STATUS_SIGNATURE:
      return SSF_RESULT_NOT_OK;
    default:
      return SSF_RESULT_UNDEFINED;
  }
}

Verdict accept(const SignerInMessage& signer, CadesVerification& verification) noexcept {
  const SigRcpSsfInformation* record = addToSignerResultList(signer.signers,
                                                             verification.certificate(),
                                                             kByCertificate,
                                                             verification.signingTime(),
                                                             verification.stampTime(),
                                                             SSF_RESULT_OK);
  verification.giveBack();
  if (record == nullptr) {
    return Verdict::Failed;
  }
  if (record->idLength > 0) {
    QX_TRACE(kVerifyName,
             "#info#: signer's signature # %d - OK with CertID=%s\n",
             signer.index,
             TraceText(record->id, record->idLength).c_str());
  }
  return Verdict::FullyVerified;
}

Verdict refuse(const SignerInMessage& signer,
               CadesVerification& verification,
               DWORD lastError) noexcept {
  PrintCadesErrorMessage(static_cast<int>(verification.status()), 1);
  const SigRcpSsfInformation* record = addToSignerResultList(signer.signers,
                                                             verification.certificate(),
                                                             kByCertificate,
                                                             verification.signingTime(),
                                                             verification.stampTime(),
                                                             resultOfStatus(verification.status()));
  if (record != nullptr) {
    QX_TRACE(kVerifyName,
             "#error#: Failed to verify signature # %d with CertID=%s\n",
             signer.index,
             TraceText(record->id, record->idLength).c_str());
  }
  verification.giveBack();
  if (lastError != 0) {
    SetLastError(lastError);
    reportFailedCall(kVerifyName);
  }
  return Verdict::Failed;
}

}  // namespace

Verdict verifyCadesSigner(const SignerInMessage& signer, Certificate& certificate) noexcept {
  CadesVerification verification(signer.message, signer.index);
  const DWORD lastError = GetLastError();
  if (!verification.isGood()) {
    return refuse(signer, verification, lastError);
  }
  certificate.reset(CertDuplicateCertificateContext(verification.certificate()));
  return accept(signer, verification);
}

}  // namespace qx
