#ifndef QX_TOOLS_COMMON_INPUT_H_
#define QX_TOOLS_COMMON_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qx::tools {

/// The most bytes that a signed 32-bit length can tell.
constexpr std::size_t kMaxInput = 2'147'483'647;

/// Input is a whole file, or all of standard input, as bytes. Files are mapped, not copied; what
/// cannot be mapped is read once.
class Input {
 public:
  /// The file `path`, "-" for standard input. Throws ToolError (Input), naming the file: it cannot be
  /// read, is a folder, or has more than kMaxInput bytes.
  explicit Input(const std::string& path);
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  Input(Input&&) = delete;
  Input& operator=(Input&&) = delete;

  /// name is the file as a message shall name it.
  const std::string& name() const { return name_; }

  std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
  void map(int fd, std::size_t size);
  void readAll(int fd);

  std::string name_;
  std::span<const std::uint8_t> bytes_;
  std::vector<std::uint8_t> read_;
  void* mapped_ = nullptr;
};

}  // namespace qx::tools

#endif
