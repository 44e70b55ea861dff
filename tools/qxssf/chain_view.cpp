#include "tools/qxssf/chain_view.h"

namespace qx::ssf {

ChainPtr chainOf(const Library& library, const CERT_CONTEXT& certificate, DWORD flags) {
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof(para);
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  const BOOL built = QX_SSF_FUNCTION(library, CertGetCertificateChain)(HCCE_CURRENT_USER,
                                                                       &certificate,
                                                                       /*pTime=*/nullptr,
                                                                       /*hAdditionalStore=*/nullptr,
                                                                       &para,
                                                                       flags,
                                                                       /*pvReserved=*/nullptr,
                                                                       &chain);
  return built == FALSE ? nullptr
                        : ChainPtr(chain, QX_SSF_FUNCTION(library, CertFreeCertificateChain));
}

}  // namespace qx::ssf
