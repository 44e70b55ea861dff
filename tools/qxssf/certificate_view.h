#ifndef QX_TOOLS_QXSSF_CERTIFICATE_VIEW_H_
#define QX_TOOLS_QXSSF_CERTIFICATE_VIEW_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/qxssf/library.h"

namespace qx::ssf {

/// What is shown of a certificate.
struct CertificateView {
  /// SHA-1, 40 lower-case hexadecimal digits.
  std::string thumbprint;
  /// UTC, "2026-11-15T17:03:41Z".
  std::string notBefore;
  std::string notAfter;
};

/// viewCertificate reads a DER certificate with the functions of the provider that the library itself
/// uses; nothing when it cannot be read.
std::optional<CertificateView> viewCertificate(const Library& library,
                                               std::span<const std::uint8_t> der);

}  // namespace qx::ssf

#endif
