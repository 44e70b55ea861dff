#ifndef QX_QXSAPSSF_OWNED_BYTES_H_
#define QX_QXSAPSSF_OWNED_BYTES_H_

// The library's only malloc and free: whatever a caller may get, or gives back, is made and freed here.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

#include "qxsapssf/ssf.h"

namespace qx {

/// freeBytes frees what malloc gave; NULL is accepted.
inline void freeBytes(void* bytes) noexcept {
  std::free(bytes);  // NOLINT(cppcoreguidelines-no-malloc): the interface promises malloc's heap
}

struct BytesDeleter {
  void operator()(void* bytes) const noexcept { freeBytes(bytes); }
};

/// OwnedBytes owns a byte string from malloc until it is handed to the caller. It never throws: an
/// allocation that failed leaves it empty (false).
class OwnedBytes {
 public:
  OwnedBytes() noexcept = default;

  /// allocate asks for `size` uninitialised bytes. Size 0 asks for one byte, so that no bytes and no
  /// memory are told apart.
  static OwnedBytes allocate(std::size_t size) noexcept {
    OwnedBytes bytes;
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): the interface promises malloc's heap
    bytes.data_.reset(static_cast<SAP_B8*>(std::malloc(size == 0 ? 1 : size)));
    bytes.size_ = bytes ? size : 0;
    return bytes;
  }

  static OwnedBytes allocateZeroed(std::size_t size) noexcept {
    OwnedBytes bytes = allocate(size);
    if (bytes) {
      std::memset(bytes.data(), 0, size);
    }
    return bytes;
  }

  static OwnedBytes copyOf(const void* source, std::size_t size) noexcept {
    OwnedBytes bytes = allocate(size);
    if (bytes && size != 0) {
      std::memcpy(bytes.data(), source, size);
    }
    return bytes;
  }

  explicit operator bool() const noexcept { return data_ != nullptr; }

  SAP_B8* data() noexcept { return data_.get(); }

  const SAP_B8* data() const noexcept { return data_.get(); }

  std::size_t size() const noexcept { return size_; }

  /// as views the bytes as a record that a platform function has put there (malloc aligns for any).
  template <class Record>
  Record* as() noexcept {
    return reinterpret_cast<Record*>(data_.get());
  }

  /// shrinkTo forgets the bytes behind `size`, which must not be larger than size().
  void shrinkTo(std::size_t size) noexcept { size_ = size; }

  /// release hands the bytes to the caller of the library.
  SAP_B8* release() noexcept {
    size_ = 0;
    return data_.release();
  }

 private:
  std::unique_ptr<SAP_B8, BytesDeleter> data_;
  std::size_t size_ = 0;
};

template <class Record>
using OwnedRecord = std::unique_ptr<Record, BytesDeleter>;

/// allocateRecord gives a zeroed record from malloc, or an empty pointer.
template <class Record>
OwnedRecord<Record> allocateRecord() noexcept {
  static_assert(std::is_trivial_v<Record>);
  OwnedBytes bytes = OwnedBytes::allocateZeroed(sizeof(Record));
  return OwnedRecord<Record>(reinterpret_cast<Record*>(bytes.release()));
}

/// wipeWithSpaces overwrites a secret before its memory goes back. The compiler may not leave it out
/// although nobody reads the bytes again.
inline void wipeWithSpaces(void* bytes, std::size_t size) noexcept {
  std::memset(bytes, ' ', size);
  __asm__ volatile("" : : "r"(bytes) : "memory");
}

}  // namespace qx

#endif
