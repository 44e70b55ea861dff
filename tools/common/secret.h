#ifndef QX_TOOLS_COMMON_SECRET_H_
#define QX_TOOLS_COMMON_SECRET_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace qx::tools {

/// Secret is a PIN or password in memory that is wiped when it goes. It holds at most kMaxSize bytes
/// and never moves its bytes to other memory while it grows.
class Secret {
 public:
  static constexpr std::size_t kMaxSize = 1024;

  Secret();
  explicit Secret(std::string_view text);
  ~Secret();
  Secret(Secret&& other) noexcept = default;
  Secret& operator=(Secret&& other) noexcept;
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  /// append adds one byte; false when there is no room for it.
  bool append(char byte);

  bool empty() const { return bytes_.empty(); }

  std::size_t size() const { return bytes_.size(); }

  std::string_view text() const { return {bytes_.data(), bytes_.size()}; }

  std::span<const std::uint8_t> bytes() const {
    return {reinterpret_cast<const std::uint8_t*>(bytes_.data()), bytes_.size()};
  }

 private:
  void wipe();

  std::vector<char> bytes_;
};

}  // namespace qx::tools

#endif
