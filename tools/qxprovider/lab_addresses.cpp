#include "tools/qxprovider/lab_addresses.h"

#include "provider/http/url.h"
#include "tools/common/error.h"

namespace qx::admin {

std::string crlPath(const std::string& issuer) {
  return "/crl/" + issuer + ".crl";
}

std::string ocspPath(const std::string& issuer) {
  return "/ocsp/" + issuer;
}

std::string issuerPath(const std::string& issuer) {
  return "/issuer/" + issuer + ".crt";
}

std::string stampPath(const std::string& authority) {
  return "/tsa/" + authority;
}

LabAddresses::LabAddresses(const std::string& services) {
  if (services.empty()) {
    return;
  }
  const Result<Url> url = parseUrl(services);
  if (!url || url->secure || url->target != "/") {
    throw tools::ToolError(tools::ExitCode::Usage, "--services wants http://host:port");
  }
  services_ = "http://" + url->authority();
}

void LabAddresses::addTo(lab::CertificateOptions& options, const std::string& issuer) const {
  if (services_.empty()) {
    return;
  }
  options.crlUrl = services_ + crlPath(issuer);
  options.ocspUrl = services_ + ocspPath(issuer);
  options.issuerUrl = services_ + issuerPath(issuer);
}

}  // namespace qx::admin
