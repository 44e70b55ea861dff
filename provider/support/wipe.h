#ifndef QX_PROVIDER_SUPPORT_WIPE_H_
#define QX_PROVIDER_SUPPORT_WIPE_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace qx {

/// wipe overwrites memory in a way that the optimiser keeps.
void wipe(void* memory, std::size_t size);

/// SecretBytes owns bytes that nobody else is to see: they are wiped before the memory goes back, and
/// left out of core dumps where the system can do that. Each holds whole pages of its own: a few for a
/// key or a PIN, many for the content of a message, but not one for each of very many small things.
class SecretBytes {
 public:
  SecretBytes() = default;
  /// Zeroed bytes. Throws std::bad_alloc.
  explicit SecretBytes(std::size_t size);
  explicit SecretBytes(std::span<const std::uint8_t> bytes);
  explicit SecretBytes(std::string_view text);
  ~SecretBytes();
  SecretBytes(SecretBytes&& other) noexcept;
  SecretBytes& operator=(SecretBytes&& other) noexcept;
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;

  /// A copy, made where it can be seen.
  SecretBytes clone() const { return SecretBytes(bytes()); }

  std::uint8_t* data() { return data_; }

  const std::uint8_t* data() const { return data_; }

  std::size_t size() const { return size_; }

  bool empty() const { return size_ == 0; }

  std::span<const std::uint8_t> bytes() const { return {data_, size_}; }

  std::string_view text() const { return {reinterpret_cast<const char*>(data_), size_}; }

  /// Makes it shorter and wipes what is cut off; a longer size is ignored.
  void truncate(std::size_t size);

 private:
  void release();

  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t mapped_ = 0;
};

}  // namespace qx

#endif
