#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include "provider/key/prompt.h"
#include "provider/support/deadline.h"
#include "provider/support/files.h"
#include "provider/support/fork_gate.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr std::size_t kLongestLine = 1024;
constexpr char kControlC = 3;
constexpr std::chrono::milliseconds kLockStep{50};

/// The terminal under a name of its own. /dev/tty is one file for all terminals, and so is its lock:
/// whoever held it, on any terminal, would keep everybody from being asked.
Fd openByName(int terminal) {
  unsigned device = 0;
  if (ioctl(terminal, TIOCGDEV, &device) != 0) {
    return {};
  }
  for (const char* folder : {"/dev/pts/", "/dev/tty"}) {
    const std::string name = folder + std::to_string(minor(device));
    Fd named(open(name.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    struct stat status{};
    if (named && fstat(named.get(), &status) == 0 && S_ISCHR(status.st_mode) &&
        status.st_rdev == device) {
      return named;
    }
  }
  return {};
}

/// One question at a time on a terminal, whichever process or thread asks.
class TerminalLock {
 public:
  TerminalLock(int terminal, const Deadline& deadline) : terminal_(terminal) {
    while (!(held_ = flock(terminal, LOCK_EX | LOCK_NB) == 0) && !deadline.passed()) {
      poll(nullptr, 0, kLockStep.count());
    }
  }

  ~TerminalLock() {
    if (held_) {
      // A child that was forked meanwhile has a share in the lock: it ends by name, not by closing.
      static_cast<void>(flock(terminal_, LOCK_UN));
    }
  }

  TerminalLock(const TerminalLock&) = delete;
  TerminalLock& operator=(const TerminalLock&) = delete;
  TerminalLock(TerminalLock&&) = delete;
  TerminalLock& operator=(TerminalLock&&) = delete;

  bool held() const { return held_; }

 private:
  int terminal_;
  bool held_ = false;
};

/// Echo and signals are off as long as it lives. Ctrl-C ends the line instead of the host, whose
/// signal would leave the terminal without echo.
class QuietTerminal {
 public:
  explicit QuietTerminal(int terminal) : terminal_(terminal) {
    if (tcgetattr(terminal, &before_) != 0) {
      return;
    }
    termios quiet = before_;
    constexpr tcflag_t kOff = ECHO | ECHOE | ECHOK | ECHONL | ISIG;
    quiet.c_lflag = (quiet.c_lflag & ~kOff) | ICANON;
    quiet.c_cc[VEOL] = kControlC;
    quiet_ = tcsetattr(terminal, TCSAFLUSH, &quiet) == 0;
  }

  ~QuietTerminal() {
    if (quiet_) {
      static_cast<void>(tcsetattr(terminal_, TCSAFLUSH, &before_));
    }
  }

  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;
  QuietTerminal(QuietTerminal&&) = delete;
  QuietTerminal& operator=(QuietTerminal&&) = delete;

  bool quiet() const { return quiet_; }

 private:
  int terminal_;
  termios before_{};
  bool quiet_ = false;
};

/// A background process that touches the terminal's settings would be stopped.
bool isForeground(int terminal) {
  return tcgetpgrp(terminal) == getpgrp();
}

bool show(int terminal, const std::string& text) {
  return write(terminal, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

Result<SecretBytes> readLine(int terminal, const Deadline& deadline) {
  SecretBytes line(kLongestLine);
  if (!deadline.waitFor(terminal, POLLIN)) {
    return fail(SCARD_W_CANCELLED_BY_USER);
  }
  const ssize_t length = read(terminal, line.data(), line.size());
  if (length <= 1 || line.data()[length - 1] != '\n') {
    return fail(SCARD_W_CANCELLED_BY_USER);
  }
  line.truncate(static_cast<std::size_t>(length - 1));
  return line;
}

}  // namespace

Result<SecretBytes> askOnTerminal(const char* device,
                                  const std::string& what,
                                  std::chrono::milliseconds timeout) {
  const Fd terminal(open(device, O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!terminal || !isForeground(terminal.get())) {
    QX_TRACE("a PIN is needed and there is no terminal to ask on");
    return fail(NTE_SILENT_CONTEXT);
  }
  const ForkMayPass noLockIsHeld;
  const Deadline deadline(timeout);
  const Fd named = openByName(terminal.get());
  const TerminalLock lock(named ? named.get() : terminal.get(), deadline);
  if (!lock.held()) {
    return fail(SCARD_W_CANCELLED_BY_USER);
  }
  const QuietTerminal quiet(terminal.get());
  if (!quiet.quiet() || !show(terminal.get(), "PIN (" + escapeControls(what) + "): ")) {
    return fail(NTE_SILENT_CONTEXT);
  }
  auto pin = readLine(terminal.get(), deadline);
  static_cast<void>(show(terminal.get(), "\n"));
  return pin;
}

}  // namespace qx
