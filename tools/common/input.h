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

/// What an input may be: Any is what a user names, standard input, pipes and devices too, and a file is
/// mapped. File is a regular file and is copied to memory, so that whoever shortens it meanwhile harms
/// nobody; FoundFile is one that nobody named, and no link.
enum class InputKind : std::uint8_t { Any, File, FoundFile };

/// Input is a whole file, or all of standard input, as bytes. What is not mapped is read once.
class Input {
 public:
  /// The file `path`, "-" for standard input if it may be Any. Throws ToolError (Input), naming the file: it
  /// cannot be read, is not of this kind, or has more than kMaxInput bytes.
  explicit Input(const std::string& path, InputKind kind = InputKind::Any);
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
  void readAll(int fd, std::size_t expected);

  std::string name_;
  std::span<const std::uint8_t> bytes_;
  std::vector<std::uint8_t> read_;
  void* mapped_ = nullptr;
};

}  // namespace qx::tools

#endif
