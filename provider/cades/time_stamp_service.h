#ifndef QX_PROVIDER_CADES_TIME_STAMP_SERVICE_H_
#define QX_PROVIDER_CADES_TIME_STAMP_SERVICE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "provider/chain/verdict_cache.h"
#include "provider/der/tag.h"
#include "provider/hash/hash.h"
#include "provider/result.h"
#include "provider/support/config.h"

namespace qx {

/// TimeStamp is one that was made for us, by whom, and what was found out about him.
struct TimeStamp {
  /// The TimeStampToken (RFC 3161).
  std::vector<std::uint8_t> token;
  CertificatePtr authority;
  /// Those in the token.
  std::vector<CertificatePtr> certificates;
  /// On the authority, at this moment; null when nobody asked.
  VerdictPtr verdict;
};

/// TimeStampService is somebody who makes time stamps.
class TimeStampService {
 public:
  TimeStampService() = default;
  virtual ~TimeStampService() = default;
  TimeStampService(const TimeStampService&) = delete;
  TimeStampService& operator=(const TimeStampService&) = delete;
  TimeStampService(TimeStampService&&) = delete;
  TimeStampService& operator=(TimeStampService&&) = delete;

  /// stamp gives a time stamp over a hash, whose signature and authority are good.
  virtual Result<TimeStamp> stamp(HashAlgorithm algorithm, der::Bytes imprint) = 0;
};

/// timeStampServiceAt is the service behind a URL; an empty one stands for the configuration's
/// tsp.default_url, and without that it is ERROR_SERVICE_NOT_FOUND. Nothing is sent before the first
/// stamp.
///
/// Its stamps are checked before they are handed out: imprint and nonce are the request's, the
/// signature holds, the certificate is one for time stamps and its chain ends in a trusted root now.
/// Errors of stamp: those of exchange (provider/http/client.h), of makeTimeStampRequest and of
/// readTimeStampResponse; TRUST_E_TIME_STAMP when the token is not what was asked for; those of
/// TimeStampToken for its signature and its authority.
Result<std::unique_ptr<TimeStampService>> timeStampServiceAt(
    const std::string& url, const Configuration& configuration = qx::configuration());

}  // namespace qx

#endif
