#include "provider/message/attributes.h"

#include <algorithm>
#include <set>
#include <utility>

#include "provider/der/blob.h"
#include "provider/der/values.h"
#include "provider/message/limits.h"

namespace qx {
namespace {

Result<Attribute> readAttribute(const der::Element& sequence) {
  der::Reader reader(sequence.content);
  const Result<der::Element> oid = reader.next(der::kOid);
  if (!oid) {
    return oid.failure();
  }
  const Result<der::Element> set = reader.next(der::kSet);
  if (!set) {
    return set.failure();
  }
  if (const Result<void> end = reader.expectEnd(); !end) {
    return end.failure();
  }
  Result<std::string> dotted = der::readOid(*oid);
  if (!dotted) {
    return dotted.failure();
  }
  Attribute attribute{.oid = *std::move(dotted), .values = {}, .whole = sequence.whole};
  for (der::Reader values(set->content); !values.atEnd();) {
    const Result<der::Element> value = values.next();
    if (!value) {
      return value.failure();
    }
    attribute.values.push_back(value->whole);
  }
  return attribute;
}

}  // namespace

Result<Attribute> readAttribute(der::Bytes encoded) {
  const Result<der::Element> sequence = der::readWhole(encoded, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  return readAttribute(*sequence);
}

Result<Attributes> readAttributes(der::Bytes content) {
  Attributes attributes;
  for (der::Reader reader(content); !reader.atEnd();) {
    if (attributes.size() == kMaxAttributes) {
      return fail(CRYPT_E_ASN1_LARGE);
    }
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
  return attributes;
}

bool hasRepeatedType(const Attributes& attributes) {
  std::set<std::string_view> seen;
  return !std::ranges::all_of(attributes, [&seen](const Attribute& attribute) {
    return seen.insert(attribute.oid).second;
  });
}

const Attribute* findAttribute(const Attributes& attributes, std::string_view oid) {
  const auto found = std::ranges::find(attributes, oid, &Attribute::oid);
  return found == attributes.end() ? nullptr : &*found;
}

Result<std::vector<std::uint8_t>> encodeAttribute(std::string_view oid,
                                                  const std::vector<der::Bytes>& values) {
  Result<der::Encoding> type = der::oid(oid);
  if (!type) {
    return type.failure();
  }
  std::vector<der::Encoding> encoded;
  std::ranges::transform(values, std::back_inserter(encoded), der::Encoding::borrowed);
  return der::sequence(*std::move(type), der::setOf(encoded)).bytes();
}

Result<std::vector<std::uint8_t>> encodeAttribute(const CRYPT_ATTRIBUTE& attribute) {
  const bool hasValues = attribute.cValue == 0 || attribute.rgValue != nullptr;
  if (attribute.pszObjId == nullptr || !hasValues) {
    return fail(E_INVALIDARG);
  }
  std::vector<der::Bytes> values;
  for (DWORD i = 0; i < attribute.cValue; ++i) {
    const der::Bytes value = bytesOf(attribute.rgValue[i]);
    if (!isOneElement(value)) {
      return fail(E_INVALIDARG);
    }
    values.push_back(value);
  }
  return encodeAttribute(attribute.pszObjId, values);
}

CRYPT_ATTRIBUTES layOutAttributes(const Attributes& attributes, OnePiece& piece) {
  auto* records =
      piece.array<CRYPT_ATTRIBUTE>(attributes.size(), [&](CRYPT_ATTRIBUTE& record, std::size_t i) {
        const Attribute& attribute = attributes[i];
        record.pszObjId = piece.text(attribute.oid);
        record.cValue = static_cast<DWORD>(attribute.values.size());
        record.rgValue = piece.array<CRYPT_ATTR_BLOB>(attribute.values.size(),
                                                      [&](CRYPT_ATTR_BLOB& value, std::size_t j) {
                                                        value = piece.blob(attribute.values[j]);
                                                      });
      });
  return {.cAttr = static_cast<DWORD>(attributes.size()), .rgAttr = records};
}

}  // namespace qx
