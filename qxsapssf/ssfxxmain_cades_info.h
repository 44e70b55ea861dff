#ifndef QX_QXSAPSSF_SSFXXMAIN_CADES_INFO_H_
#define QX_QXSAPSSF_SSFXXMAIN_CADES_INFO_H_

#include "qxsapssf/platform_handles.h"

namespace qx {

/// CadesVerification is what the CAdES library finds about one signer. Its record may be missing: that
/// reads as a good status without certificate and times, and leaves the answer of the call.
class CadesVerification {
 public:
  /// Verifies. The last error is that of the call.
  CadesVerification(HCRYPTMSG message, DWORD index) noexcept
      : answer_(
            CadesMsgVerifySignature(message, index, /*pVerificationPara=*/nullptr, info_.put())) {}

  /// The answer of the call alone.
  bool succeeded() const noexcept { return answer_ != FALSE; }

  bool isGood() const noexcept { return succeeded() && status() == CADES_STATUS_GOOD; }

  DWORD status() const noexcept { return info_ ? info_.get()->dwStatus : CADES_STATUS_GOOD; }

  PCCERT_CONTEXT certificate() const noexcept { return info_ ? info_.get()->pSignerCert : nullptr; }

  const FILETIME* signingTime() const noexcept {
    return info_ ? info_.get()->pSigningTime : nullptr;
  }

  const FILETIME* stampTime() const noexcept {
    return info_ ? info_.get()->pSignatureTimeStampTime : nullptr;
  }

  /// giveBack gives the record back now.
  void giveBack() noexcept { info_.close(); }

 private:
  CadesInfo info_;
  BOOL answer_;
};

}  // namespace qx

#endif
