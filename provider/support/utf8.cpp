#include "provider/support/utf8.h"

namespace qx {
namespace {

// What the first byte of a sequence says: its length, its bits, and which second bytes keep the value
// from being overlong, a surrogate or too large (Unicode, table 3-7).
struct Lead {
  std::size_t length = 0;
  unsigned char bits = 0;
  unsigned char secondFrom = 0x80;
  unsigned char secondTo = 0xBF;
};

Lead classify(unsigned char byte) {
  if (byte >= 0xC2 && byte <= 0xDF) {
    return {.length = 2, .bits = static_cast<unsigned char>(byte & 0x1FU)};
  }
  if (byte >= 0xE0 && byte <= 0xEF) {
    return {.length = 3,
            .bits = static_cast<unsigned char>(byte & 0x0FU),
            .secondFrom = static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            .secondTo = static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
  }
  if (byte >= 0xF0 && byte <= 0xF4) {
    return {.length = 4,
            .bits = static_cast<unsigned char>(byte & 0x07U),
            .secondFrom = static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            .secondTo = static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
  }
  return {};
}

}  // namespace

Utf8Step nextUtf8(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    return {.character = first, .length = 1, .valid = true};
  }
  const Lead lead = classify(first);
  char32_t character = lead.bits;
  std::size_t length = 1;
  for (; length < lead.length && length < text.size(); ++length) {
    const auto byte = static_cast<unsigned char>(text[length]);
    const unsigned char from = length == 1 ? lead.secondFrom : 0x80;
    const unsigned char to = length == 1 ? lead.secondTo : 0xBF;
    if (byte < from || byte > to) {
      break;
    }
    character = character << 6U | (byte & 0x3FU);
  }
  if (lead.length == 0 || length < lead.length) {
    return {.length = length};
  }
  return {.character = character, .length = length, .valid = true};
}

bool isCharacter(char32_t character) {
  return character < 0xD800 || (character > 0xDFFF && character <= 0x10FFFF);
}

void appendUtf8(std::string& out, char32_t character) {
  const char32_t c = isCharacter(character) ? character : kReplacement;
  const auto tail = [&out, c](unsigned shift) {
    out.push_back(static_cast<char>(0x80U | (c >> shift & 0x3FU)));
  };
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0U | c >> 6U));
    tail(0);
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0U | c >> 12U));
    tail(6);
    tail(0);
  } else {
    out.push_back(static_cast<char>(0xF0U | c >> 18U));
    tail(12);
    tail(6);
    tail(0);
  }
}

std::wstring fromUtf8(std::string_view text) {
  std::wstring out;
  while (!text.empty()) {
    const Utf8Step step = nextUtf8(text);
    out.push_back(static_cast<wchar_t>(step.character));
    text.remove_prefix(step.length);
  }
  return out;
}

std::optional<std::string> toUtf8(const wchar_t* text, std::size_t limit) {
  std::string converted;
  for (; *text != L'\0' && converted.size() <= limit; ++text) {
    const auto character = static_cast<char32_t>(*text);
    if (!isCharacter(character)) {
      return std::nullopt;
    }
    appendUtf8(converted, character);
  }
  return converted.size() <= limit ? std::optional(converted) : std::nullopt;
}

}  // namespace qx
