#include <cstdlib>

#include "platform/errors.h"

namespace {

// Plain and without constructor: it can be read while a thread or the process is being taken down.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): per-thread state by contract
constinit thread_local DWORD lastError = ERROR_SUCCESS;

}  // namespace

DWORD GetLastError(void) {
  return lastError;
}

void SetLastError(DWORD dwErrCode) {
  lastError = dwErrCode;
}

HLOCAL LocalFree(HLOCAL hMem) {
  std::free(hMem);  // NOLINT(cppcoreguidelines-no-malloc): what callers free comes from malloc
  return nullptr;
}
