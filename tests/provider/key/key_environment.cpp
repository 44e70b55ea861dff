#include "tests/provider/key/key_environment.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace qx::test {
namespace {

/// Few rounds, because what is tested is that the derivation is done, not how long it takes; a trace
/// file; and a pinentry program that each test writes for itself.
class KeyEnvironment : public ::testing::Environment {
 public:
  KeyEnvironment() {
    setenv("QXPROVIDER_PIN_KDF_ROUNDS", "1000", 1);
    setenv("QXPROVIDER_TRACE_FILE", folder_.file("trace").c_str(), 1);
    setenv("QXPROVIDER_PIN_PROMPT", "program", 1);
    setenv("QXPROVIDER_PIN_PROGRAM", folder_.file("pinentry").c_str(), 1);
    setenv("QXPROVIDER_PIN_PROMPT_TIMEOUT_MS", "20000", 1);
  }

  const TempDir& folder() const { return folder_; }

 private:
  TempDir folder_;
};

// GoogleTest owns it.
KeyEnvironment* const environmentOfAllTests = new KeyEnvironment();
const ::testing::Environment* const registered =
    ::testing::AddGlobalTestEnvironment(environmentOfAllTests);

}  // namespace

std::string traceLines() {
  const std::string path = environmentOfAllTests->folder().file("trace");
  return access(path.c_str(), R_OK) == 0 ? readFile(path) : std::string();
}

std::string pinentryPath() {
  return environmentOfAllTests->folder().file("pinentry");
}

void writeProgram(const std::string& path, const std::string& script) {
  writeFile(path, "#!/bin/sh\n" + script);
  chmod(path.c_str(), S_IRWXU);
}

void writePinentry(const std::string& answer) {
  const bool refuses = answer.starts_with("ERR");
  writeProgram(pinentryPath(),
               "echo 'OK ready'\n"
               "while read -r line; do\n"
               "  printf '%s\\n' \"$line\" >> '" +
                   pinentryPath() +
                   ".log'\n"
                   "  case $line in\n"
                   "    GETPIN) echo '" +
                   answer + "'" + (refuses ? "" : "; echo OK") +
                   ";;\n"
                   "    *) echo OK;;\n"
                   "  esac\n"
                   "done\n");
}

}  // namespace qx::test
