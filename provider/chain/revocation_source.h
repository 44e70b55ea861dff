#ifndef QX_PROVIDER_CHAIN_REVOCATION_SOURCE_H_
#define QX_PROVIDER_CHAIN_REVOCATION_SOURCE_H_

#include <vector>

#include "provider/chain/name_index.h"
#include "provider/chain/ocsp_data.h"

namespace qx {

/// What tells about the revocation of certificates.
struct RevocationData {
  std::vector<CrlPtr> crls;
  std::vector<OcspPtr> ocsp;
};

/// RevocationSource gives revocation data that is not at hand. It is asked for those certificates only
/// whose status stayed unknown, and only when the chain is signed up to a trusted root: before that, a
/// certificate's addresses are anybody's words.
class RevocationSource {
 public:
  RevocationSource() = default;
  virtual ~RevocationSource() = default;
  RevocationSource(const RevocationSource&) = delete;
  RevocationSource& operator=(const RevocationSource&) = delete;
  RevocationSource(RevocationSource&&) = delete;
  RevocationSource& operator=(RevocationSource&&) = delete;

  /// What may speak about `subject`, which `issuer` signed. It is checked like any other.
  virtual RevocationData dataFor(const CertificateData& subject, const CertificateData& issuer) = 0;

  /// Does it ask the network? Then what it does not know now, it may know a moment later.
  virtual bool isOnline() const = 0;
};

}  // namespace qx

#endif
