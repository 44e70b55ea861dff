#include <utility>

#include "tools/lab/certificate.h"
#include "tools/lab/pki.h"

namespace qx::lab {

Authority::Authority(EvpPkeyPtr key, X509Ptr certificate)
    : key_(std::move(key)), certificate_(std::move(certificate)) {}

Authority Authority::selfSigned(KeyKind kind, CertificateOptions options) {
  options.ca = true;
  EvpPkeyPtr key = generateKey(kind);
  X509Ptr certificate = lab::selfSigned(key.get(), options);
  return {std::move(key), std::move(certificate)};
}

Authority Authority::subordinate(KeyKind kind, CertificateOptions options) const {
  options.ca = true;
  EvpPkeyPtr key = generateKey(kind);
  X509Ptr certificate = issue(key.get(), options);
  return {std::move(key), std::move(certificate)};
}

X509Ptr Authority::issue(EVP_PKEY* key, const CertificateOptions& options) const {
  return makeCertificate(key, options, key_.get(), certificate_.get());
}

X509Ptr selfSigned(EVP_PKEY* key, const CertificateOptions& options) {
  return makeCertificate(key, options, key, nullptr);
}

}  // namespace qx::lab
