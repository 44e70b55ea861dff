#ifndef QX_PROVIDER_SUPPORT_FILES_H_
#define QX_PROVIDER_SUPPORT_FILES_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

// Files are reached through their folder's descriptor and by a single name: no link is followed, no
// path can lead out of the folder, and only regular files are opened. Errors of all functions are
// the ones that errorFromErrno gives, and ERROR_INVALID_NAME for a name that is empty, is "." or
// ".." or holds a slash.

/// Fd owns a file descriptor.
class Fd {
 public:
  Fd() = default;

  explicit Fd(int fd) : fd_(fd) {}

  ~Fd() { reset(); }

  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

  Fd& operator=(Fd&& other) noexcept;
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;

  int get() const { return fd_; }

  explicit operator bool() const { return fd_ >= 0; }

  void reset();

  /// Gives the descriptor away, unclosed.
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

/// errorFromErrno turns a value of errno into a last-error value.
DWORD errorFromErrno(int error);

/// openFolder opens a folder; its last component may not be a link.
Result<Fd> openFolder(const std::string& path);

/// openFolderIn opens a folder that lies directly in another one.
Result<Fd> openFolderIn(int dirFd, const std::string& name);

/// makeFolder opens a folder, which it makes, with missing parents, when it is not there. `mode` holds
/// for the folders that it makes, whatever the umask.
Result<Fd> makeFolder(const std::string& path, mode_t mode);

/// namesIn lists what a folder holds, in byte order, without "." and "..".
Result<std::vector<std::string>> namesIn(int dirFd);

/// readFileIn reads a file of at most `limit` bytes; a longer one is ERROR_INVALID_DATA.
Result<std::vector<std::uint8_t>> readFileIn(int dirFd, const char* name, std::size_t limit);

/// readSecretIn is readFileIn for contents that must not stay in memory.
Result<SecretBytes> readSecretIn(int dirFd, const char* name, std::size_t limit);

/// FileStamp tells whether a file (or folder) is still the one that was read.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::int64_t changed = 0;   ///< the same for the inode
  std::uint32_t mode = 0;     ///< type and rights

  bool operator==(const FileStamp&) const = default;
};

/// stampIn stamps an entry of a folder, a link as a link.
Result<FileStamp> stampIn(int dirFd, const char* name);

/// stampAt stamps what lies at a path, a link as a link, by one system call.
Result<FileStamp> stampAt(const std::string& path);

/// stampOf stamps an open folder or file.
Result<FileStamp> stampOf(int fd);

/// writeFileIn makes a file or replaces one: the bytes go to a temporary name, reach the disk, and are
/// renamed. After a crash there is the old file or the new one. `mode` holds whatever the umask.
Result<void> writeFileIn(int dirFd,
                         const char* name,
                         std::span<const std::uint8_t> bytes,
                         mode_t mode);

/// isTemporaryName tells whether a name is one of those that writeFileIn writes to first; a write that was
/// interrupted leaves it behind.
bool isTemporaryName(std::string_view name);

/// removeFileIn removes a file; ERROR_FILE_NOT_FOUND when it is not there.
Result<void> removeFileIn(int dirFd, const char* name);

/// FolderLock is an exclusive lock on a folder against other holders of it, in this process and in
/// others. acquire waits; the lock ends with the object.
class FolderLock {
 public:
  static Result<FolderLock> acquire(int dirFd);

 private:
  explicit FolderLock(Fd fd) : fd_(std::move(fd)) {}

  Fd fd_;
};

}  // namespace qx

#endif
