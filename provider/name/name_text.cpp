#include "provider/name/name_text.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

#include "platform/cert.h"

#include "provider/der/oid.h"
#include "provider/name/name_reader.h"
#include "provider/oid/table.h"

namespace qx {
namespace {

constexpr DWORD kTypeMask = 0xFFFF;

struct Style {
  DWORD type = 0;
  bool quotes = true;
  bool reversed = false;
  std::wstring_view betweenRdns = L", ";
  std::wstring_view insideRdn = L" + ";
};

Result<Style> styleOf(DWORD stringType) {
  const auto has = [stringType](DWORD flag) { return (stringType & flag) != 0; };
  Style style;
  style.type = stringType & kTypeMask;
  if (style.type == 0) {
    style.type = CERT_SIMPLE_NAME_STR;
  }
  if (style.type > CERT_X500_NAME_STR) {
    return fail(E_INVALIDARG);
  }
  style.quotes = !has(CERT_NAME_STR_NO_QUOTING_FLAG);
  style.reversed = has(CERT_NAME_STR_REVERSE_FLAG);
  if (has(CERT_NAME_STR_SEMICOLON_FLAG)) {
    style.betweenRdns = L"; ";
  } else if (has(CERT_NAME_STR_CRLF_FLAG)) {
    style.betweenRdns = L"\r\n";
  }
  if (has(CERT_NAME_STR_NO_PLUS_FLAG)) {
    style.insideRdn = L" ";
  }
  return style;
}

const wchar_t* keywordOf(std::string_view oid) {
  for (const CRYPT_OID_INFO_LONG& entry : oidTable()) {
    if (entry.dwGroupId == CRYPT_RDN_ATTR_OID_GROUP_ID && oid == entry.pszOID) {
      return entry.pwszName;
    }
  }
  return nullptr;
}

Result<void> appendKey(std::wstring& out, der::Bytes attributeType, DWORD stringType) {
  if (stringType == CERT_SIMPLE_NAME_STR) {
    return {};
  }
  const Result<std::string> oid = der::oidToText(attributeType);
  if (!oid) {
    return oid.failure();
  }
  const wchar_t* keyword = stringType == CERT_X500_NAME_STR ? keywordOf(*oid) : nullptr;
  if (keyword != nullptr) {
    out += keyword;
  } else {
    if (stringType == CERT_X500_NAME_STR) {
      out += L"OID.";
    }
    out.append(oid->begin(), oid->end());
  }
  out += L'=';
  return {};
}

bool isSpecial(wchar_t c) {
  switch (c) {
    case L',':
    case L'+':
    case L'=':
    case L'"':
    case L'\r':
    case L'\n':
    case L'<':
    case L'>':
    case L'#':
    case L';':
      return true;
    default:
      return false;
  }
}

bool needsQuotes(std::wstring_view value) {
  return value.empty() || value.front() == L' ' || value.back() == L' ' ||
         std::ranges::any_of(value, isSpecial);
}

// Whether the rendered text would hold a NUL, or a backslash before a quote or a u. A reader may end
// at the first, and may take the others for an escaped quote or character, and so read another name
// than the one signed.
bool isMisleading(std::wstring_view value, bool quoted) {
  wchar_t before = L' ';
  for (const wchar_t c : value) {
    if (c == L'\0' || (before == L'\\' && (c == L'"' || c == L'u'))) {
      return true;
    }
    before = c;
  }
  return quoted && before == L'\\';
}

void appendHex(std::wstring& out, der::Bytes octets) {
  constexpr std::wstring_view kDigits = L"0123456789ABCDEF";
  out += L'#';
  for (const std::uint8_t octet : octets) {
    out += kDigits[octet >> 4U];
    out += kDigits[octet & 0xFU];
  }
}

void appendQuoted(std::wstring& out, std::wstring_view value) {
  out += L'"';
  for (const wchar_t c : value) {
    out.append(c == L'"' ? 2 : 1, c);
  }
  out += L'"';
}

void appendValue(std::wstring& out, const NameAttribute& attribute, const Style& style) {
  const Result<std::wstring> text = valueText(attribute);
  const bool quoted = text && style.quotes && needsQuotes(*text);
  if (!text || isMisleading(*text, quoted)) {
    appendHex(out, attribute.value);
  } else if (quoted) {
    appendQuoted(out, *text);
  } else {
    out += *text;
  }
}

// Brings the last RDN to the front; the attributes inside an RDN keep their order.
void reverseRdns(std::vector<NameAttribute>& attributes) {
  std::ranges::reverse(attributes);
  for (auto first = attributes.begin(); first != attributes.end();) {
    const auto last = std::find_if(
        first, attributes.end(), [](const NameAttribute& item) { return item.startsRdn; });
    std::reverse(first, last + 1);
    first = last + 1;
  }
}

}  // namespace

Result<std::wstring> nameText(der::Bytes name, DWORD stringType) {
  const Result<Style> style = styleOf(stringType);
  if (!style) {
    return style.failure();
  }
  Result<std::vector<NameAttribute>> attributes = readName(name);
  if (!attributes) {
    return attributes.failure();
  }
  if (style->reversed) {
    reverseRdns(*attributes);
  }
  std::wstring out;
  out.reserve(name.size() * 2);
  for (const NameAttribute& attribute : *attributes) {
    if (!out.empty()) {
      out += attribute.startsRdn ? style->betweenRdns : style->insideRdn;
    }
    if (const Result<void> key = appendKey(out, attribute.oid, style->type); !key) {
      return key.failure();
    }
    appendValue(out, attribute, *style);
  }
  return out;
}

}  // namespace qx
