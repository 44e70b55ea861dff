#ifndef QX_TESTS_TOOLS_QXSSF_DOCTOR_ENVIRONMENT_FOR_TEST_H_
#define QX_TESTS_TOOLS_QXSSF_DOCTOR_ENVIRONMENT_FOR_TEST_H_

#include <cstdlib>
#include <optional>
#include <string>

namespace qx::test {

/// ScopedVariable sets a variable of the environment, or removes it when the value is NULL, until it dies.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) {
      old_ = old;
    }
    set(value);
  }

  ~ScopedVariable() { set(old_ ? old_->c_str() : nullptr); }

  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;
  ScopedVariable(ScopedVariable&&) = delete;
  ScopedVariable& operator=(ScopedVariable&&) = delete;

 private:
  void set(const char* value) const {
    static_cast<void>(value == nullptr ? unsetenv(name_) : setenv(name_, value, 1));
  }

  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace qx::test

#endif
