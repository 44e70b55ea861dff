#include "provider/chain/online_issuers.h"

#include "provider/chain/addresses.h"

namespace qx {

std::vector<CertificatePtr> OnlineIssuers::issuersOf(const CertificateData& subject) {
  std::vector<CertificatePtr> issuers;
  for (const std::string& address : issuerAddresses(subject)) {
    const Result<std::vector<std::uint8_t>> der = network_.fetch(FileKind::Certificate, address);
    Result<CertificatePtr> issuer = der ? CertificateData::parse(*der) : der.failure();
    if (issuer) {
      issuers.push_back(*std::move(issuer));
    }
  }
  return issuers;
}

}  // namespace qx
