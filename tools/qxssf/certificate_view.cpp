#include "tools/qxssf/certificate_view.h"

#include <array>
#include <memory>

#include "platform/cert.h"

#include "tools/common/report.h"
#include "tools/common/times.h"

namespace qx::ssf {
namespace {

std::string timeOf(const FILETIME& time) {
  return tools::isoTime(tools::ticksOf(time.dwHighDateTime, time.dwLowDateTime));
}

}  // namespace

std::optional<CertificateView> viewCertificate(const Library& library,
                                               std::span<const std::uint8_t> der) {
  const std::unique_ptr<const CERT_CONTEXT, decltype(&CertFreeCertificateContext)> context(
      QX_SSF_FUNCTION(library, CertCreateCertificateContext)(
          X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())),
      QX_SSF_FUNCTION(library, CertFreeCertificateContext));
  std::array<std::uint8_t, 20> hash{};
  DWORD length = hash.size();
  if (context == nullptr ||
      QX_SSF_FUNCTION(library, CertGetCertificateContextProperty)(
          context.get(), CERT_SHA1_HASH_PROP_ID, hash.data(), &length) == FALSE) {
    return std::nullopt;
  }
  return CertificateView{.thumbprint = tools::hex(hash),
                         .notBefore = timeOf(context->pCertInfo->NotBefore),
                         .notAfter = timeOf(context->pCertInfo->NotAfter)};
}

}  // namespace qx::ssf
