#include "qxsapssf/identity/cert_id.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "qxsapssf/trace.h"

namespace qx {
namespace {

bool isSpace(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool isDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

bool isHexDigit(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

BYTE hexValue(char c) {
  const int value = isDigit(c) ? c - '0' : std::toupper(static_cast<unsigned char>(c)) - 'A' + 10;
  return static_cast<BYTE>(value);
}

}  // namespace

bool isHexString(const char* text, std::int32_t length) noexcept {
  return std::all_of(
      text, text + std::max(length, 0), [](char c) { return isHexDigit(c) || isSpace(c); });
}

void readFromHexString(const char* text, std::int32_t length, BYTE* out, DWORD& count) noexcept {
  const auto skipSpace = [text](std::size_t position) {
    while (isSpace(text[position])) {
      ++position;
    }
    return position;
  };
  const std::size_t end = length > 0 ? static_cast<std::size_t>(length) : 0;
  DWORD read = 0;
  for (std::size_t i = skipSpace(0); i < end; i = skipSpace(i + 2)) {
    if (!isHexDigit(text[i]) || !isHexDigit(text[i + 1])) {
      return;
    }
    if (out != nullptr) {
      out[read] = static_cast<BYTE>((hexValue(text[i]) * 16) + hexValue(text[i + 1]));
    }
    ++read;
  }
  count = read;
}

bool parse_CertHashID(const char* text, std::int32_t length, OwnedBytes& hash) noexcept {
  DWORD count = 0;
  readFromHexString(text, length, nullptr, count);
  if (count == 0) {
    return true;
  }
  hash = OwnedBytes::allocate(count);
  if (!hash) {
    QX_TRACE("parse_CertHashID", "#error#: Failed to allocate buffer of %d chars\n", count);
    return false;
  }
  readFromHexString(text, length, hash.data(), count);
  return true;
}

bool isTime(const char* text) noexcept {
  return std::strspn(text, "0123456789") >= 14;
}

}  // namespace qx
