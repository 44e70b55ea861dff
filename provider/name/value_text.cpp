#include <string_view>

#include "provider/name/name_reader.h"
#include "provider/support/utf8.h"

namespace qx {
namespace {

Failure notText() {
  return fail(CRYPT_E_NOT_CHAR_STRING);
}

// One byte, one character: for the ASCII types, and as ISO 8859-1 for bytes above.
std::wstring fromBytes(der::Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

Result<std::wstring> fromStrictUtf8(der::Bytes bytes) {
  std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::wstring text;
  text.reserve(bytes.size());
  while (!rest.empty()) {
    const Utf8Step step = nextUtf8(rest);
    if (!step.valid) {
      return notText();
    }
    text.push_back(static_cast<wchar_t>(step.character));
    rest.remove_prefix(step.length);
  }
  return text;
}

char32_t unit(der::Bytes bytes, std::size_t offset, std::size_t size) {
  char32_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    value = value << 8U | bytes[offset + i];
  }
  return value;
}

Result<std::wstring> fromUtf16(der::Bytes bytes) {
  std::wstring text;
  if (bytes.size() % 2 != 0) {
    return notText();
  }
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t character = unit(bytes, i, 2);
    if ((character & 0xFC00U) == 0xD800 && i + 4 <= bytes.size()) {
      const char32_t low = unit(bytes, i + 2, 2);
      if ((low & 0xFC00U) == 0xDC00) {
        character = 0x10000 + ((character & 0x3FFU) << 10U) + (low & 0x3FFU);
        i += 2;
      }
    }
    if (!isCharacter(character)) {
      return notText();
    }
    text.push_back(static_cast<wchar_t>(character));
  }
  return text;
}

Result<std::wstring> fromUtf32(der::Bytes bytes) {
  std::wstring text;
  if (bytes.size() % 4 != 0) {
    return notText();
  }
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    const char32_t character = unit(bytes, i, 4);
    if (!isCharacter(character)) {
      return notText();
    }
    text.push_back(static_cast<wchar_t>(character));
  }
  return text;
}

}  // namespace

Result<std::wstring> valueText(const NameAttribute& attribute) {
  switch (attribute.valueType) {
    case CERT_RDN_ENCODED_BLOB:
    case CERT_RDN_OCTET_STRING:
      return notText();
    case CERT_RDN_UTF8_STRING:
      return fromStrictUtf8(attribute.value);
    case CERT_RDN_BMP_STRING:
      return fromUtf16(attribute.value);
    case CERT_RDN_UNIVERSAL_STRING:
      return fromUtf32(attribute.value);
    case CERT_RDN_TELETEX_STRING: {
      // Issuers have put UTF-8 under this tag more often than T.61.
      Result<std::wstring> text = fromStrictUtf8(attribute.value);
      return text ? std::move(text) : fromBytes(attribute.value);
    }
    default:
      return fromBytes(attribute.value);
  }
}

}  // namespace qx
