#include "provider/chain/online_issuers.h"

#include "provider/chain/addresses.h"
#include "provider/store/file_content.h"

namespace qx {

std::vector<CertificatePtr> OnlineIssuers::issuersOf(const CertificateData& subject) {
  std::vector<CertificatePtr> issuers;
  for (const std::string& address : issuerAddresses(subject)) {
    Result<std::vector<std::uint8_t>> body =
        network_.ask({.url = address, .contentType = {}, .accept = {}, .body = {}},
                     fileLimit(FileKind::Certificate));
    const Result<std::vector<std::uint8_t>> der =
        body ? derFromFile(FileKind::Certificate, *std::move(body)) : body.failure();
    Result<CertificatePtr> issuer = der ? CertificateData::parse(*der) : der.failure();
    if (issuer) {
      issuers.push_back(*std::move(issuer));
    }
  }
  return issuers;
}

}  // namespace qx
