#include "provider/key/helper_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "provider/support/deadline.h"
#include "provider/support/fork_gate.h"

// glibc's header forgets C++.
extern "C" {
#include <sys/pidfd.h>
}

namespace qx {
namespace {

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

}  // namespace

HelperProgram::~HelperProgram() {
  if (child_ < 0) {
    return;
  }
  const ForkMayPass noLockIsHeld;
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

bool HelperProgram::start(const std::string& program) {
  std::array<int, 2> ends{-1, -1};
  if (!program.starts_with('/') ||
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return false;
  }
  socket_ = Fd(ends[0]);
  const Fd theirs(ends[1]);
  SpawnPlan plan;
  if (!plan.talkThrough(theirs.get())) {
    return false;
  }
  child_ = plan.start(program);
  if (child_ < 0) {
    return false;
  }
  handle_ = Fd(pidfd_open(child_, 0));
  return true;
}

}  // namespace qx
