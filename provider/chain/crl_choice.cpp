#include "provider/chain/crl_choice.h"

#include <algorithm>

#include <openssl/x509.h>

#include "provider/chain/weak_digest.h"

namespace qx {
namespace {

// An authority has one CRL, a few while it changes them, some dozens when it splits them.
constexpr std::size_t kMaxCrls = 200;

std::vector<CrlPtr> readable(std::span<const CrlPtr> crls) {
  std::vector<CrlPtr> some;
  std::ranges::copy_if(
      crls.first(std::min(crls.size(), kMaxCrls)), std::back_inserter(some), [](const CrlPtr& crl) {
        return crl->crl() != nullptr && !hasWeakSignature(crl->crl());
      });
  return some;
}

std::vector<CrlPtr> crlsOf(const X509_NAME* issuer,
                           const TrustSource& trust,
                           const CrlIndex& extra) {
  std::vector<CrlPtr> crls = readable(trust.crlsOf(issuer));
  std::ranges::copy(readable(extra.find(issuer)), std::back_inserter(crls));
  return crls;
}

void keepSigned(std::vector<CrlPtr>& crls, const CertificateData& issuer) {
  EVP_PKEY* key = X509_get0_pubkey(issuer.x509());
  const auto isForeign = [key](const CrlPtr& crl) {
    return key == nullptr || X509_CRL_verify(crl->crl(), key) != 1;
  };
  if (crls.size() > 1) {
    std::erase_if(crls, isForeign);
  }
}

void noteDate(const ASN1_TIME* date, TimeWindow& window) {
  std::tm broken{};
  if (date != nullptr && ASN1_TIME_to_tm(date, &broken) == 1) {
    window.narrow(timegm(&broken));
  }
}

void noteDates(const CrlData& crl, TimeWindow& window) {
  noteDate(X509_CRL_get0_lastUpdate(crl.crl()), window);
  noteDate(X509_CRL_get0_nextUpdate(crl.crl()), window);
}

}  // namespace

std::vector<CrlPtr> chooseCrls(const Path& path,
                               std::size_t count,
                               const TrustSource& trust,
                               const CrlIndex& extra,
                               TimeWindow& window) {
  const std::vector<CertificatePtr>& certificates = path.certificates;
  std::vector<CrlPtr> chosen;
  for (std::size_t i = 0; i < count; ++i) {
    const CertificateData& issuer = *certificates[std::min(i + 1, certificates.size() - 1)];
    std::vector<CrlPtr> crls = crlsOf(X509_get_issuer_name(certificates[i]->x509()), trust, extra);
    std::ranges::for_each(crls, [&](const CrlPtr& crl) { noteDates(*crl, window); });
    keepSigned(crls, issuer);
    for (CrlPtr& crl : crls) {
      if (std::ranges::find(chosen, crl) == chosen.end()) {
        chosen.push_back(std::move(crl));
      }
    }
  }
  return chosen;
}

}  // namespace qx
