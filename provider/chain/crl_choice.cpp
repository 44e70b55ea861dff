#include "provider/chain/crl_choice.h"

#include <algorithm>

#include <openssl/x509.h>

#include "provider/chain/weak_digest.h"

namespace qx {
namespace {

// An authority has one CRL, a few while it changes them, some dozens when it splits them. Who wants us
// to work for ever has more.
constexpr std::size_t kMaxCrls = 100;
constexpr std::size_t kMaxSignatureChecks = 256;

void noteDate(const ASN1_TIME* date, TimeWindow& window) {
  std::tm broken{};
  if (date != nullptr && ASN1_TIME_to_tm(date, &broken) == 1) {
    window.narrow(timegm(&broken));
  }
}

}  // namespace

void CrlChooser::collect(std::span<const CrlPtr> from, std::vector<CrlPtr>& into) {
  for (const CrlPtr& crl : from.first(std::min(from.size(), kMaxCrls))) {
    if (crl->crl() != nullptr && !hasWeakSignature(crl->crl())) {
      noteDate(X509_CRL_get0_lastUpdate(crl->crl()), window_);
      noteDate(X509_CRL_get0_nextUpdate(crl->crl()), window_);
      into.push_back(crl);
    }
  }
}

std::vector<CrlPtr> CrlChooser::named(const X509_NAME* issuer, const CrlIndex& extra) {
  std::vector<CrlPtr> crls;
  collect(trust_.crlsOf(issuer), crls);
  collect(extra.find(issuer), crls);
  return crls;
}

void CrlChooser::keepSigned(std::vector<CrlPtr>& crls, const CertificateData& issuer) {
  EVP_PKEY* key = X509_get0_pubkey(issuer.x509());
  const auto isForeign = [&](const CrlPtr& crl) {
    return key == nullptr || ++signatureChecks_ > kMaxSignatureChecks ||
           X509_CRL_verify(crl->crl(), key) != 1;
  };
  if (crls.size() > 1) {
    std::erase_if(crls, isForeign);
  }
}

std::vector<CrlPtr> CrlChooser::choose(const Path& path, std::size_t count, const CrlIndex& extra) {
  const std::vector<CertificatePtr>& certificates = path.certificates;
  std::vector<CrlPtr> chosen;
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<CrlPtr> crls = named(X509_get_issuer_name(certificates[i]->x509()), extra);
    keepSigned(crls, *certificates[std::min(i + 1, certificates.size() - 1)]);
    for (CrlPtr& crl : crls) {
      if (std::ranges::find(chosen, crl) == chosen.end()) {
        chosen.push_back(std::move(crl));
      }
    }
  }
  return chosen;
}

}  // namespace qx
