#ifndef QX_PROVIDER_SUPPORT_UTF8_H_
#define QX_PROVIDER_SUPPORT_UTF8_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qx {

/// What stands in for bytes or characters that cannot be converted (U+FFFD).
inline constexpr char32_t kReplacement = 0xFFFD;

/// One step through a text: the character, and how many bytes it took.
struct Utf8Step {
  char32_t character = kReplacement;
  std::size_t length = 1;
  bool valid = false;
};

/// nextUtf8 looks at the first character of a text that is not empty. Overlong forms, surrogates and
/// values above 10FFFF are invalid; the length is then that of the longest beginning that a valid
/// sequence could have had (Unicode, 3.9, maximal subpart), at least 1.
Utf8Step nextUtf8(std::string_view text);

/// isCharacter is false for surrogates and values above 10FFFF.
bool isCharacter(char32_t character);

/// appendUtf8 appends a character; what is none is appended as U+FFFD.
void appendUtf8(std::string& out, char32_t character);

/// fromUtf8 converts a whole text, with U+FFFD where it is invalid.
std::wstring fromUtf8(std::string_view text);

/// toUtf8 converts a text that ends in NUL; nothing when it holds what is no character, or its UTF-8
/// has more than `limit` bytes.
std::optional<std::string> toUtf8(const wchar_t* text, std::size_t limit);

}  // namespace qx

#endif
