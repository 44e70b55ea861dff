#ifndef QX_PROVIDER_KEY_PROMPT_H_
#define QX_PROVIDER_KEY_PROMPT_H_

#include <chrono>
#include <string>

#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// askPin asks the user for the PIN of a key, once, in the way that is configured. `what` tells the
/// user which key, in UTF-8. Errors: NTE_SILENT_CONTEXT when nobody can be asked (no prompt configured,
/// no terminal, the program does not start), SCARD_W_CANCELLED_BY_USER when the user gave no PIN or
/// none in time.
Result<SecretBytes> askPin(const std::string& what);

/// askOnTerminal asks on a terminal device without echo. Errors as askPin.
Result<SecretBytes> askOnTerminal(const char* device,
                                  const std::string& what,
                                  std::chrono::milliseconds timeout);

/// askProgram asks through a pinentry program (Assuan protocol on its standard input and output). The
/// program is started by its absolute path, without a shell, and is gone when this returns. Errors as
/// askPin.
Result<SecretBytes> askProgram(const std::string& program,
                               const std::string& what,
                               std::chrono::milliseconds timeout);

}  // namespace qx

#endif
