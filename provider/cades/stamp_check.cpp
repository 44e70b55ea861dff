#include "provider/cades/stamp_check.h"

#include <algorithm>
#include <cstdint>

#include "provider/chain/path_search.h"

namespace qx {
namespace {

std::uint64_t ticksOf(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}

Result<ProvedStamp> prove(const TimeStampToken& stamp,
                          const Stamped& covered,
                          std::span<const CertificatePtr> others) {
  const TimeStampInfo& info = stamp.info();
  if (!std::ranges::equal(imprintOf(info.hash, covered).bytes(), info.imprint) ||
      isFromTheFuture(info, std::time(nullptr))) {
    return fail(TRUST_E_TIME_STAMP);
  }
  Result<CertificatePtr> authority = stamp.verifySignature(others);
  if (!authority) {
    return authority.failure();
  }
  if (!isValidAt(**authority, stamp.seconds())) {
    return fail(CERT_E_EXPIRED);
  }
  return ProvedStamp{.token = &stamp, .authority = *std::move(authority)};
}

}  // namespace

Result<ProvedStamps> proveStamps(const std::vector<TimeStampToken>& stamps,
                                 const Stamped& covered,
                                 std::span<const CertificatePtr> others) {
  ProvedStamps proved;
  for (const TimeStampToken& stamp : stamps) {
    Result<ProvedStamp> one = prove(stamp, covered, others);
    if (!one) {
      return one.failure();
    }
    proved.push_back(*std::move(one));
  }
  return proved;
}

const ProvedStamp& earliest(const ProvedStamps& stamps) {
  return *std::ranges::min_element(
      stamps, {}, [](const ProvedStamp& stamp) { return ticksOf(stamp.token->info().time); });
}

bool canFollow(const TimeStampToken& later, const TimeStampToken& earlier) {
  const TimeStampInfo& first = earlier.info();
  const TimeStampInfo& second = later.info();
  return ticksOf(first.time) <= ticksOf(second.time) + first.accuracy + second.accuracy;
}

}  // namespace qx
