#include "provider/support/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>

namespace qx {
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

Failure failErrno() {
  return fail(errorFromErrno(errno));
}

bool isPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

FileStamp makeStamp(const struct stat& status) {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  const auto ticks = [](const timespec& time) {
    return (static_cast<std::int64_t>(time.tv_sec) * kNanoseconds) + time.tv_nsec;
  };
  return FileStamp{.device = status.st_dev,
                   .inode = status.st_ino,
                   .size = static_cast<std::uint64_t>(status.st_size),
                   .modified = ticks(status.st_mtim),
                   .changed = ticks(status.st_ctim),
                   .mode = status.st_mode};
}

struct OpenFile {
  Fd fd;
  std::size_t size = 0;
};

// O_NONBLOCK keeps a pipe that somebody put there from holding us up before we see what it is.
Result<OpenFile> openRegular(int dirFd, const char* name, std::size_t limit) {
  if (!isPlainName(name)) {
    return fail(ERROR_INVALID_NAME);
  }
  OpenFile file{.fd = Fd(openat(dirFd, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC))};
  struct stat status{};
  if (!file.fd || fstat(file.fd.get(), &status) != 0) {
    return failErrno();
  }
  if (!S_ISREG(status.st_mode)) {
    return fail(ERROR_ACCESS_DENIED);
  }
  if (static_cast<std::uint64_t>(status.st_size) > limit) {
    return fail(ERROR_INVALID_DATA);
  }
  file.size = static_cast<std::size_t>(status.st_size);
  return file;
}

// Reads until the end of the file or of the buffer.
Result<std::size_t> readAll(int fd, std::span<std::uint8_t> buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t count = read(fd, buffer.data() + done, buffer.size() - done);
    if (count < 0 && errno != EINTR) {
      return failErrno();
    }
    if (count == 0) {
      break;
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return done;
}

Result<void> writeAll(int fd, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(fd, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) {
      return failErrno();
    }
    bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  return {};
}

// A file that grew since its size was asked is being written by somebody who does not rename.
template <class Buffer>
Result<Buffer> readWhole(int dirFd, const char* name, std::size_t limit) {
  Result<OpenFile> file = openRegular(dirFd, name, limit);
  if (!file) {
    return file.failure();
  }
  Buffer buffer(file->size + 1);
  const Result<std::size_t> done = readAll(file->fd.get(), {buffer.data(), buffer.size()});
  if (!done) {
    return done.failure();
  }
  if (*done > file->size) {
    return fail(ERROR_INVALID_DATA);
  }
  if constexpr (requires { buffer.truncate(*done); }) {
    buffer.truncate(*done);
  } else {
    buffer.resize(*done);
  }
  return buffer;
}

constexpr const char* kTemporary = ".tmp-";
constexpr int kTemporaryDigits = 16;

// The temporary file of one write: gone at the end unless it was renamed.
class TemporaryFile {
 public:
  explicit TemporaryFile(int dirFd) : dirFd_(dirFd) {}

  ~TemporaryFile() {
    if (fd_) {
      static_cast<void>(unlinkat(dirFd_, name_.data(), 0));
    }
  }

  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  TemporaryFile(TemporaryFile&&) = delete;
  TemporaryFile& operator=(TemporaryFile&&) = delete;

  Result<void> create() {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, 0) != sizeof number) {
      return failErrno();
    }
    static_cast<void>(std::snprintf(name_.data(),
                                    name_.size(),
                                    "%s%0*llx",
                                    kTemporary,
                                    kTemporaryDigits,
                                    static_cast<unsigned long long>(number)));
    fd_ = Fd(openat(dirFd_,
                    name_.data(),
                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    S_IRUSR | S_IWUSR));
    return fd_ ? Result<void>() : failErrno();
  }

  Result<void> fill(std::span<const std::uint8_t> bytes, mode_t mode) {
    const Result<void> written = writeAll(fd_.get(), bytes);
    if (!written) {
      return written.failure();
    }
    if (fchmod(fd_.get(), mode) != 0 || fsync(fd_.get()) != 0) {
      return failErrno();
    }
    return {};
  }

  Result<void> renameTo(const char* name) {
    if (renameat(dirFd_, name_.data(), dirFd_, name) != 0) {
      return failErrno();
    }
    fd_.reset();
    return {};
  }

 private:
  int dirFd_;
  Fd fd_;
  std::array<char, 24> name_{};
};

Result<void> syncFolder(int dirFd) {
  return fsync(dirFd) == 0 ? Result<void>() : failErrno();
}

// Makes one folder; one that is there already keeps its mode.
Result<void> makeOne(const std::string& path, mode_t mode) {
  if (mkdir(path.c_str(), S_IRWXU) != 0) {
    return errno == EEXIST ? Result<void>() : failErrno();
  }
  return chmod(path.c_str(), mode) == 0 ? Result<void>() : failErrno();
}

}  // namespace

