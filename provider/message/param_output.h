#ifndef QX_PROVIDER_MESSAGE_PARAM_OUTPUT_H_
#define QX_PROVIDER_MESSAGE_PARAM_OUTPUT_H_

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "platform/types.h"

#include "provider/der/writer.h"
#include "provider/message/one_piece.h"
#include "provider/result.h"

namespace qx {

/// ParamOutput is the caller's buffer under the two-pass size protocol: no data pointer asks for the
/// size, a buffer that is too small gets ERROR_MORE_DATA and the size, a good one exactly what is
/// needed. Sizes above 2 147 483 647: CRYPT_E_ASN1_LARGE.
class ParamOutput {
 public:
  /// `data` may be null; `size` may not.
  ParamOutput(void* data, DWORD* size) : data_(static_cast<std::uint8_t*>(data)), size_(size) {}

  /// A number of four bytes.
  Result<void> putNumber(std::size_t number);

  /// Text with its NUL, which counts.
  Result<void> putText(std::string_view text);

  Result<void> putBytes(der::Bytes bytes);

  /// Writes the encoding straight into the caller's buffer.
  Result<void> putEncoding(const der::Encoding& encoding);

  /// `write(out)` writes `size` bytes.
  template <class Write>
  Result<void> put(std::size_t size, const Write& write) {
    const Result<std::uint8_t*> out = reserve(size);
    if (!out) {
      return out.failure();
    }
    if (*out != nullptr) {
      write(*out);
    }
    return {};
  }

  /// A record in one piece: `fill(record, piece)` sets the members, whatever they point at comes from
  /// `piece`. It runs once to measure and once to write.
  template <class Record, class Fill>
  Result<void> putRecord(const Fill& fill) {
    OnePiece measure(nullptr);
    Record scratch{};
    measure.allocate<Record>(1);
    fill(scratch, measure);
    const Result<std::uint8_t*> out = reserve(measure.size());
    if (!out) {
      return out.failure();
    }
    if (*out == nullptr) {
      return {};
    }
    // A record without pointers may stand on less than eight bytes: a FILETIME on a caller's stack does.
    if (reinterpret_cast<std::uintptr_t>(*out) % alignof(Record) != 0) {
      return fail(E_INVALIDARG);
    }
    OnePiece piece(*out);
    fill(*new (piece.allocate<Record>(1)) Record{}, piece);
    return {};
  }

  /// Says that there is nothing, for failures that report a size of 0.
  void putNothing() { *size_ = 0; }

 private:
  /// Where to write `size` bytes, or null when only the size was asked for.
  Result<std::uint8_t*> reserve(std::size_t size);

  std::uint8_t* data_;
  DWORD* size_;
};

}  // namespace qx

#endif
