#ifndef QX_PROVIDER_STORE_COMPARE_H_
#define QX_PROVIDER_STORE_COMPARE_H_

#include "platform/cert.h"

namespace qx {

/// sameBytes compares two blobs; two empty ones are equal.
bool sameBytes(const CRYPT_INTEGER_BLOB& left, const CRYPT_INTEGER_BLOB& right);

/// sameInteger compares little-endian two's complement numbers; redundant bytes at the high end (the
/// last ones) do not count.
bool sameInteger(const CRYPT_INTEGER_BLOB& left, const CRYPT_INTEGER_BLOB& right);

/// sameIssuerAndSerial tells whether two certificates have one issuer (byte for byte) and one serial
/// number.
bool sameIssuerAndSerial(const CERT_INFO& left, const CERT_INFO& right);

}  // namespace qx

#endif
