#ifndef QX_TOOLS_COMMON_OUTPUT_H_
#define QX_TOOLS_COMMON_OUTPUT_H_

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qx::tools {

/// writeOutput makes or replaces a file: the bytes go to a temporary name beside it, reach the disk,
/// and are renamed; on failure nothing is left. A file that is replaced keeps its rights, a new one
/// gets `mode` as the umask allows. Pipes and devices are written to as they are. "-" is standard
/// output. Throws ToolError: Input, naming the file, or Usage for an empty name.
void writeOutput(const std::string& path, std::span<const std::uint8_t> bytes, mode_t mode = 0666);
void writeOutput(const std::string& path, std::string_view text, mode_t mode = 0666);

/// writePrivateOutput does the same for a file that its owner alone may read, whoever could read the
/// one that it replaces: mode 0600.
void writePrivateOutput(const std::string& path, std::span<const std::uint8_t> bytes);
void writePrivateOutput(const std::string& path, std::string_view text);

}  // namespace qx::tools

#endif
