#include "provider/name/name_reader.h"

namespace qx {
namespace {

DWORD valueTypeOf(const der::Element& value) {
  // Universal tags, all of them primitive (X.680, table 8).
  switch (value.identifier) {
    case 0x04:
      return CERT_RDN_OCTET_STRING;
    case 0x0C:
      return CERT_RDN_UTF8_STRING;
    case 0x12:
      return CERT_RDN_NUMERIC_STRING;
    case 0x13:
      return CERT_RDN_PRINTABLE_STRING;
    case 0x14:
      return CERT_RDN_TELETEX_STRING;
    case 0x15:
      return CERT_RDN_VIDEOTEX_STRING;
    case 0x16:
      return CERT_RDN_IA5_STRING;
    case 0x19:
      return CERT_RDN_GRAPHIC_STRING;
    case 0x1A:
      return CERT_RDN_VISIBLE_STRING;
    case 0x1B:
      return CERT_RDN_GENERAL_STRING;
    case 0x1C:
      return CERT_RDN_UNIVERSAL_STRING;
    case 0x1E:
      return CERT_RDN_BMP_STRING;
    default:
      return CERT_RDN_ENCODED_BLOB;
  }
}

Result<NameAttribute> readAttribute(const der::Element& sequence) {
  der::Reader reader(sequence.content);
  const Result<der::Element> oid = reader.next(der::kOid);
  if (!oid) {
    return oid.failure();
  }
  const Result<der::Element> value = reader.next();
  if (!value) {
    return value.failure();
  }
  if (!reader.atEnd() || oid->content.empty()) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  const DWORD type = valueTypeOf(*value);
  return NameAttribute{.oid = oid->content,
                       .valueType = type,
                       .value = type == CERT_RDN_ENCODED_BLOB ? value->whole : value->content};
}

Result<void> readRdn(const der::Element& set, std::vector<NameAttribute>& out) {
  der::Reader reader(set.content);
  bool first = true;
  do {
    const Result<der::Element> sequence = reader.next(der::kSequence);
    if (!sequence) {
      return set.content.empty() ? fail(CRYPT_E_ASN1_CORRUPT) : sequence.failure();
    }
    Result<NameAttribute> attribute = readAttribute(*sequence);
    if (!attribute) {
      return attribute.failure();
    }
    attribute->startsRdn = first;
    first = false;
    out.push_back(*attribute);
  } while (!reader.atEnd());
  return {};
}

}  // namespace

Result<std::vector<NameAttribute>> readNameElement(const der::Element& name) {
  constexpr std::size_t kUsualCount = 12;
  std::vector<NameAttribute> attributes;
  attributes.reserve(kUsualCount);
  der::Reader reader(name.content);
  while (!reader.atEnd()) {
    const Result<der::Element> set = reader.next(der::kSet);
    if (!set) {
      return set.failure();
    }
    if (const Result<void> read = readRdn(*set, attributes); !read) {
      return read.failure();
    }
  }
  return attributes;
}

Result<std::vector<NameAttribute>> readName(der::Bytes name) {
  const Result<der::Element> sequence = der::readWhole(name, der::kSequence);
  return sequence ? readNameElement(*sequence) : sequence.failure();
}

}  // namespace qx
