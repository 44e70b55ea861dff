#include <memory>

#include "platform/cades.h"

#include "provider/api.h"
#include "provider/cades/caller_memory.h"
#include "provider/cades/verify.h"
#include "provider/chain/trust_stores.h"
#include "provider/store/certificate_context.h"
#include "provider/support/trace.h"

namespace {

using qx::fail;
using qx::Result;

struct FreeInfo {
  void operator()(CADES_VERIFICATION_INFO* info) const { CadesFreeVerificationInfo(info); }
};

using InfoPtr = std::unique_ptr<CADES_VERIFICATION_INFO, FreeInfo>;

LPFILETIME copyOf(const std::optional<FILETIME>& time) {
  if (!time) {
    return nullptr;
  }
  auto* copy = qx::allocateForCaller<FILETIME>();
  *copy = *time;
  return copy;
}

InfoPtr infoOf(const qx::CadesVerification& verification) {
  InfoPtr info(qx::allocateForCaller<CADES_VERIFICATION_INFO>());
  info->dwSize = sizeof *info;
  info->dwStatus = verification.finding.status;
  if (verification.signer != nullptr) {
    info->pSignerCert = qx::CertificateContext::createFree(verification.signer);
  }
  info->pSigningTime = copyOf(verification.signingTime);
  info->pSignatureTimeStampTime = copyOf(verification.stampTime);
  return info;
}

// The record is the caller's as soon as it is complete, whatever it says.
Result<void> verify(HCRYPTMSG handle, DWORD index, CADES_VERIFICATION_INFO** output) {
  const Result<qx::DecodedSigned*> message = qx::decodedSigned(handle);
  if (!message) {
    return message.failure();
  }
  const Result<const qx::SignerInfo*> signer = (*message)->data().signer(index);
  if (!signer) {
    return signer.failure();
  }
  const qx::OneLook look;  // the signer's chain and those of two stamps are judged
  const qx::CadesVerification verification = qx::verifyCades(**message, **signer);
  *output = infoOf(verification).release();
  if (verification.finding.isGood()) {
    return {};
  }
  QX_TRACE("signature %u: status %u, error %08x",
           index,
           verification.finding.status,
           verification.finding.error);
  return fail(verification.finding.error);
}

}  // namespace

BOOL CadesMsgVerifySignature(HCRYPTMSG hCryptMsg,
                             DWORD dwSignatureIndex,
                             const void* pVerificationPara,
                             CADES_VERIFICATION_INFO** ppVerificationInfo) {
  return qx::apiBool([&]() -> Result<void> {
    if (ppVerificationInfo == nullptr) {
      return fail(E_INVALIDARG);
    }
    *ppVerificationInfo = nullptr;
    if (pVerificationPara != nullptr) {
      return fail(E_INVALIDARG);
    }
    return verify(hCryptMsg, dwSignatureIndex, ppVerificationInfo);
  });
}

BOOL CadesFreeVerificationInfo(CADES_VERIFICATION_INFO* pVerificationInfo) {
  if (pVerificationInfo != nullptr) {
    CertFreeCertificateContext(pVerificationInfo->pSignerCert);
    qx::releaseForCaller(pVerificationInfo->pSigningTime);
    qx::releaseForCaller(pVerificationInfo->pSignatureTimeStampTime);
    qx::releaseForCaller(pVerificationInfo);
  }
  return TRUE;
}
