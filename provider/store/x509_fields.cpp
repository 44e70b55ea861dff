#include "provider/store/x509_fields.h"

namespace qx::x509 {

using der::Element;

der::AlgorithmIdentifier readAlgorithm(Fields& fields) {
  return fields.value(der::readAlgorithm(fields.next(der::kSequence)));
}

// Always in Greenwich time (RFC 5280, 4.1.2.5): other zones have been read in two ways.
FILETIME readTime(Fields& fields) {
  const Element time = fields.any();
  const FILETIME value = fields.value(der::readTime(time));
  if (time.content.empty() || time.content.back() != 'Z') {
    fields.failWith(CRYPT_E_ASN1_CORRUPT);
  }
  return value;
}

der::BitString readBits(Fields& fields) {
  return fields.value(der::readBitString(fields.next(der::kBitString)));
}

namespace {

ParsedExtension readExtension(Fields fields) {
  ParsedExtension extension;
  extension.oid = fields.value(der::readOid(fields.next(der::kOid)));
  if (const std::optional<Element> critical = fields.optional(der::kBoolean)) {
    extension.critical = fields.value(der::readBoolean(*critical));
  }
  extension.value = fields.next(der::kOctetString).content;
  fields.end();
  return extension;
}

}  // namespace

std::vector<ParsedExtension> readExtensions(Fields& fields, unsigned tag) {
  std::vector<ParsedExtension> extensions;
  const std::optional<Element> wrapper = fields.optional(der::contextConstructed(tag));
  if (!wrapper) {
    return extensions;
  }
  Fields inner = fields.inside(*wrapper);
  Fields list = inner.sequence();
  inner.end();
  while (list.more()) {
    extensions.push_back(readExtension(list.sequence()));
  }
  return extensions;
}

}  // namespace qx::x509
