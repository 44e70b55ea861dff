#ifndef QX_TOOLS_COMMON_PIN_H_
#define QX_TOOLS_COMMON_PIN_H_

#include <cstdint>
#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/common/report.h"
#include "tools/common/secret.h"

namespace qx::tools {

/// Where a PIN comes from. Never from the command line: other users see it there.
struct PinSource {
  enum class Kind : std::uint8_t { None, File, Descriptor, Environment, Prompt };

  Kind kind = Kind::None;
  /// The file, the descriptor's number or the variable's name.
  std::string value;
};

/// addPinOptions adds --NAME-file, --NAME-fd, --NAME-env and --NAME-prompt to a command. `target` is
/// asked for the source to fill when such an option is met, so that one command can take several
/// PINs, each behind the option that it belongs to. A second source for one PIN is a usage error.
void addPinOptions(CLI::App& command,
                   const std::string& name,
                   const std::string& what,
                   const std::function<PinSource&()>& target);

/// orPrompt is the source, or the prompt where none was named.
PinSource orPrompt(PinSource source);

/// readPin takes a PIN from its source: the first line of a file or descriptor, the value of a
/// variable, or what is typed at the terminal without echo after `prompt`. No source gives an empty
/// PIN. A PIN file that others can read is warned of. Throws ToolError: Key for what cannot be read.
Secret readPin(const PinSource& source, const std::string& prompt, Report& report);

/// readNewPin is readPin for a PIN that is being chosen: a prompt asks twice.
Secret readNewPin(const PinSource& source, const std::string& prompt, Report& report);

}  // namespace qx::tools

#endif
