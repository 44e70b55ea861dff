#ifndef QX_TOOLS_LAB_ERROR_H_
#define QX_TOOLS_LAB_ERROR_H_

#include <string>

namespace qx::lab {

/// throwError ends a lab operation: what was tried, with libcrypto's newest reason behind it. The
/// error queue is empty afterwards.
[[noreturn]] void throwError(const std::string& what);

/// check throws when a libcrypto call did not answer a positive number.
template <class T>
void check(T answer, const char* what) {
  if (answer <= 0) {
    throwError(what);
  }
}

/// owned takes what a libcrypto call made into its owner, and throws when there is nothing.
template <class Owner>
Owner owned(typename Owner::pointer made, const char* what) {
  if (made == nullptr) {
    throwError(what);
  }
  return Owner(made);
}

}  // namespace qx::lab

#endif
