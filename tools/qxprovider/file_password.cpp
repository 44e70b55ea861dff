#include "tools/qxprovider/file_password.h"

#include "tools/common/error.h"

namespace qx::admin {

tools::Secret newFilePassword(const tools::PinSource& source,
                              const std::string& guards,
                              tools::Report& report) {
  tools::Secret password =
      tools::readNewPin(tools::orPrompt(source), "Password of the new file", report);
  if (password.empty()) {
    throw tools::ToolError(tools::ExitCode::Key,
                           "the password is empty; it is all that guards " + guards);
  }
  return password;
}

}  // namespace qx::admin
