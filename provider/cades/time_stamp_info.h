#ifndef QX_PROVIDER_CADES_TIME_STAMP_INFO_H_
#define QX_PROVIDER_CADES_TIME_STAMP_INFO_H_

#include <cstdint>
#include <ctime>
#include <string>

#include "platform/types.h"

#include "provider/der/reader.h"
#include "provider/hash/hash.h"
#include "provider/result.h"

namespace qx {

/// What a time-stamp authority says (TSTInfo, RFC 3161, 2.4.2), over the bytes it was read from.
struct TimeStampInfo {
  std::string policy;  ///< dotted
  HashAlgorithm hash{};
  der::Bytes imprint;  ///< as long as the hash
  der::Bytes serial;   ///< content octets of the INTEGER
  FILETIME time{};
  std::uint64_t accuracy = 0;  ///< the time may be off by so many units of 100 ns
  der::Bytes nonce;            ///< content octets of the INTEGER; empty when there is none
};

/// readTimeStampInfo reads one TSTInfo. CRYPT_E_ASN1_... when it is malformed, of another version, has a
/// time that is not in UTC, or a critical extension; CRYPT_E_UNKNOWN_ALGO for an imprint by a hash that
/// we do not know or that is broken.
Result<TimeStampInfo> readTimeStampInfo(der::Bytes encoded);

/// isFromTheFuture tells whether a stamp was made later than `now`, in seconds since 1970, for all that
/// its accuracy and kClockSkew leave open.
bool isFromTheFuture(const TimeStampInfo& info, std::time_t now);

}  // namespace qx

#endif
