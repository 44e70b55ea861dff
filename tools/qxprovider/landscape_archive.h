#ifndef QX_TOOLS_QXPROVIDER_LANDSCAPE_ARCHIVE_H_
#define QX_TOOLS_QXPROVIDER_LANDSCAPE_ARCHIVE_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "provider/support/wipe.h"

namespace qx::admin {

// A tar archive (POSIX ustar) of regular files, in memory that is wiped: libraries for archives keep copies of
// what passes through them, and keys do.

/// The most that an archive may hold.
constexpr std::size_t kMaxArchive = std::size_t{64} << 20U;
constexpr std::size_t kMaxArchiveFiles = 10'000;

/// One file; the content is borrowed.
struct ArchiveFile {
  /// Relative, with slashes.
  std::string path;
  std::span<const std::uint8_t> content;
};

/// writeArchive puts files into an archive. Throws ToolError (Input) for a path that ustar cannot hold
/// and for more than the limits allow.
SecretBytes writeArchive(const std::vector<ArchiveFile>& files);

/// readArchive gives the files of an archive, as parts of it. Throws ToolError (Input) for what is no
/// whole archive, holds anything but regular files or one path twice, or is beyond the limits. The
/// paths are what somebody wrote: the caller checks them.
std::vector<ArchiveFile> readArchive(std::span<const std::uint8_t> archive);

}  // namespace qx::admin

#endif
