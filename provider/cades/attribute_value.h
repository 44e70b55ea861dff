#ifndef QX_PROVIDER_CADES_ATTRIBUTE_VALUE_H_
#define QX_PROVIDER_CADES_ATTRIBUTE_VALUE_H_

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/der/writer.h"
#include "provider/message/attributes.h"
#include "provider/message/limits.h"
#include "provider/result.h"
#include "provider/store/x509_fields.h"

namespace qx {

/// encodeSequence makes an attribute whose only value is a SEQUENCE of this content.
std::vector<std::uint8_t> encodeSequence(std::string_view type, der::Encoding content);

/// soleValue gives the value of an attribute that has to have exactly one; CRYPT_E_ATTRIBUTES_MISSING.
Result<der::Bytes> soleValue(const Attribute& attribute);

/// readEach reads a list of SEQUENCEs with `readOne(element)`; more than kMaxCertificates of them are a
/// failure of the list.
template <class ReadOne>
auto readEach(x509::Fields& list, const ReadOne& readOne) {
  std::vector<decltype(readOne(der::Element()))> all;
  while (list.more()) {
    if (all.size() == kMaxCertificates) {
      list.failWith(CRYPT_E_ASN1_LARGE);
    }
    all.push_back(readOne(list.next(der::kSequence)));
  }
  return all;
}

/// readSole reads the only value of an attribute, a SEQUENCE, with `readFields(fields)`, which leaves
/// nothing behind. CRYPT_E_ASN1_... for malformed values; CRYPT_E_ATTRIBUTES_MISSING.
template <class ReadFields>
auto readSole(const Attribute& attribute, const ReadFields& readFields)
    -> Result<decltype(readFields(std::declval<x509::Fields&>()))> {
  const Result<der::Bytes> value = soleValue(attribute);
  if (!value) {
    return value.failure();
  }
  DWORD error = ERROR_SUCCESS;
  x509::Fields fields = x509::Fields::outermost(*value, error);
  auto read = readFields(fields);
  fields.end();
  if (error != ERROR_SUCCESS) {
    return fail(error);
  }
  return read;
}

}  // namespace qx

#endif
