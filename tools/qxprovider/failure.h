#ifndef QX_TOOLS_QXPROVIDER_FAILURE_H_
#define QX_TOOLS_QXPROVIDER_FAILURE_H_

#include <string>
#include <utility>

#include "provider/result.h"

namespace qx::admin {

/// failureText is the provider's error in words and as a number.
std::string failureText(DWORD error);

/// refuse ends a command: what it was about, and the provider's error in words and as a number.
[[noreturn]] void refuse(const std::string& what, DWORD error);

/// require gives the value of a result, or refuses.
template <class T>
T require(Result<T> result, const std::string& what) {
  if (!result) {
    refuse(what, result.error());
  }
  return *std::move(result);
}

inline void require(const Result<void>& result, const std::string& what) {
  if (!result) {
    refuse(what, result.error());
  }
}

}  // namespace qx::admin

#endif
