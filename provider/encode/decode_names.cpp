#include <cwchar>
#include <string>
#include <vector>

#include "platform/cert.h"

#include "provider/der/oid.h"
#include "provider/encode/decoder.h"
#include "provider/name/name_reader.h"

namespace qx {
namespace {

// One attribute as the record will show it: the octets of its value are those of wide characters in
// the wide form, where they are followed by a NUL that does not count.
struct Value {
  std::string oid;
  DWORD type = 0;
  bool wide = false;
  std::wstring text;
  der::Bytes octets;
};

using Rdns = std::vector<std::vector<Value>>;

Result<Value> makeValue(const NameAttribute& attribute, bool wide) {
  Result<std::string> oid = der::oidToText(attribute.oid);
  if (!oid) {
    return oid.failure();
  }
  Value value{.oid = *std::move(oid), .type = attribute.valueType, .octets = attribute.value};
  const bool isText =
      attribute.valueType != CERT_RDN_ENCODED_BLOB && attribute.valueType != CERT_RDN_OCTET_STRING;
  if (wide && isText) {
    Result<std::wstring> text = valueText(attribute);
    if (!text) {
      return fail(CRYPT_E_ASN1_CORRUPT);
    }
    value.wide = true;
    value.text = *std::move(text);
  }
  return value;
}

Result<Rdns> readRdns(const der::Element& element, bool wide) {
  if (!element.is(der::kSequence)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  const Result<std::vector<NameAttribute>> attributes = readNameElement(element);
  if (!attributes) {
    return attributes.failure();
  }
  Rdns rdns;
  for (const NameAttribute& attribute : *attributes) {
    Result<Value> value = makeValue(attribute, wide);
    if (!value) {
      return value.failure();
    }
    if (attribute.startsRdn) {
      rdns.emplace_back();
    }
    rdns.back().push_back(*std::move(value));
  }
  return rdns;
}

CERT_RDN_VALUE_BLOB wideText(const std::wstring& text, OnePiece& piece) {
  const der::Bytes withNul(reinterpret_cast<const std::uint8_t*>(text.c_str()),
                           (text.size() + 1) * sizeof(wchar_t));
  CERT_RDN_VALUE_BLOB blob = piece.blob(withNul);
  blob.cbData -= static_cast<DWORD>(sizeof(wchar_t));
  return blob;
}

void fillValue(CERT_RDN_ATTR& record, const Value& value, OnePiece& piece) {
  record.pszObjId = piece.text(value.oid);
  record.dwValueType = value.type;
  record.Value = value.wide ? wideText(value.text, piece) : piece.blob(value.octets);
}

Result<void> putName(const der::Element& element, bool wide, ParamOutput& out) {
  const Result<Rdns> rdns = readRdns(element, wide);
  if (!rdns) {
    return rdns.failure();
  }
  return out.putRecord<CERT_NAME_INFO>([&](CERT_NAME_INFO& name, OnePiece& piece) {
    name.cRDN = static_cast<DWORD>(rdns->size());
    name.rgRDN = piece.array<CERT_RDN>(rdns->size(), [&](CERT_RDN& rdn, std::size_t i) {
      const std::vector<Value>& values = (*rdns)[i];
      rdn.cRDNAttr = static_cast<DWORD>(values.size());
      rdn.rgRDNAttr = piece.array<CERT_RDN_ATTR>(
          values.size(),
          [&](CERT_RDN_ATTR& record, std::size_t k) { fillValue(record, values[k], piece); });
    });
  });
}

}  // namespace

Result<void> decodeName(const der::Element& element, ParamOutput& out) {
  return putName(element, /*wide=*/false, out);
}

Result<void> decodeWideName(const der::Element& element, ParamOutput& out) {
  return putName(element, /*wide=*/true, out);
}

}  // namespace qx
