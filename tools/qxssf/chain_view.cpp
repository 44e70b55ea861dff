#include "tools/qxssf/chain_view.h"

#include <cstdlib>
#include <string>

#include "tools/qxssf/doctor/setting.h"

namespace qx::ssf {

DWORD verifyFlags() {
  const std::string flags = doctor::variable("QX_SSF_VERIFYCERTFLAGS");
  char* end = nullptr;
  const auto number = static_cast<DWORD>(std::strtoul(flags.c_str(), &end, 16));
  return end == flags.c_str() ? CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT : number;
}

ChainPtr chainOf(const Library& library,
                 const CERT_CONTEXT& certificate,
                 DWORD flags,
                 HCERTSTORE more) {
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof(para);
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  const BOOL built = QX_SSF_FUNCTION(library, CertGetCertificateChain)(HCCE_CURRENT_USER,
                                                                       &certificate,
                                                                       /*pTime=*/nullptr,
                                                                       more,
                                                                       &para,
                                                                       flags,
                                                                       /*pvReserved=*/nullptr,
                                                                       &chain);
  return built == FALSE ? nullptr
                        : ChainPtr(chain, QX_SSF_FUNCTION(library, CertFreeCertificateChain));
}

}  // namespace qx::ssf
