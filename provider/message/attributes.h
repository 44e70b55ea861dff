#ifndef QX_PROVIDER_MESSAGE_ATTRIBUTES_H_
#define QX_PROVIDER_MESSAGE_ATTRIBUTES_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "provider/message/one_piece.h"
#include "provider/result.h"

namespace qx {

/// The headers of a SignerInfo's signedAttrs and unsignedAttrs (RFC 5652, 5.3).
inline constexpr std::uint8_t kSignedAttributesTag = der::contextConstructed(0);
inline constexpr std::uint8_t kUnsignedAttributesTag = der::contextConstructed(1);

/// Attribute is one attribute (RFC 5652, 5.3) over the bytes it was read from.
struct Attribute {
  std::string oid;
  std::vector<der::Bytes> values;  ///< whole elements
  der::Bytes whole;
};

using Attributes = std::vector<Attribute>;

/// readAttribute reads one attribute and nothing behind it.
Result<Attribute> readAttribute(der::Bytes encoded);

/// readAttributes reads the content of a SET OF Attribute, at most kMaxAttributes.
Result<Attributes> readAttributes(der::Bytes content);

/// hasRepeatedType tells whether two of the attributes are of one type.
bool hasRepeatedType(const Attributes& attributes);

/// findAttribute gives the first attribute of a type, or null.
const Attribute* findAttribute(const Attributes& attributes, std::string_view oid);

/// encodeAttribute makes an attribute of values that are whole elements, as a DER SET OF.
Result<std::vector<std::uint8_t>> encodeAttribute(std::string_view oid,
                                                  const std::vector<der::Bytes>& values);

/// encodeAttribute makes an attribute of the caller's record. E_INVALIDARG for a missing pointer, or a
/// value that is not one element.
Result<std::vector<std::uint8_t>> encodeAttribute(const CRYPT_ATTRIBUTE& attribute);

/// layOutAttributes writes attributes as records.
CRYPT_ATTRIBUTES layOutAttributes(const Attributes& attributes, OnePiece& piece);

}  // namespace qx

#endif
