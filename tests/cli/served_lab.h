#ifndef QX_TESTS_CLI_SERVED_LAB_H_
#define QX_TESTS_CLI_SERVED_LAB_H_

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace qx::test {

/// ServedLab is `qxprovider lab serve`, at work as long as it lives.
class ServedLab {
 public:
  /// Serves the lab in a folder, with further arguments, and waits for its address. Throws
  /// std::runtime_error when there is none.
  explicit ServedLab(const std::string& folder, const std::vector<std::string>& arguments = {});
  ~ServedLab();
  ServedLab(const ServedLab&) = delete;
  ServedLab& operator=(const ServedLab&) = delete;
  ServedLab(ServedLab&&) = delete;
  ServedLab& operator=(ServedLab&&) = delete;

  /// The first line that it printed, and `path` behind it.
  std::string url(const std::string& path = {}) const { return address_ + path; }

  /// end asks for the end and gives the exit code.
  int end(int signal);

 private:
  pid_t process_ = -1;
  std::FILE* output_ = nullptr;
  std::string address_;
};

}  // namespace qx::test

#endif
