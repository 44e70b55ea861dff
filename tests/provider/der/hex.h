#ifndef QX_TESTS_PROVIDER_DER_HEX_H_
#define QX_TESTS_PROVIDER_DER_HEX_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "provider/der/tag.h"

namespace qx::test {

/// fromHex reads hexadecimal digits; blanks between them do not count.
inline std::vector<std::uint8_t> fromHex(std::string_view digits) {
  std::string plain;
  for (const char digit : digits) {
    if (digit != ' ') {
      plain += digit;
    }
  }
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < plain.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(plain.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

/// toHex writes lower-case hexadecimal digits.
inline std::string toHex(der::Bytes bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

/// bytesOfText gives the characters of a text.
inline std::vector<std::uint8_t> bytesOfText(std::string_view text) {
  return {text.begin(), text.end()};
}

}  // namespace qx::test

#endif
