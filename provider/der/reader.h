#ifndef QX_PROVIDER_DER_READER_H_
#define QX_PROVIDER_DER_READER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "provider/der/tag.h"
#include "provider/result.h"

namespace qx::der {

/// How deep indefinite lengths and constructed strings may be nested.
inline constexpr unsigned kMaxDepth = 64;

/// Element is one encoded value, as spans over the input: nothing is copied.
struct Element {
  std::uint8_t identifier = 0;  ///< first identifier octet: class, constructed bit, number below 31
  std::uint32_t number = 0;     ///< tag number, also when it needed more than one octet
  bool indefinite = false;      ///< the length was indefinite (BER)
  Bytes whole;                  ///< header, content and end-of-contents marker
  Bytes content;                ///< content octets alone

  bool constructed() const { return (identifier & kConstructed) != 0; }

  /// The tag is of the context-specific class.
  bool isContext() const { return (identifier & kClassMask) == kContextClass; }

  bool is(std::uint8_t expected) const { return identifier == expected; }
};

/// Header is the identifier and length octets of an element.
struct Header {
  std::uint8_t identifier = 0;
  std::uint32_t number = 0;
  bool indefinite = false;
  std::size_t size = 0;         ///< of the header itself
  std::size_t contentSize = 0;  ///< 0 when the length is indefinite
};

/// readHeader reads the header that `input` begins with; the content need not be there.
Result<Header> readHeader(Bytes input);

/// Reader walks the elements that stand one after another in `input`; to go into an element, make
/// another Reader over its content. It reads DER and BER (long and indefinite lengths) and trusts no
/// length. Errors: CRYPT_E_ASN1_EOD when an element runs past the end, CRYPT_E_ASN1_BADTAG when it
/// is not the expected one, CRYPT_E_ASN1_LARGE above a limit, CRYPT_E_ASN1_CORRUPT otherwise. After
/// an error the reader stands where it stood.
class Reader {
 public:
  explicit Reader(Bytes input) : rest_(input) {}

  bool atEnd() const { return rest_.empty(); }

  /// What was not read yet.
  Bytes rest() const { return rest_; }

  /// The next identifier octet, or nothing at the end.
  std::optional<std::uint8_t> peek() const;

  Result<Element> next();

  /// The next element, which must have this identifier.
  Result<Element> next(std::uint8_t identifier);

  /// The next element if it has this identifier; nothing (and no step) otherwise.
  Result<std::optional<Element>> optional(std::uint8_t identifier);

  /// CRYPT_E_ASN1_CORRUPT when something is left.
  Result<void> expectEnd() const;

 private:
  Bytes rest_;
};

/// readWhole reads an input that is one element of this identifier and nothing else.
Result<Element> readWhole(Bytes input, std::uint8_t identifier);

/// OctetStringReader gives the octets of an OCTET STRING as spans over the input, in order: one for
/// the primitive form, any number for the constructed one (BER). `primitive` is the identifier of the
/// primitive form: kOctetString, or the context tag that stands for it.
class OctetStringReader {
 public:
  explicit OctetStringReader(const Element& string, std::uint8_t primitive = kOctetString);

  /// The next octets, or nothing after the last ones. Errors as for Reader.
  Result<std::optional<Bytes>> next();

 private:
  Result<std::optional<Bytes>> step();

  std::vector<Reader> open_;  // one for each level that is being read
  std::uint8_t expected_;
};

/// visitOctets shows the octets of an OCTET STRING to `visitor`, a span at a time.
template <class Visitor>
Result<void> visitOctets(const Element& string,
                         const Visitor& visitor,
                         std::uint8_t primitive = kOctetString) {
  OctetStringReader reader(string, primitive);
  for (;;) {
    const Result<std::optional<Bytes>> next = reader.next();
    if (!next) {
      return next.failure();
    }
    const std::optional<Bytes> octets = *next;
    if (!octets) {
      return {};
    }
    visitor(*octets);
  }
}

/// readOctets collects the octets of an OCTET STRING in one piece.
Result<std::vector<std::uint8_t>> readOctets(const Element& string,
                                             std::uint8_t primitive = kOctetString);

}  // namespace qx::der

#endif
