// glibc 2.36 declares these functions without C linkage for C++.
extern "C" {
#include <sys/pidfd.h>
}

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include "provider/key/deadline.h"
#include "provider/key/prompt.h"
#include "provider/support/files.h"
#include "provider/support/folders.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr std::size_t kBufferSize = 4096;
constexpr int kFirstOtherFd = 3;
constexpr std::chrono::milliseconds kFarewell{500};

/// What posix_spawn is told about the program's descriptors and signals.
class SpawnPlan {
 public:
  SpawnPlan() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
  }

  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }

  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  SpawnPlan(SpawnPlan&&) = delete;
  SpawnPlan& operator=(SpawnPlan&&) = delete;

  /// Talks through `socket` and inherits nothing else of the host: no descriptor, no blocked signal.
  bool talkThrough(int socket) {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    return posix_spawn_file_actions_adddup2(&actions_, socket, STDIN_FILENO) == 0 &&
           posix_spawn_file_actions_adddup2(&actions_, socket, STDOUT_FILENO) == 0 &&
           posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0) ==
               0 &&
           posix_spawn_file_actions_addclosefrom_np(&actions_, kFirstOtherFd) == 0 &&
           posix_spawnattr_setsigmask(&attributes_, &none) == 0 &&
           posix_spawnattr_setsigdefault(&attributes_, &all) == 0 &&
           posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) ==
               0;
  }

  pid_t start(const std::string& program) {
    std::string name = program;
    std::array<char*, 2> arguments = {name.data(), nullptr};
    pid_t child = -1;
    return posix_spawn(
               &child, program.c_str(), &actions_, &attributes_, arguments.data(), environ) == 0
               ? child
               : -1;
  }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

/// A running program with a socket to it; ended and waited for when the object dies.
class Program {
 public:
  Program() = default;

  ~Program() {
    if (child_ < 0) {
      return;
    }
    // The end of its input ends a sound program, which then leaves the terminal in order.
    socket_.reset();
    if (handle_ && !Deadline(kFarewell).waitFor(handle_.get(), POLLIN)) {
      static_cast<void>(pidfd_send_signal(handle_.get(), SIGKILL, nullptr, 0));
    } else if (!handle_) {
      static_cast<void>(kill(child_, SIGKILL));
    }
    while (waitpid(child_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }

  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  Program(Program&&) = delete;
  Program& operator=(Program&&) = delete;

  bool start(const std::string& program) {
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
      return false;
    }
    socket_ = Fd(ends[0]);
    const Fd theirs(ends[1]);
    SpawnPlan plan;
    if (!plan.talkThrough(theirs.get()) || (child_ = plan.start(program)) < 0) {
      return false;
    }
    handle_ = Fd(pidfd_open(child_, 0));
    return true;
  }

  int socket() const { return socket_.get(); }

 private:
  Fd socket_;
  Fd handle_;
  pid_t child_ = -1;
};

/// The client's side of the Assuan protocol: a command is a line, the answer ends with OK or ERR.
class Conversation {
 public:
  Conversation(int socket, const Deadline& deadline)
      : socket_(socket), deadline_(deadline), buffer_(kBufferSize) {}

  /// send writes one command. A program that is gone must not cost the host a SIGPIPE.
  bool send(const std::string& command) {
    const std::string line = command + "\n";
    return ::send(socket_, line.data(), line.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(line.size());
  }

  /// awaitOk reads up to the end of an answer; the data in it, if any, replaces `data`.
  bool awaitOk(SecretBytes* data = nullptr) {
    for (;;) {
      const auto line = nextLine();
      if (!line || line->starts_with("ERR")) {
        return false;
      }
      if (line->starts_with("OK")) {
        return true;
      }
      if (line->starts_with("D ") && data != nullptr) {
        *data = decode(line->substr(2));
      }
    }
  }

 private:
  /// The next line without its end; it lies in the buffer until the next call.
  std::optional<std::string_view> nextLine() {
    drop(consumed_);
    for (;;) {
      const auto* begin = buffer_.data();
      const auto* end = std::find(begin, begin + filled_, '\n');
      if (end != begin + filled_) {
        const auto length = static_cast<std::size_t>(end - begin);
        consumed_ = length + 1;
        return buffer_.text().substr(0, length);
      }
      if (!receive()) {
        return std::nullopt;
      }
    }
  }

  bool receive() {
    if (filled_ == buffer_.size() || !deadline_.waitFor(socket_, POLLIN)) {
      return false;
    }
    const ssize_t count =
        recv(socket_, buffer_.data() + filled_, buffer_.size() - filled_, MSG_DONTWAIT);
    if (count <= 0) {
      return false;
    }
    filled_ += static_cast<std::size_t>(count);
    return true;
  }

  void drop(std::size_t count) {
    std::copy(buffer_.data() + count, buffer_.data() + filled_, buffer_.data());
    filled_ -= count;
    consumed_ = 0;
  }

  static int hexValue(char c) {
    if (c >= '0' && c <= '9') {
      return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
      return c - 'A' + 10;
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
  }

  static SecretBytes decode(std::string_view text) {
    SecretBytes data(text.size());
    std::size_t length = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      int octet = static_cast<unsigned char>(text[i]);
      if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 &&
          hexValue(text[i + 2]) >= 0) {
        octet = hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]);
        i += 2;
      }
      data.data()[length++] = static_cast<std::uint8_t>(octet);
    }
    data.truncate(length);
    return data;
  }

  int socket_;
  const Deadline& deadline_;
  SecretBytes buffer_;
  std::size_t filled_ = 0;
  std::size_t consumed_ = 0;
};

std::string encode(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    if (c == '%') {
      encoded += "%25";
    } else {
      encoded += c;
    }
  }
  return encoded;
}

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
bool introduce(Conversation& conversation, const std::string& what) {
  std::vector<std::string> commands;
  if (const std::string terminal = terminalName(); !terminal.empty()) {
    commands.push_back("OPTION ttyname=" + terminal);
    commands.push_back("OPTION ttytype=" + environmentVariable("TERM"));
  }
  commands.push_back("SETTITLE PIN");
  commands.push_back("SETDESC " + encode(escapeControls(what)));
  commands.push_back("SETPROMPT PIN:");
  for (const std::string& command : commands) {
    if (!conversation.send(command)) {
      return false;
    }
    static_cast<void>(conversation.awaitOk());
  }
  return true;
}

}  // namespace

Result<SecretBytes> askProgram(const std::string& program,
                               const std::string& what,
                               std::chrono::milliseconds timeout) {
  const Deadline deadline(timeout);
  Program running;
  if (!program.starts_with('/') || !running.start(program)) {
    QX_TRACE("a PIN is needed and %s cannot be started", program.c_str());
    return fail(NTE_SILENT_CONTEXT);
  }
  Conversation conversation(running.socket(), deadline);
  SecretBytes pin;
  if (!conversation.awaitOk() || !introduce(conversation, what) || !conversation.send("GETPIN") ||
      !conversation.awaitOk(&pin) || pin.empty()) {
    QX_TRACE("%s gave no PIN", program.c_str());
    return fail(SCARD_W_CANCELLED_BY_USER);
  }
  return pin;
}

}  // namespace qx
