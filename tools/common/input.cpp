#include "tools/common/input.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "tools/common/descriptor.h"
#include "tools/common/error.h"

namespace qx::tools {
namespace {

constexpr std::size_t kFirstRead = 64UL * 1024;

[[noreturn]] void refuse(const std::string& name, const std::string& reason) {
  throw ToolError(ExitCode::Input, name + ": " + reason);
}

[[noreturn]] void refuseSize(const std::string& name) {
  refuse(name, "more than 2147483647 bytes, the most that one SSF call can take");
}

bool isStandard(const std::string& path, InputKind kind) {
  return path == "-" && kind == InputKind::Any;
}

// Whoever opens a pipe that nobody writes to waits, unless he asks not to.
int flagsOf(InputKind kind) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY;
  switch (kind) {
    case InputKind::Any:
      return kFlags;
    case InputKind::File:
      return kFlags | O_NONBLOCK;
    case InputKind::FoundFile:
      return kFlags | O_NONBLOCK | O_NOFOLLOW;
  }
  return kFlags;
}

// A mapped file that somebody shortens meanwhile ends the process: let it end with a line and the
// code that bad input gets.
void tellOfLostInput(int /*signal*/) {
  constexpr char kText[] = "a file became shorter while it was read\n";
  static_cast<void>(write(STDERR_FILENO, kText, sizeof kText - 1) == 0);
  _exit(static_cast<int>(ExitCode::Input));
}

}  // namespace

Input::Input(const std::string& path, InputKind kind)
    : name_(isStandard(path, kind) ? "standard input" : path) {
  const Descriptor file(isStandard(path, kind) ? dup(STDIN_FILENO)
                                               : open(path.c_str(), flagsOf(kind)));
  struct stat status{};
  if (!file || fstat(file.get(), &status) != 0) {
    refuse(name_, errnoText(errno));
  }
  if (S_ISDIR(status.st_mode)) {
    refuse(name_, "is a folder; name a file in it");
  }
  if (kind != InputKind::Any && !S_ISREG(status.st_mode)) {
    refuse(name_, "is no regular file");
  }
  const bool whole = S_ISREG(status.st_mode) && lseek(file.get(), 0, SEEK_CUR) == 0;
  const auto size = whole ? static_cast<std::size_t>(status.st_size) : 0;
  if (size > 0 && kind == InputKind::Any) {
    map(file.get(), size);
  } else {
    readAll(file.get(), size);
  }
}

Input::~Input() {
  if (mapped_ != nullptr) {
    munmap(mapped_, bytes_.size());
  }
}

void Input::map(int fd, std::size_t size) {
  if (size > kMaxInput) {
    refuseSize(name_);
  }
  void* memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  if (memory == MAP_FAILED) {
    readAll(fd, size);
    return;
  }
  // NOLINTNEXTLINE(cert-err33-c): the default then ends the process, too.
  std::signal(SIGBUS, tellOfLostInput);
  mapped_ = memory;
  bytes_ = {static_cast<const std::uint8_t*>(memory), size};
}

// One byte more than is expected shows that there is no more.
void Input::readAll(int fd, std::size_t expected) {
  std::size_t used = 0;
  if (expected > kMaxInput) {
    refuseSize(name_);
  }
  if (expected > 0) {
    read_.resize(expected + 1);
  }
  for (;;) {
    if (used == read_.size()) {
      read_.resize(std::min(std::max(kFirstRead, used * 2), kMaxInput + 1));
    }
    const ssize_t got = read(fd, read_.data() + used, read_.size() - used);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      refuse(name_, errnoText(errno));
    }
    if (got == 0) {
      break;
    }
    used += static_cast<std::size_t>(got);
    if (used > kMaxInput) {
      refuseSize(name_);
    }
  }
  bytes_ = {read_.data(), used};
}

}  // namespace qx::tools
