#ifndef QX_PROVIDER_CHAIN_OCSP_REQUEST_H_
#define QX_PROVIDER_CHAIN_OCSP_REQUEST_H_

#include <cstdint>
#include <vector>

#include "provider/chain/ocsp_data.h"
#include "provider/openssl/owned.h"
#include "provider/result.h"
#include "provider/store/certificate_data.h"

namespace qx {

/// OcspQuery asks a responder for the status of one certificate (RFC 6960, 4.1), with a nonce.
class OcspQuery {
 public:
  /// The certificate is named by SHA-1, the one hash that every responder knows (RFC 5019, 2.1.1).
  /// Errors: NTE_FAIL, E_OUTOFMEMORY.
  static Result<OcspQuery> about(const CertificateData& subject, const CertificateData& issuer);

  /// The OCSPRequest.
  std::vector<std::uint8_t> der() const;

  /// An answer may leave the nonce out, as those made beforehand do, but not carry another.
  bool isAnsweredBy(const OcspData& answer) const;

 private:
  explicit OcspQuery(OcspRequestPtr request) : request_(std::move(request)) {}

  OcspRequestPtr request_;
};

}  // namespace qx

#endif
