#ifndef QX_PROVIDER_CHAIN_STATEMENT_H_
#define QX_PROVIDER_CHAIN_STATEMENT_H_

#include <ctime>
#include <limits>
#include <optional>

#include <openssl/asn1.h>

#include "provider/chain/name_index.h"
#include "provider/chain/ocsp_data.h"

namespace qx {

/// When revocation is judged, in seconds since 1970.
struct RevocationMoment {
  std::time_t now = 0;
  /// A past time that the question is about; nothing: now.
  std::optional<std::time_t> asOf;

  std::time_t asked() const { return asOf.value_or(now); }
};

/// The span of time for which a CRL or an answer was made; at its end there is a newer one.
struct UpdatePeriod {
  std::time_t begin = 0;
  std::time_t end = std::numeric_limits<std::time_t>::max();

  /// It speaks about the moment that is asked for. About a past one, what was made later speaks, too.
  /// `skew`: how far the maker's clock may be ahead.
  bool holdsFor(const RevocationMoment& moment, std::time_t skew = 0) const {
    return begin - skew <= moment.now && (moment.asked() < end || begin > moment.asked());
  }
};

/// What decided that a certificate is revoked, or not: one of both; none when its status is unknown or
/// was not looked up.
struct RevocationEvidence {
  CrlPtr crl;
  OcspPtr ocsp;
};

/// What one CRL or answer says about one certificate, before anybody looked at its signature.
struct Statement {
  UpdatePeriod period;
  /// It can be relied upon. Else its word counts only when it is that the certificate is revoked.
  bool reliable = false;
  bool revoked = false;
  RevocationEvidence evidence;
};

/// secondsOf gives a time of a certificate or CRL in seconds since 1970; nothing when there is none or
/// it cannot be read.
inline std::optional<std::time_t> secondsOf(const ASN1_TIME* time) {
  std::tm broken{};
  return time != nullptr && ASN1_TIME_to_tm(time, &broken) == 1 ? std::optional(timegm(&broken))
                                                                : std::nullopt;
}

}  // namespace qx

#endif
