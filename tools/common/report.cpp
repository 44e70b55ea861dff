#include "tools/common/report.h"

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>

namespace qx::tools {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

std::size_t continuationBytes(unsigned char first) {
  if (first >= 0xC2 && first <= 0xDF) {
    return 1;
  }
  if (first >= 0xE0 && first <= 0xEF) {
    return 2;
  }
  return first >= 0xF0 && first <= 0xF4 ? 3 : 0;
}

// The lowest code point that may be written with so many bytes behind the first.
constexpr std::array<char32_t, 4> kLowest = {0, 0x80, 0x800, 0x10000};

bool isShown(char32_t point, std::size_t following) {
  const bool control = point < 0x20 || (point >= 0x7F && point < 0xA0);
  const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
  // Marks that turn the direction of writing make a text look like another one.
  const bool direction =
      (point >= 0x202A && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
  return !control && !surrogate && !direction && point <= 0x10FFFF &&
         point >= kLowest.at(following);
}

// The bytes of the character at the front of `text`, 0 when it is none that can be shown.
std::size_t shownLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t following = first < 0x80 ? 0 : continuationBytes(first);
  if ((first >= 0x80 && following == 0) || text.size() <= following) {
    return 0;
  }
  char32_t point = following == 0 ? first : first & (0x3FU >> following);
  for (const char byte : text.substr(1, following)) {
    if ((static_cast<unsigned char>(byte) & 0xC0U) != 0x80U) {
      return 0;
    }
    point = (point << 6U) | (static_cast<unsigned char>(byte) & 0x3FU);
  }
  return isShown(point, following) ? following + 1 : 0;
}

void appendHex(std::string& text, std::uint8_t byte) {
  text += kDigits[byte >> 4U];
  text += kDigits[byte & 15U];
}

}  // namespace

void Report::warn(const std::string& text) {
  if (!collecting_) {
    static_cast<void>(
        std::fprintf(stderr, "%s: warning: %s\n", tool_.c_str(), printable(text).c_str()));
  }
  facts_["warnings"].push_back(printable(text));
}

void Report::error(ExitCode code, const std::string& text) {
  if (!collecting_) {
    static_cast<void>(std::fprintf(stderr, "%s: %s\n", tool_.c_str(), printable(text).c_str()));
  }
  facts_["error"] = {{"exitCode", static_cast<int>(code)}, {"message", printable(text)}};
}

void Report::print() {
  if (std::exchange(printed_, true)) {
    return;
  }
  if (json_) {
    const std::string text =
        facts_.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    static_cast<void>(std::fprintf(stream_, "%s\n", text.c_str()));
    return;
  }
  for (const std::string& text : lines_) {
    static_cast<void>(std::fprintf(stream_, "%s\n", printable(text).c_str()));
  }
}

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    std::size_t length = shownLength(text);
    if (length > 0) {
      shown += text.substr(0, length);
    } else {
      length = 1;
      shown += "\\x";
      appendHex(shown, static_cast<std::uint8_t>(text.front()));
    }
    text.remove_prefix(length);
  }
  return shown;
}

std::string modeText(mode_t mode) {
  std::array<char, sizeof("07777")> text{};
  static_cast<void>(
      std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode & ALLPERMS)));
  return text.data();
}

std::string errorNumber(std::uint32_t error) {
  std::array<char, sizeof("0x80090006")> number{};
  static_cast<void>(std::snprintf(number.data(), number.size(), "0x%08X", error));
  return number.data();
}

std::string hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    appendHex(text, byte);
  }
  return text;
}

}  // namespace qx::tools
