#ifndef QX_PROVIDER_CHAIN_ONLINE_REVOCATION_H_
#define QX_PROVIDER_CHAIN_ONLINE_REVOCATION_H_

#include <ctime>
#include <optional>
#include <string>

#include "provider/chain/network.h"
#include "provider/chain/revocation_cache.h"
#include "provider/chain/revocation_source.h"

namespace qx {

/// OnlineRevocation finds revocation data in the cache on disk, then in the network: of the OCSP
/// responders and then the CRL distribution points that a certificate names, the first that decides.
/// What decided is kept in the cache.
class OnlineRevocation : public RevocationSource {
 public:
  /// `network` is borrowed; null: the cache alone, nothing is sent.
  /// `freshness`: as in ChainRequest.
  OnlineRevocation(RevocationCache cache,
                   Network* network,
                   std::optional<std::time_t> freshness = std::nullopt)
      : cache_(cache), network_(network), freshness_(freshness) {}

  RevocationData dataFor(const CertificateData& subject, const CertificateData& issuer) override;

  bool isOnline() const override { return network_ != nullptr; }

 private:
  RevocationData cached(const CertificateData& subject, const CertificateData& issuer) const;
  RevocationData askResponder(const std::string& address,
                              const CertificateData& subject,
                              const CertificateData& issuer);
  RevocationData fetchCrl(const std::string& address,
                          const CertificateData& subject,
                          const CertificateData& issuer);
  bool decides(const RevocationData& data,
               const CertificateData& subject,
               const CertificateData& issuer) const;

  RevocationCache cache_;
  Network* network_;
  std::optional<std::time_t> freshness_;
};

}  // namespace qx

#endif
