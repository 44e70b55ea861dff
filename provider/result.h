#ifndef QX_PROVIDER_RESULT_H_
#define QX_PROVIDER_RESULT_H_

#include <optional>
#include <utility>

#include "platform/errors.h"
#include "platform/types.h"

namespace qx {

/// A failure is the last-error value that the platform function will set.
struct [[nodiscard]] Failure {
  DWORD code;
};

/// fail makes the Failure of a last-error value (never ERROR_SUCCESS).
inline Failure fail(DWORD code) {
  return Failure{code};
}

/// Result holds a value or the last-error value that tells why there is none. Test it before taking
/// the value; a failure is handed on with `return result.failure();`.
template <class T>
class [[nodiscard]] Result {
 public:
  // Both conversions are implicit so that a function returns a value or fail(code) as it is.
  Result(T value) : value_(std::move(value)) {}  // NOLINT(google-explicit-constructor)

  Result(Failure failure) : code_(failure.code) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const { return value_.has_value(); }

  // NOLINTBEGIN(bugprone-unchecked-optional-access): whoever takes the value has tested
  T& operator*() & { return *value_; }

  const T& operator*() const& { return *value_; }

  T&& operator*() && { return *std::move(value_); }

  T* operator->() { return &*value_; }

  const T* operator->() const { return &*value_; }

  // NOLINTEND(bugprone-unchecked-optional-access)

  Failure failure() const { return Failure{code_}; }

  DWORD error() const { return code_; }

 private:
  std::optional<T> value_;
  DWORD code_ = ERROR_SUCCESS;
};

/// Result<void> is success, or the last-error value.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;

  Result(Failure failure) : code_(failure.code) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const { return code_ == ERROR_SUCCESS; }

  Failure failure() const { return Failure{code_}; }

  DWORD error() const { return code_; }

 private:
  DWORD code_ = ERROR_SUCCESS;
};

}  // namespace qx

#endif
