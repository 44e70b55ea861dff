#ifndef QX_PROVIDER_CHAIN_ONLINE_ISSUERS_H_
#define QX_PROVIDER_CHAIN_ONLINE_ISSUERS_H_

#include <vector>

#include "provider/chain/issuer_source.h"
#include "provider/chain/network.h"

namespace qx {

/// OnlineIssuers fetches an issuer's certificate, DER or PEM, from where its subject says it lies.
/// Nothing is kept: until the chain is complete nobody vouches for it.
class OnlineIssuers : public IssuerSource {
 public:
  /// `network` is borrowed.
  explicit OnlineIssuers(Network& network) : network_(network) {}

  std::vector<CertificatePtr> issuersOf(const CertificateData& subject) override;

 private:
  Network& network_;
};

}  // namespace qx

#endif
