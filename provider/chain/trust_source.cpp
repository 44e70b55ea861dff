#include "provider/chain/trust_source.h"

#include <algorithm>
#include <vector>

namespace qx {
namespace {

std::vector<CertificatePtr> joined(std::span<const CertificatePtr> first,
                                   std::span<const CertificatePtr> second) {
  std::vector<CertificatePtr> all(first.begin(), first.end());
  all.insert(all.end(), second.begin(), second.end());
  return all;
}

}  // namespace

TrustSource::TrustSource(std::span<const CertificatePtr> roots,
                         std::span<const CertificatePtr> intermediates,
                         std::span<const CrlPtr> crls)
    : roots_(roots), certificates_(joined(roots, intermediates)), crls_(crls) {}

bool TrustSource::isRoot(const CertificateData& certificate) const {
  const X509* decoded = certificate.x509();
  return decoded != nullptr && std::ranges::any_of(roots_.find(X509_get_subject_name(decoded)),
                                                   [&](const CertificatePtr& root) {
                                                     return sameCertificate(*root, certificate);
                                                   });
}

bool sameCertificate(const CertificateData& left, const CertificateData& right) {
  return std::ranges::equal(left.der(), right.der());
}

}  // namespace qx
