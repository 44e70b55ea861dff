#ifndef QX_PROVIDER_MESSAGE_ONE_PIECE_H_
#define QX_PROVIDER_MESSAGE_ONE_PIECE_H_

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "platform/types.h"

#include "provider/der/tag.h"

namespace qx {

/// OnePiece lays records and what they point at one behind another into one buffer, aligned to 8
/// bytes. Without a buffer it only measures, and every pointer it gives is null: the same code
/// measures first and writes then.
class OnePiece {
 public:
  explicit OnePiece(std::uint8_t* base) : base_(base) {}

  /// What was laid out so far, in bytes.
  std::size_t size() const { return size_; }

  /// Room for `count` objects; null while measuring.
  template <class T>
  void* allocate(std::size_t count) {
    static_assert(alignof(T) <= kAlignment);
    return reserve(count * sizeof(T));
  }

  /// An array of `count` records; `fill(record, index)` sets each. Null when there are none.
  template <class T, class Fill>
  T* array(std::size_t count, const Fill& fill) {
    auto* items = static_cast<T*>(allocate<T>(count));
    for (std::size_t i = 0; i < count; ++i) {
      T scratch{};
      fill(items == nullptr ? scratch : *new (static_cast<void*>(items + i)) T{}, i);
    }
    return count == 0 ? nullptr : items;
  }

  /// A copy of the bytes; pbData is null when there are none.
  CRYPT_DATA_BLOB blob(der::Bytes bytes);

  /// The bytes of an INTEGER's content as the interface holds integers: least octet first.
  CRYPT_INTEGER_BLOB integer(der::Bytes content);

  /// A copy of the text with a NUL.
  LPSTR text(std::string_view text);

 private:
  static constexpr std::size_t kAlignment = 8;

  std::uint8_t* reserve(std::size_t bytes);

  std::uint8_t* base_;
  std::size_t size_ = 0;
};

}  // namespace qx

#endif
