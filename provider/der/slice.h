#ifndef QX_PROVIDER_DER_SLICE_H_
#define QX_PROVIDER_DER_SLICE_H_

#include <utility>
#include <vector>

#include "provider/der/tag.h"

namespace qx::der {

/// Slice is contiguous bytes that are either borrowed (and then must outlive the slice) or its own.
/// Moving a slice leaves its bytes where they are.
class Slice {
 public:
  Slice() = default;
  ~Slice() = default;
  Slice(Slice&&) noexcept = default;
  Slice& operator=(Slice&&) noexcept = default;
  Slice(const Slice&) = delete;
  Slice& operator=(const Slice&) = delete;

  static Slice borrowed(Bytes bytes) {
    Slice slice;
    slice.bytes_ = bytes;
    return slice;
  }

  static Slice owned(std::vector<std::uint8_t> bytes) {
    Slice slice;
    slice.own_ = std::move(bytes);
    slice.bytes_ = slice.own_;
    return slice;
  }

  Bytes bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> own_;
  Bytes bytes_;
};

}  // namespace qx::der

#endif
