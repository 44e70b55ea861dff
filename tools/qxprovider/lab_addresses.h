#ifndef QX_TOOLS_QXPROVIDER_LAB_ADDRESSES_H_
#define QX_TOOLS_QXPROVIDER_LAB_ADDRESSES_H_

#include <string>

#include "tools/lab/pki.h"

namespace qx::admin {

// Where a lab's services answer. An issuer is "gost-root" or "gost-ca", an authority "gost".
std::string crlPath(const std::string& issuer);
std::string ocspPath(const std::string& issuer);
std::string issuerPath(const std::string& issuer);
std::string stampPath(const std::string& authority);

/// LabAddresses are the services that a lab's certificates name.
class LabAddresses {
 public:
  /// `services` is "http://host:port", or empty when the certificates name none. Throws ToolError
  /// (Usage) for anything else.
  explicit LabAddresses(const std::string& services);

  /// Without a slash at its end.
  const std::string& services() const { return services_; }

  /// addTo writes the addresses of its issuer's services into a certificate.
  void addTo(lab::CertificateOptions& options, const std::string& issuer) const;

 private:
  std::string services_;
};

}  // namespace qx::admin

#endif
