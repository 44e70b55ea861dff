#include "tests/tools/common/terminal_user.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace qx::tools {
namespace {

constexpr int kPatienceMs = 60'000;

int checked(int value, const char* what) {
  if (value < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return value;
}

std::string readToEnd(int fd) {
  std::string all;
  char buffer[512];
  for (ssize_t got = 0; (got = read(fd, buffer, sizeof buffer)) > 0;) {
    all.append(buffer, static_cast<std::size_t>(got));
  }
  return all;
}

}  // namespace

TerminalUser::TerminalUser()
    : master_(checked(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "terminal")) {
  checked(grantpt(master_.get()), "grantpt");
  checked(unlockpt(master_.get()), "unlockpt");
  char name[128];
  checked(-ptsname_r(master_.get(), name, sizeof name), "ptsname");
  // Held open at this side, too: a terminal that nobody holds forgets its settings.
  terminal_ = Descriptor(checked(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC), "terminal"));
}

TerminalUser::~TerminalUser() {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
}

void TerminalUser::start(const std::function<std::string()>& work) {
  int ends[2];
  checked(pipe2(ends, O_CLOEXEC), "pipe");
  result_ = Descriptor(ends[0]);
  const Descriptor told(ends[1]);
  child_ = checked(fork(), "fork");
  if (child_ == 0) {
    setsid();
    ioctl(terminal_.get(), TIOCSCTTY, 0);
    const std::string result = work();
    _exit(write(told.get(), result.data(), result.size()) < 0 ? 1 : 0);
  }
}

bool TerminalUser::readMore() {
  pollfd waiting{.fd = master_.get(), .events = POLLIN, .revents = 0};
  char buffer[512];
  if (poll(&waiting, 1, kPatienceMs) <= 0) {
    return false;
  }
  const ssize_t got = read(master_.get(), buffer, sizeof buffer);
  shown_.append(buffer, static_cast<std::size_t>(got > 0 ? got : 0));
  return got > 0;
}

bool TerminalUser::sees(const std::string& text) {
  std::size_t at = shown_.find(text, seen_);
  while (at == std::string::npos && readMore()) {
    at = shown_.find(text, seen_);
  }
  seen_ = at == std::string::npos ? seen_ : at + text.size();
  return at != std::string::npos;
}

void TerminalUser::types(const std::string& keys) const {
  checked(static_cast<int>(write(master_.get(), keys.data(), keys.size())), "typing");
}

std::string TerminalUser::end() {
  std::string result = readToEnd(result_.get());
  waitpid(child_, nullptr, 0);
  child_ = -1;
  // What the terminal still has on its way comes before a mark that is shown last.
  const std::string mark(1, '\x01');
  checked(static_cast<int>(write(terminal_.get(), mark.data(), mark.size())), "mark");
  while (!shown_.ends_with(mark) && readMore()) {
  }
  shown_.pop_back();
  return result;
}

bool TerminalUser::hasLocalFlags(tcflag_t flags) const {
  termios settings{};
  checked(tcgetattr(terminal_.get(), &settings), "settings");
  return (settings.c_lflag & flags) == flags;
}

void TerminalUser::clearLocalFlags(tcflag_t flags) const {
  termios settings{};
  checked(tcgetattr(terminal_.get(), &settings), "settings");
  settings.c_lflag &= ~flags;
  checked(tcsetattr(terminal_.get(), TCSANOW, &settings), "settings");
}

}  // namespace qx::tools
