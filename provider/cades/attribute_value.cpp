#include "provider/cades/attribute_value.h"

#include <utility>

namespace qx {

std::vector<std::uint8_t> encodeSequence(std::string_view type, der::Encoding content) {
  const std::vector<std::uint8_t> value = der::wrap(der::kSequence, std::move(content)).bytes();
  return *encodeAttribute(type, {value});
}

Result<der::Bytes> soleValue(const Attribute& attribute) {
  return attribute.values.size() == 1 ? Result<der::Bytes>(attribute.values.front())
                                      : fail(CRYPT_E_ATTRIBUTES_MISSING);
}

}  // namespace qx
