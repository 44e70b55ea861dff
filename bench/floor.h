#ifndef QX_BENCH_FLOOR_H_
#define QX_BENCH_FLOOR_H_

#include <string>

#include "tools/lab/pki.h"

namespace qx::bench {

// What an operation cannot do without, to hold its time against. Each gives some octet of what the work
// left behind, so that no part of it can be left out.

/// cipherAlone encrypts or decrypts the content where it lies, with GOST 28147-89.
unsigned cipherAlone(std::string& content, bool encrypts);

/// hashAndCopy hashes the content, with the hash that goes with a kind of key (GOST 2012-256 or RSA),
/// and copies it.
unsigned hashAndCopy(const std::string& content, lab::KeyKind kind);

}  // namespace qx::bench

#endif
