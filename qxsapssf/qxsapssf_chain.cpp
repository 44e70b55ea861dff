#include "qxsapssf/qxsapssf_chain.h"

#include "qxsapssf/platform_handles.h"
#include "qxsapssf/qxsapssf_errors.h"

namespace qx {
namespace {

/// The line that failed chains have always been reported from; hosts filter by it.
constexpr int kChainLine = 506;

}  // namespace

DWORD VerifyCertificate(PCCERT_CONTEXT certificate, DWORD flags, DWORD* chainStatus) noexcept {
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof(para);
  Chain chain;
  if (CertGetCertificateChain(/*hChainEngine=*/nullptr,
                              certificate,
                              /*pTime=*/nullptr,
                              /*hAdditionalStore=*/nullptr,
                              &para,
                              flags,
                              /*pvReserved=*/nullptr,
                              chain.put()) == FALSE) {
    *chainStatus = CERT_TRUST_REVOCATION_STATUS_UNKNOWN;
    return ErrorHandleEx(kLibraryUnit, kChainLine, kLastErrorCode, nullptr);
  }
  *chainStatus = chain.get()->TrustStatus.dwErrorStatus;
  return 0;
}

}  // namespace qx
