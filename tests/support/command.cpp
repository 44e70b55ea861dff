#include "tests/support/command.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace qx::test {
namespace {

constexpr int kTerminalPatienceMs = 60'000;

void check(int error, const char* what) {
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), what);
  }
}

template <class T>
T checked(T value, const char* what) {
  if (value < 0) {
    check(errno, what);
  }
  return value;
}

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}

  ~Descriptor() { close(); }

  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }

  void close() {
    if (fd_ >= 0) {
      ::close(std::exchange(fd_, -1));
    }
  }

 private:
  int fd_;
};

struct Pipe {
  Pipe() {
    int ends[2];
    checked(pipe2(ends, O_CLOEXEC), "pipe");
    // Out of the way of the descriptors that the program is given by number.
    read = Descriptor(checked(fcntl(ends[0], F_DUPFD_CLOEXEC, 100), "dup"));
    write = Descriptor(checked(fcntl(ends[1], F_DUPFD_CLOEXEC, 100), "dup"));
    ::close(ends[0]);
    ::close(ends[1]);
  }

  Descriptor read;
  Descriptor write;
};

// Output goes to memory files: the program can never block on them, so nothing has to be polled.
Descriptor memoryFile() {
  const Descriptor low(checked(memfd_create("output", MFD_CLOEXEC), "memfd"));
  return Descriptor(checked(fcntl(low.get(), F_DUPFD_CLOEXEC, 100), "dup"));
}

std::string contentOf(const Descriptor& file) {
  const off_t size = checked(lseek(file.get(), 0, SEEK_END), "lseek");
  std::string content(static_cast<size_t>(size), '\0');
  const ssize_t got = checked(pread(file.get(), content.data(), content.size(), 0), "pread");
  content.resize(static_cast<size_t>(got));
  return content;
}

// A program that ends without reading its input is no error.
void feed(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written <= 0) {
      return;
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

class FileActions {
 public:
  FileActions() { check(posix_spawn_file_actions_init(&actions_), "file actions"); }

  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }

  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  FileActions(FileActions&&) = delete;
  FileActions& operator=(FileActions&&) = delete;

  void dup(const Descriptor& from, int to) {
    check(posix_spawn_file_actions_adddup2(&actions_, from.get(), to), "dup2");
  }

  void folder(const std::string& path) {
    check(posix_spawn_file_actions_addchdir_np(&actions_, path.c_str()), "chdir");
  }

  // The first terminal that the leader of a session opens becomes its controlling terminal. It
  // stays open: a terminal that nobody holds reads as ended at our side.
  void openTerminal(const std::string& path) {
    check(posix_spawn_file_actions_addopen(&actions_, 99, path.c_str(), O_RDWR, 0), "open");
  }

  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

class Attributes {
 public:
  Attributes() {
    check(posix_spawnattr_init(&attributes_), "attributes");
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    check(posix_spawnattr_setsigdefault(&attributes_, &defaults), "signals");
    // A session of its own: no terminal of whoever runs the tests is ever asked for a PIN.
    check(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID),
          "flags");
  }

  ~Attributes() { posix_spawnattr_destroy(&attributes_); }

  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  Attributes(Attributes&&) = delete;
  Attributes& operator=(Attributes&&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

std::vector<std::string> environmentOf(const Command& command) {
  std::vector<std::string> lines;
  for (char** line = environ; *line != nullptr; ++line) {
    const std::string_view entry(*line);
    if (!command.environment.contains(std::string(entry.substr(0, entry.find('='))))) {
      lines.emplace_back(entry);
    }
  }
  for (const auto& [name, value] : command.environment) {
    if (!value.empty()) {
      lines.push_back(name + "=" + value);
    }
  }
  return lines;
}

std::vector<char*> pointersOf(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  pointers.reserve(strings.size() + 1);
  for (std::string& text : strings) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

Descriptor openMaster(std::string& slaveName) {
  Descriptor master(checked(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "terminal"));
  checked(grantpt(master.get()), "grantpt");
  checked(unlockpt(master.get()), "unlockpt");
  char name[128];
  check(ptsname_r(master.get(), name, sizeof name), "ptsname");
  slaveName = name;
  return master;
}

// Appends what the terminal shows; false at its end.
bool readTerminal(int master, std::string& shown) {
  pollfd waiting{.fd = master, .events = POLLIN, .revents = 0};
  char buffer[1024];
  if (poll(&waiting, 1, kTerminalPatienceMs) <= 0) {
    return false;
  }
  const ssize_t got = read(master, buffer, sizeof buffer);
  if (got <= 0) {
    return false;
  }
  shown.append(buffer, static_cast<size_t>(got));
  return true;
}

void converse(int master, const Command& command, std::string& shown) {
  size_t from = 0;
  for (const auto& [awaited, typed] : command.dialog) {
    size_t at = shown.find(awaited, from);
    for (; at == std::string::npos; at = shown.find(awaited, from)) {
      if (!readTerminal(master, shown)) {
        throw std::runtime_error("the terminal never showed: " + awaited + "; it showed: " + shown);
      }
    }
    from = at + awaited.size();
    feed(master, typed);
  }
}

int waitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) {
      check(errno, "waitpid");
    }
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The program as it runs: its ends of the pipes, and ours.
struct Session {
  Pipe input;
  Descriptor out = memoryFile();
  Descriptor err = memoryFile();
  Descriptor master;
  std::string slaveName;
  std::vector<Pipe> extra;
};

void prepare(const Command& command, Session& session, FileActions& actions) {
  if (!command.folder.empty()) {
    actions.folder(command.folder);
  }
  if (!command.dialog.empty()) {
    session.master = openMaster(session.slaveName);
    actions.openTerminal(session.slaveName);
  }
  actions.dup(session.input.read, STDIN_FILENO);
  actions.dup(session.out, STDOUT_FILENO);
  actions.dup(session.err, STDERR_FILENO);
  for (const auto& [number, bytes] : command.descriptors) {
    const Pipe& pipe = session.extra.emplace_back();
    feed(pipe.write.get(), bytes);
    actions.dup(pipe.read, number);
  }
}

pid_t start(const Command& command, Session& session) {
  FileActions actions;
  const Attributes attributes;
  prepare(command, session, actions);
  std::vector<std::string> arguments = command.arguments;
  std::vector<std::string> environment = environmentOf(command);
  pid_t child = 0;
  check(posix_spawnp(&child,
                     arguments.at(0).c_str(),
                     actions.get(),
                     attributes.get(),
                     pointersOf(arguments).data(),
                     pointersOf(environment).data()),
        arguments.at(0).c_str());
  session.input.read.close();
  session.extra.clear();
  return child;
}

}  // namespace

CommandResult run(const Command& command) {
  // NOLINTNEXTLINE(cert-err33-c, performance-no-int-to-ptr): a program may end without reading.
  std::signal(SIGPIPE, SIG_IGN);
  Session session;
  const pid_t child = start(command, session);
  CommandResult result;
  if (session.master.get() >= 0) {
    converse(session.master.get(), command, result.terminal);
  }
  feed(session.input.write.get(), command.input);
  session.input.write.close();
  if (session.master.get() >= 0) {
    while (readTerminal(session.master.get(), result.terminal)) {
    }
  }
  result.exitCode = waitFor(child);
  result.out = contentOf(session.out);
  result.err = contentOf(session.err);
  return result;
}

CommandResult run(std::vector<std::string> arguments) {
  Command command;
  command.arguments = std::move(arguments);
  return run(command);
}

}  // namespace qx::test
