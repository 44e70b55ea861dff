#ifndef QX_PROVIDER_API_H_
#define QX_PROVIDER_API_H_

#include <new>
#include <utility>

#include "platform/errors.h"

#include "provider/openssl/errors.h"
#include "provider/result.h"
#include "provider/support/fork_gate.h"

namespace qx {

/// guarded runs the body of a platform function: the provider's one wall against exceptions, and the
/// guard of libcrypto's error queue and of its locks against a fork. `body` returns a Result.
template <class Body>
auto guarded(Body&& body) noexcept -> decltype(body()) {
  const ForkWaits call;
  const ErrorQueueGuard queue;
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    return fail(E_OUTOFMEMORY);
  } catch (...) {
    return fail(E_FAIL);
  }
}

/// apiBool is a platform function that answers TRUE or FALSE; a failure sets the last error, success
/// leaves it alone. `body` returns Result<void>.
template <class Body>
BOOL apiBool(Body&& body) noexcept {
  const Result<void> result = guarded(std::forward<Body>(body));
  if (!result) {
    SetLastError(result.error());
    return FALSE;
  }
  return TRUE;
}

/// apiValue is a platform function that answers a handle or pointer, or `none` after setting the last
/// error. `body` returns Result<T>.
template <class T, class Body>
T apiValue(Body&& body, T none = T{}) noexcept {
  Result<T> result = guarded(std::forward<Body>(body));
  if (!result) {
    SetLastError(result.error());
    return none;
  }
  return *result;
}

}  // namespace qx

#endif
