#include "tools/common/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "tools/common/descriptor.h"
#include "tools/common/error.h"

namespace qx::tools {
namespace {

[[noreturn]] void refuse(const std::string& name) {
  throw ToolError(ExitCode::Input, name + ": " + errnoText(errno));
}

void writeAll(int fd, std::span<const std::uint8_t> bytes, const std::string& name) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written < 0) {
      refuse(name);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
}

mode_t withUmask(mode_t mode) {
  const mode_t mask = umask(0);
  umask(mask);
  return mode & ~mask;
}

// A file under a temporary name, gone again unless it was given its own. The name is no longer than
// any file's may be, however long the target's is.
class Replacement {
 public:
  explicit Replacement(const std::string& target)
      : target_(target),
        temporary_(std::filesystem::path(target).replace_filename(".new-XXXXXX")),
        file_(mkostemp(temporary_.data(), 0)) {
    if (!file_) {
      refuse(target_);
    }
  }

  ~Replacement() {
    if (!temporary_.empty()) {
      unlink(temporary_.c_str());
    }
  }

  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  Replacement(Replacement&&) = delete;
  Replacement& operator=(Replacement&&) = delete;

  void write(std::span<const std::uint8_t> bytes, mode_t mode) {
    writeAll(file_.get(), bytes, target_);
    if (fchmod(file_.get(), mode) != 0 || fsync(file_.get()) != 0) {
      refuse(target_);
    }
  }

  void rename() {
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
      refuse(target_);
    }
    temporary_.clear();
    const std::string folder = std::filesystem::path(target_).parent_path();
    const Descriptor opened(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY));
    if (opened) {
      fsync(opened.get());
    }
  }

 private:
  std::string target_;
  std::string temporary_;
  Descriptor file_;
};

void writeInPlace(const std::string& path, std::span<const std::uint8_t> bytes) {
  const Descriptor device(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (!device) {
    refuse(path);
  }
  writeAll(device.get(), bytes, path);
}

// A link keeps pointing where it points; what it points at is replaced.
std::string resolved(const std::string& path) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::canonical(path, error);
  return error ? path : target.string();
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// `rightsOf` says what rights the file gets: of the one that it replaces, or null.
void put(const std::string& path,
         std::span<const std::uint8_t> bytes,
         const std::function<mode_t(const struct stat*)>& rightsOf) {
  if (path.empty()) {
    throw ToolError(ExitCode::Usage, "the name of the output file is empty");
  }
  if (path == "-") {
    writeAll(STDOUT_FILENO, bytes, "standard output");
    return;
  }
  struct stat status{};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    writeInPlace(path, bytes);
    return;
  }
  Replacement file(exists ? resolved(path) : path);
  file.write(bytes, rightsOf(exists ? &status : nullptr));
  file.rename();
}

}  // namespace

void writeOutput(const std::string& path, std::span<const std::uint8_t> bytes, mode_t mode) {
  put(path, bytes, [mode](const struct stat* present) {
    return present == nullptr ? withUmask(mode) : present->st_mode & 07777;
  });
}

void writePrivateOutput(const std::string& path, std::span<const std::uint8_t> bytes) {
  put(path, bytes, [](const struct stat*) { return S_IRUSR | S_IWUSR; });
}

void writeOutput(const std::string& path, std::string_view text, mode_t mode) {
  writeOutput(path, bytesOf(text), mode);
}

void writePrivateOutput(const std::string& path, std::string_view text) {
  writePrivateOutput(path, bytesOf(text));
}

}  // namespace qx::tools
