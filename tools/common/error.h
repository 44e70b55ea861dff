#ifndef QX_TOOLS_COMMON_ERROR_H_
#define QX_TOOLS_COMMON_ERROR_H_

#include <cstdint>
#include <stdexcept>
#include <string>

namespace qx::tools {

/// What a tool's exit code says; the numbers are the codes.
enum class ExitCode : std::uint8_t {
  Good = 0,
  Usage = 1,
  Input = 2,
  Changed = 3,     ///< a signature or its content is not what was signed
  NotTrusted = 4,  ///< no chain to trust, no certificate, revoked, expired
  Key = 5,         ///< no key, or its PIN is wrong
  Service = 6,     ///< a time stamp or revocation service
  Internal = 7,
};

/// ToolError ends a command: its text becomes the one line on standard error, its code the exit code.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}

  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

/// presentFailure is the exception that is being handled, as what it ends a command with: a ToolError as it
/// is, anything else as Internal. To be called from a catch clause.
ToolError presentFailure();

/// errnoText is the system's text for a value of errno.
std::string errnoText(int error);

}  // namespace qx::tools

#endif
