#ifndef QX_PROVIDER_OPENSSL_ERRORS_H_
#define QX_PROVIDER_OPENSSL_ERRORS_H_

#include "provider/result.h"

namespace qx {

/// ErrorQueueGuard leaves libcrypto's per-thread error queue as it found it: what our calls put there
/// is removed at the end, what the host had there stays.
class ErrorQueueGuard {
 public:
  ErrorQueueGuard();
  ~ErrorQueueGuard();
  ErrorQueueGuard(const ErrorQueueGuard&) = delete;
  ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
  ErrorQueueGuard(ErrorQueueGuard&&) = delete;
  ErrorQueueGuard& operator=(ErrorQueueGuard&&) = delete;
};

/// opensslFailure maps the newest error of libcrypto's queue to a last-error value (E_OUTOFMEMORY,
/// CRYPT_E_ASN1_*, NTE_*), and gives `otherwise` where the table has no better one.
Failure opensslFailure(DWORD otherwise);

}  // namespace qx

#endif
