#include <string>
#include <vector>

#include "platform/types.h"

#include "provider/der/values.h"
#include "provider/encode/decoder.h"

namespace qx {
namespace {

struct Attribute {
  std::string oid;
  std::vector<der::Bytes> values;
};

Result<Attribute> readAttribute(const der::Element& sequence) {
  der::Reader reader(sequence.content);
  const Result<der::Element> type = reader.next(der::kOid);
  if (!type) {
    return type.failure();
  }
  const Result<der::Element> set = reader.next(der::kSet);
  if (!set) {
    return set.failure();
  }
  Result<std::string> oid = der::readOid(*type);
  if (!oid) {
    return oid.failure();
  }
  Attribute attribute{.oid = *std::move(oid)};
  for (der::Reader values(set->content); !values.atEnd();) {
    const Result<der::Element> value = values.next();
    if (!value) {
      return value.failure();
    }
    attribute.values.push_back(value->whole);
  }
  return attribute;
}

void fillAttribute(CRYPT_ATTRIBUTE& record, const Attribute& attribute, OnePiece& piece) {
  record.pszObjId = piece.text(attribute.oid);
  record.cValue = static_cast<DWORD>(attribute.values.size());
  record.rgValue = piece.array<CRYPT_ATTR_BLOB>(
      attribute.values.size(),
      [&](CRYPT_ATTR_BLOB& blob, std::size_t i) { blob = piece.blob(attribute.values[i]); });
}

}  // namespace

Result<void> decodeAttribute(const der::Element& element, ParamOutput& out) {
  if (!element.is(der::kSequence)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  const Result<Attribute> attribute = readAttribute(element);
  if (!attribute) {
    return attribute.failure();
  }
  return out.putRecord<CRYPT_ATTRIBUTE>(
      [&](CRYPT_ATTRIBUTE& record, OnePiece& piece) { fillAttribute(record, *attribute, piece); });
}

Result<void> decodeAttributes(const der::Element& element, ParamOutput& out) {
  if (!element.is(der::kSet)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  std::vector<Attribute> attributes;
  for (der::Reader reader(element.content); !reader.atEnd();) {
    const Result<der::Element> sequence = reader.next(der::kSequence);
    if (!sequence) {
      return sequence.failure();
    }
    Result<Attribute> attribute = readAttribute(*sequence);
    if (!attribute) {
      return attribute.failure();
    }
    attributes.push_back(*std::move(attribute));
  }
  return out.putRecord<CRYPT_ATTRIBUTES>([&](CRYPT_ATTRIBUTES& record, OnePiece& piece) {
    record.cAttr = static_cast<DWORD>(attributes.size());
    record.rgAttr = piece.array<CRYPT_ATTRIBUTE>(attributes.size(),
                                                 [&](CRYPT_ATTRIBUTE& attribute, std::size_t i) {
                                                   fillAttribute(attribute, attributes[i], piece);
                                                 });
  });
}

}  // namespace qx
