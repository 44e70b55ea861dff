#ifndef QX_PROVIDER_DER_WRITER_H_
#define QX_PROVIDER_DER_WRITER_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/der/slice.h"
#include "provider/der/tag.h"
#include "provider/result.h"

namespace qx::der {

/// Encoding is bytes to be written, as a list of pieces: small ones are owned, large ones (content,
/// certificates) stay where they are until writeTo copies them, once, to their final place.
class Encoding {
 public:
  Encoding() = default;
  ~Encoding() = default;
  Encoding(Encoding&&) noexcept = default;
  Encoding& operator=(Encoding&&) noexcept = default;
  Encoding(const Encoding&) = delete;
  Encoding& operator=(const Encoding&) = delete;

  explicit Encoding(Slice piece);

  /// An Encoding of somebody else's bytes, which must outlive it.
  static Encoding borrowed(Bytes bytes) { return Encoding(Slice::borrowed(bytes)); }

  static Encoding owned(std::vector<std::uint8_t> bytes) {
    return Encoding(Slice::owned(std::move(bytes)));
  }

  Encoding& append(Encoding other);

  std::size_t size() const { return size_; }

  bool empty() const { return size_ == 0; }

  /// writeTo writes size() bytes.
  void writeTo(std::uint8_t* out) const;

  std::vector<std::uint8_t> bytes() const;

  /// The pieces in order, for a reader that needs no copy (a hash).
  template <class Visitor>
  void visit(const Visitor& visitor) const {
    for (const Slice& piece : pieces_) {
      visitor(piece.bytes());
    }
  }

 private:
  std::vector<Slice> pieces_;
  std::size_t size_ = 0;
};

/// wrap puts identifier and definite length before the content.
Encoding wrap(std::uint8_t identifier, Encoding content);

/// sequence is a SEQUENCE of its arguments in order.
template <class... Parts>
Encoding sequence(Parts... parts) {
  Encoding content;
  (content.append(std::move(parts)), ...);
  return wrap(kSequence, std::move(content));
}

/// setOf is a SET OF in DER order: sorted by the encoded bytes (X.690, 11.6), `identifier` kSet or
/// the context tag that stands for it.
Encoding setOf(const std::vector<Encoding>& elements, std::uint8_t identifier = kSet);

Encoding null();

Encoding integer(std::uint64_t value);

/// An INTEGER from little-endian two's complement, as the published interface holds serial numbers;
/// redundant sign octets are dropped. Empty counts as 0.
Encoding integerFromLittleEndian(Bytes octets);

/// OBJECT IDENTIFIER from dotted text: CRYPT_E_OID_FORMAT when it is none.
Result<Encoding> oid(std::string_view dotted);

/// AlgorithmIdentifier; `parameters` is one whole element, or empty for none.
Result<Encoding> algorithm(std::string_view dotted, Bytes parameters);

/// A time as RFC 5280, 4.1.2.5, has it: UTCTime from 1950 to 2049, else GeneralizedTime.
Encoding time(std::chrono::sys_seconds when);

/// OCTET STRING over borrowed octets.
Encoding octetString(Bytes octets);

/// The bytes of NULL, for algorithm parameters.
inline constexpr std::uint8_t kNullParameters[] = {kNull, 0};

}  // namespace qx::der

#endif
