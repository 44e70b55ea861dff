#ifndef QX_PROVIDER_CADES_STAMP_CHECK_H_
#define QX_PROVIDER_CADES_STAMP_CHECK_H_

#include <span>
#include <vector>

#include "provider/cades/imprint.h"
#include "provider/cades/time_stamp_token.h"

namespace qx {

/// ProvedStamp is a time stamp that is over what it has to cover, by this authority. Whether the
/// authority is trusted is another question.
struct ProvedStamp {
  const TimeStampToken* token = nullptr;
  CertificatePtr authority;

  std::time_t seconds() const { return token->seconds(); }
};

using ProvedStamps = std::vector<ProvedStamp>;

/// proveStamps proves every one of the stamps: its imprint, its signature, that its authority's
/// certificate was valid when it says it was made, and that this time has come. `others` are the authorities' certificates that the
/// stamps do not hold themselves. Errors: TRUST_E_TIME_STAMP for another imprint or a time that has not
/// come, CERT_E_EXPIRED, else as verifySignature.
Result<ProvedStamps> proveStamps(const std::vector<TimeStampToken>& stamps,
                                 const Stamped& covered,
                                 std::span<const CertificatePtr> others);

/// earliest is the first of one or more stamps in time.
const ProvedStamp& earliest(const ProvedStamps& stamps);

/// canFollow tells whether a stamp can have been made after another one, for all that their accuracies
/// leave open.
bool canFollow(const TimeStampToken& later, const TimeStampToken& earlier);

}  // namespace qx

#endif
