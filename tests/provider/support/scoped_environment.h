#ifndef QX_TESTS_PROVIDER_SUPPORT_SCOPED_ENVIRONMENT_H_
#define QX_TESTS_PROVIDER_SUPPORT_SCOPED_ENVIRONMENT_H_

#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qx::test {

/// ScopedEnvironment sets variables (an empty value removes one) and restores them when it dies. For
/// tests with one thread.
class ScopedEnvironment {
 public:
  ScopedEnvironment(std::initializer_list<std::pair<std::string, std::string>> variables) {
    for (const auto& [name, value] : variables) {
      set(name, value);
    }
  }

  ~ScopedEnvironment() {
    while (!saved_.empty()) {
      const auto& [name, value] = saved_.back();
      apply(name, value);
      saved_.pop_back();
    }
  }

  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
  ScopedEnvironment(ScopedEnvironment&&) = delete;
  ScopedEnvironment& operator=(ScopedEnvironment&&) = delete;

  void set(const std::string& name, const std::string& value) {
    const char* old = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe): one thread
    saved_.emplace_back(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
    apply(name, value.empty() ? std::nullopt : std::optional(value));
  }

 private:
  // NOLINTBEGIN(concurrency-mt-unsafe): one thread
  static void apply(const std::string& name, const std::optional<std::string>& value) {
    if (value) {
      static_cast<void>(setenv(name.c_str(), value->c_str(), 1));
    } else {
      static_cast<void>(unsetenv(name.c_str()));
    }
  }

  // NOLINTEND(concurrency-mt-unsafe)

  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

}  // namespace qx::test

#endif
