#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "provider/key/assuan.h"
#include "provider/key/helper_program.h"
#include "provider/key/prompt.h"
#include "provider/support/folders.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

/// A program that asks on a terminal must be told which one; it has none of its own.
std::string terminalName() {
  std::array<char, 128> name{};
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (ttyname_r(fd, name.data(), name.size()) == 0) {
      return name.data();
    }
  }
  return environmentVariable("GPG_TTY");
}

/// Options and texts; a program may know fewer of them than we do.
bool introduce(AssuanClient& client, const std::string& what) {
  std::vector<std::string> commands;
  if (const std::string terminal = terminalName(); !terminal.empty()) {
    commands.push_back("OPTION ttyname=" + terminal);
    commands.push_back("OPTION ttytype=" + environmentVariable("TERM"));
  }
  commands.emplace_back("SETTITLE PIN");
  commands.push_back("SETDESC " + AssuanClient::encode(escapeControls(what)));
  commands.emplace_back("SETPROMPT PIN:");
  for (const std::string& command : commands) {
    if (!client.send(command)) {
      return false;
    }
    static_cast<void>(client.awaitOk());
  }
  return true;
}

}  // namespace

Result<SecretBytes> askProgram(const std::string& program,
                               const std::string& what,
                               std::chrono::milliseconds timeout) {
  const Deadline deadline(timeout);
  HelperProgram running;
  if (!running.start(program)) {
    QX_TRACE("a PIN is needed and %s cannot be started", program.c_str());
    return fail(NTE_SILENT_CONTEXT);
  }
  AssuanClient client(running.socket(), deadline);
  SecretBytes pin;
  if (!client.awaitOk() || !introduce(client, what) || !client.send("GETPIN") ||
      !client.awaitOk(&pin) || pin.empty()) {
    QX_TRACE("%s gave no PIN", program.c_str());
    return fail(SCARD_W_CANCELLED_BY_USER);
  }
  return pin;
}

}  // namespace qx
