#ifndef QX_PROVIDER_CADES_TIME_STAMP_SERVICE_H_
#define QX_PROVIDER_CADES_TIME_STAMP_SERVICE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "provider/cades/time_stamp_token.h"
#include "provider/chain/verdict_cache.h"
#include "provider/der/tag.h"
#include "provider/hash/hash.h"
#include "provider/http/client.h"
#include "provider/result.h"
#include "provider/support/config.h"

namespace qx {

/// TimeStamp is one that was made for us, by whom, and what was found out about him. It is to be handed out only
/// after verifySignature.
class TimeStamp {
 public:
  /// The token is one in the octets; the verdict is one on the authority, null when nobody asked.
  TimeStamp(std::vector<std::uint8_t> octets,
            TimeStampToken token,
            CertificatePtr authority,
            VerdictPtr verdict)
      : octets_(std::move(octets)),
        token_(std::move(token)),
        authority_(std::move(authority)),
        verdict_(std::move(verdict)) {}

  ~TimeStamp() = default;
  TimeStamp(TimeStamp&&) = default;
  TimeStamp& operator=(TimeStamp&&) = default;
  TimeStamp(const TimeStamp&) = delete;  // the token is in these octets
  TimeStamp& operator=(const TimeStamp&) = delete;

  const TimeStampToken& token() const { return token_; }

  const CertificatePtr& authority() const { return authority_; }

  const VerdictPtr& verdict() const { return verdict_; }

  /// verifySignature proves that the authority signed the token; errors as TimeStampToken::verifySignatureOf.
  Result<void> verifySignature() const { return token_.verifySignatureOf(*authority_); }

 private:
  std::vector<std::uint8_t> octets_;
  TimeStampToken token_;
  CertificatePtr authority_;
  VerdictPtr verdict_;
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

  /// stamp gives a time stamp over a hash, of an authority that is trusted; its signature is left to be
  /// verified, which takes longest. The work is done while the answer is on its way; without an answer it may not be
  /// done. Its failure is that of stamp.
  virtual Result<TimeStamp> stamp(HashAlgorithm algorithm,
                                  der::Bytes imprint,
                                  const Meanwhile& work) = 0;
};

/// timeStampServiceAt is the service behind a URL; an empty one stands for the configuration's
/// tsp.default_url, and without that it is ERROR_SERVICE_NOT_FOUND. Nothing is sent before the first
/// stamp.
///
/// Its stamps are checked, but for the signature: imprint and nonce are the request's, the certificate is one for
/// time stamps and its chain ends in a trusted root now. Errors of stamp: those of exchange
/// (provider/http/client.h), of makeTimeStampRequest, of readTimeStampResponse and of TimeStampToken;
/// TRUST_E_TIME_STAMP when the token is not what was asked for; those of trustAuthority.
Result<std::unique_ptr<TimeStampService>> timeStampServiceAt(
    const std::string& url, const Configuration& configuration = qx::configuration());

}  // namespace qx

#endif
