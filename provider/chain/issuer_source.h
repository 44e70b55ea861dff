#ifndef QX_PROVIDER_CHAIN_ISSUER_SOURCE_H_
#define QX_PROVIDER_CHAIN_ISSUER_SOURCE_H_

#include <vector>

#include "provider/chain/name_index.h"

namespace qx {

/// IssuerSource gives certificates of authorities that are not at hand. It is asked when no chain to a
/// self-signed certificate can be built.
class IssuerSource {
 public:
  IssuerSource() = default;
  virtual ~IssuerSource() = default;
  IssuerSource(const IssuerSource&) = delete;
  IssuerSource& operator=(const IssuerSource&) = delete;
  IssuerSource(IssuerSource&&) = delete;
  IssuerSource& operator=(IssuerSource&&) = delete;

  /// Certificates that may have issued `subject`. They are building material; no trust is theirs.
  virtual std::vector<CertificatePtr> issuersOf(const CertificateData& subject) = 0;
};

}  // namespace qx

#endif
