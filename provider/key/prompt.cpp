#include "provider/key/prompt.h"

#include "provider/support/config.h"
#include "provider/support/trace.h"

namespace qx {

Result<SecretBytes> askPin(const std::string& what) {
  const auto& pin = configuration().pin;
  const std::chrono::milliseconds timeout(pin.promptTimeoutMs);
  switch (pin.prompt) {
    case Prompt::Terminal:
      return askOnTerminal("/dev/tty", what, timeout);
    case Prompt::Program:
      return askProgram(pin.program, what, timeout);
    case Prompt::None:
      break;
  }
  QX_TRACE("a PIN is needed and nobody can be asked: no prompt is configured");
  return fail(NTE_SILENT_CONTEXT);
}

}  // namespace qx