Fd& Fd::operator=(Fd&& other) noexcept {
  if (this != &other) {
    reset();
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

void Fd::reset() {
  if (fd_ >= 0) {
    static_cast<void>(close(std::exchange(fd_, -1)));
  }
}

DWORD errorFromErrno(int error) {
  switch (error) {
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP:  // a link where none is followed
      return ERROR_ACCESS_DENIED;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case ENAMETOOLONG:
      return ERROR_INVALID_NAME;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case ENOSPC:
    case EDQUOT:
      return ERROR_DISK_FULL;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    default:
      return CRYPT_E_FILE_ERROR;
  }
}

Result<Fd> openFolder(const std::string& path) {
  Fd folder(open(path.c_str(), kFolderFlags));
  return folder ? Result<Fd>(std::move(folder)) : failErrno();
}

Result<Fd> openFolderIn(int dirFd, const std::string& name) {
  if (!isPlainName(name)) {
    return fail(ERROR_INVALID_NAME);
  }
  Fd folder(openat(dirFd, name.c_str(), kFolderFlags));
  return folder ? Result<Fd>(std::move(folder)) : failErrno();
}

Result<Fd> makeFolder(const std::string& path, mode_t mode) {
  Result<Fd> folder = openFolder(path);
  if (folder || folder.error() != ERROR_FILE_NOT_FOUND) {
    return folder;
  }
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const Result<void> made = makeOne(path.substr(0, slash), mode);
    if (!made) {
      return made.failure();
    }
    if (slash == std::string::npos) {
      return openFolder(path);
    }
  }
}

Result<std::vector<std::string>> namesIn(int dirFd) {
  // A description of its own: reading moves the position, which duplicates would share.
  Fd own(openat(dirFd, ".", kFolderFlags));
  if (!own) {
    return failErrno();
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(fdopendir(own.get()), closedir);
  if (!folder) {
    return failErrno();
  }
  static_cast<void>(own.release());  // the stream closes it
  std::vector<std::string> names;
  for (errno = 0;;) {
    const dirent* entry = readdir(folder.get());  // NOLINT(concurrency-mt-unsafe): a stream of ours
    if (entry == nullptr) {
      break;
    }
    if (isPlainName(static_cast<const char*>(entry->d_name))) {
      names.emplace_back(static_cast<const char*>(entry->d_name));
    }
  }
  if (errno != 0) {
    return failErrno();
  }
  std::ranges::sort(names);
  return names;
}

Result<std::vector<std::uint8_t>> readFileIn(int dirFd, const char* name, std::size_t limit) {
  return readWhole<std::vector<std::uint8_t>>(dirFd, name, limit);
}

Result<SecretBytes> readSecretIn(int dirFd, const char* name, std::size_t limit) {
  return readWhole<SecretBytes>(dirFd, name, limit);
}

Result<FileStamp> stampIn(int dirFd, const char* name) {
  struct stat status{};
  if (!isPlainName(name)) {
    return fail(ERROR_INVALID_NAME);
  }
  if (fstatat(dirFd, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return failErrno();
  }
  return makeStamp(status);
}

Result<FileStamp> stampAt(const std::string& path) {
  struct stat status{};
  if (lstat(path.c_str(), &status) != 0) {
    return failErrno();
  }
  return makeStamp(status);
}

Result<FileStamp> stampOf(int fd) {
  struct stat status{};
  if (fstat(fd, &status) != 0) {
    return failErrno();
  }
  return makeStamp(status);
}

bool isTemporaryName(std::string_view name) {
  const std::string_view start = kTemporary;
  return name.starts_with(start) && name.size() == start.size() + kTemporaryDigits &&
         name.find_first_not_of("0123456789abcdef", start.size()) == std::string_view::npos;
}

Result<void> writeFileIn(int dirFd,
                         const char* name,
                         std::span<const std::uint8_t> bytes,
                         mode_t mode) {
  if (!isPlainName(name)) {
    return fail(ERROR_INVALID_NAME);
  }
  TemporaryFile file(dirFd);
  if (const Result<void> created = file.create(); !created) {
    return created;
  }
  if (const Result<void> filled = file.fill(bytes, mode); !filled) {
    return filled;
  }
  if (const Result<void> renamed = file.renameTo(name); !renamed) {
    return renamed;
  }
  return syncFolder(dirFd);
}

Result<void> removeFileIn(int dirFd, const char* name) {
  if (!isPlainName(name)) {
    return fail(ERROR_INVALID_NAME);
  }
  return unlinkat(dirFd, name, 0) == 0 ? syncFolder(dirFd) : failErrno();
}

Result<FolderLock> FolderLock::acquire(int dirFd) {
  Fd own(openat(dirFd, ".", kFolderFlags));
  if (!own) {
    return failErrno();
  }
  while (flock(own.get(), LOCK_EX) != 0) {
    if (errno != EINTR) {
      return failErrno();
    }
  }
  return FolderLock(std::move(own));
}

}  // namespace qx
