#ifndef QX_TESTS_PROVIDER_KEY_KEY_ENVIRONMENT_H_
#define QX_TESTS_PROVIDER_KEY_KEY_ENVIRONMENT_H_

#include <string>

namespace qx::test {

/// The trace lines that the provider has written so far in this test program.
std::string traceLines();

/// The lines written since the object was made.
class TraceSince {
 public:
  TraceSince() : start_(traceLines().size()) {}

  std::string lines() const { return traceLines().substr(start_); }

 private:
  std::size_t start_;
};

/// The pinentry program that the provider is configured to start; a test that wants one writes it.
std::string pinentryPath();

/// writePinentry writes a program that answers GETPIN with the given line ("D 1234" for a PIN), then
/// OK or, when the line begins with ERR, nothing more. It leaves what it was told in "<path>.log".
void writePinentry(const std::string& answer);

/// writeProgram writes an executable shell script.
void writeProgram(const std::string& path, const std::string& script);

}  // namespace qx::test

#endif
