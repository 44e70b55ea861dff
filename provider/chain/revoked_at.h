#ifndef QX_PROVIDER_CHAIN_REVOKED_AT_H_
#define QX_PROVIDER_CHAIN_REVOKED_AT_H_

#include <ctime>
#include <limits>

#include "provider/chain/statement.h"
#include "provider/openssl/owned.h"

namespace qx {

/// isPastBy tells whether a date had come at a time, in seconds since 1970. One that cannot be read is
/// taken for the earliest.
inline bool isPastBy(const ASN1_TIME* date, std::time_t time) {
  return secondsOf(date).value_or(std::numeric_limits<std::time_t>::min()) <= time;
}

/// isRevokedAt tells whether a certificate that was revoked at `revoked` must not be relied upon at
/// `time`: its key was no longer its owner's alone from the invalidity date on, which may lie before the
/// revocation (RFC 5280, 5.3.2). `extensionOf` is libcrypto's function that decodes an extension of such
/// an entry.
template <class Entry>
bool isRevokedAt(std::time_t time,
                 const ASN1_TIME* revoked,
                 Entry* entry,
                 void* (*extensionOf)(Entry*, int, int*, int*)) {
  if (isPastBy(revoked, time)) {
    return true;
  }
  int presence = -1;
  const Asn1TimePtr invalid(
      static_cast<ASN1_TIME*>(extensionOf(entry, NID_invalidity_date, &presence, nullptr)));
  return presence != -1 && isPastBy(invalid.get(), time);
}

}  // namespace qx

#endif
