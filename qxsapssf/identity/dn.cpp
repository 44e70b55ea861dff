#include "qxsapssf/identity/dn.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/strings.h"

#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr int kSyntaxError = -1;
constexpr int kEmptyValue = 24;

// A rule matches when the text begins with `prefix` and with none of the exceptions. The text is the
// rest of the whole name, so a prefix may reach into what follows the keyword: hosts rely on
// abbreviated and on longer keywords. First match wins.
struct KeywordRule {
  std::string_view prefix;
  std::string_view exception;
  std::string_view otherException;
  std::string_view oid;
};

constexpr std::array kKeywordRules{
    KeywordRule{"E", {}, {}, "1.2.840.113549.1.9.1"},
    KeywordRule{"CN", {}, {}, "2.5.4.3"},
    KeywordRule{"C", {}, {}, "2.5.4.6"},
    KeywordRule{"S", "SN", "STREE", "2.5.4.8"},
    KeywordRule{"L", {}, {}, "2.5.4.7"},
    KeywordRule{"STREE", {}, {}, "2.5.4.9"},
    KeywordRule{"O", "OU", "OGRN", "2.5.4.10"},
    KeywordRule{"OU", {}, {}, "2.5.4.11"},
    KeywordRule{"T", {}, {}, "2.5.4.12"},
    KeywordRule{"G", {}, {}, "2.5.4.42"},
    KeywordRule{"I", "INN", {}, "2.5.4.43"},
    KeywordRule{"SN", "SNILS", {}, "2.5.4.4"},
    KeywordRule{"DC", {}, {}, "0.9.2342.19200300.100.1.25"},
    KeywordRule{"PS", {}, {}, "2.5.4.65"},
    KeywordRule{"OGRNIP", {}, {}, "1.2.643.100.5"},
    KeywordRule{"OGRN", {}, {}, "1.2.643.100.1"},
    KeywordRule{"INN", {}, {}, "1.2.643.3.131.1.1"},
    KeywordRule{"SNILS", {}, {}, "1.2.643.100.3"},
};

/// The rest of a name after the position at which an attribute's keyword begins.
std::string_view oidOfKeyword(std::string_view text) {
  const auto excepted = [text](std::string_view prefix) {
    return !prefix.empty() && text.starts_with(prefix);
  };
  for (const KeywordRule& rule : kKeywordRules) {
    if (text.starts_with(rule.prefix) && !excepted(rule.exception) &&
        !excepted(rule.otherException)) {
      return rule.oid;
    }
  }
  return {};
}

// Quotes of any kind do not survive: a backslash goes with the quote that it precedes.
void removeQuotes(std::string& entry) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < entry.size(); ++i) {
    if (entry[i] == '\\' && entry[i + 1] == '"') {
      ++i;
    } else if (entry[i] != '"') {
      entry[kept++] = entry[i];
    }
  }
  entry.resize(kept);
}

/// DnReader takes one attribute after the other from the text of a name.
class DnReader {
 public:
  // A NUL inside the text ends the name, and so gives every scan its end.
  DnReader(const char* text, std::size_t length) : text_(text, strnlen(text, length)) {}

  /// Steps over one separator; more of them belong to the next keyword.
  bool atEnd() {
    skipWhiteSpaces(text_.c_str(), position_, true);
    if (text_[position_] == ',') {
      ++position_;
      skipWhiteSpaces(text_.c_str(), position_, true);
    }
    return position_ == text_.size();
  }

  int readAttribute(std::string& entry) {
    const std::size_t equals = text_.find('=', position_);
    if (equals == position_ || equals == std::string::npos) {
      return kSyntaxError;
    }
    const std::string_view rest = std::string_view(text_).substr(position_);
    const std::string_view oid = oidOfKeyword(rest);
    entry.assign(oid.empty() ? rest.substr(0, endBefore(equals) - position_) : oid);
    position_ = equals + 1;
    skipWhiteSpaces(text_.c_str(), position_, true);
    if (position_ == text_.size()) {
      return kEmptyValue;
    }
    const std::size_t end = endOfValue();
    entry.append(1, '=').append(text_, position_, end - position_);
    position_ = end;
    return 0;
  }

 private:
  // There is a character other than a space before `position`, so the skip stops at it.
  std::size_t endBefore(std::size_t position) const {
    --position;
    skipWhiteSpaces(text_.c_str(), position, false);
    return position + 1;
  }

  std::size_t endOfValue() const {
    if (text_[position_] == '"') {
      return endOfQuoted();
    }
    // A value that begins with the separator keeps it. Spaces are trimmed before a separator only,
    // not at the end of the name.
    const std::size_t comma = text_.find(',', position_ + 1);
    return comma == std::string::npos ? text_.size() : endBefore(comma);
  }

  std::size_t endOfQuoted() const {
    std::size_t end = position_ + 1;
    while (end < text_.size()) {
      const bool beforeQuote = text_[end + 1] == '"';
      if (text_[end] == '"' && !beforeQuote) {
        return end + 1;
      }
      const bool isPair = beforeQuote && (text_[end] == '"' || text_[end] == '\\');
      end += isPair ? 2U : 1U;
    }
    return text_.size();
  }

  std::string text_;
  std::size_t position_ = 0;
};

bool holdsEscapes(const std::string& entry) {
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  return entry.find("\\u") != std::string::npos && std::ranges::all_of(entry, isAscii);
}

std::wstring decodeEscapes(const std::string& entry) {
  std::wstring decoded;
  decoded.reserve(entry.size());
  for (std::size_t i = 0; i < entry.size();) {
    if (entry.compare(i, 2, "\\u") != 0) {
      decoded.push_back(static_cast<wchar_t>(entry[i++]));
      continue;
    }
    // Whatever strtoul makes of the four characters counts, also when they are no number at all.
    const std::string digits = entry.substr(i + 2, 4);
    decoded.push_back(static_cast<wchar_t>(std::strtoul(digits.c_str(), nullptr, 16)));
    i += 6;
  }
  return decoded;
}

}  // namespace

int parse_dn_string(const char* text, std::int32_t length, DnEntries& entries) {
  entries.clear();
  DnReader reader(text, length > 0 ? static_cast<std::size_t>(length) : 0);
  while (!reader.atEnd()) {
    std::string entry;
    if (const int failure = reader.readAttribute(entry); failure != 0) {
      return failure;
    }
    removeQuotes(entry);
    if (const int failure = unescape_rdn(entry); failure != 0) {
      QX_TRACE("parse_dn_string", "#error#: unescape_rdn failed\n");
      return failure;
    }
    entries.push_back(std::move(entry));
  }
  return 0;
}

int unescape_rdn(std::string& entry) {
  if (!holdsEscapes(entry)) {
    return 0;
  }
  const std::wstring decoded = decodeEscapes(entry);
  const std::size_t capacity = (decoded.size() + 1) * sizeof(wchar_t);
  if (capacity > INT32_MAX) {
    return 0;
  }
  std::string narrow(capacity, '\0');
  const int converted = WideCharToMultiByte(CP_ACP,
                                            /*dwFlags=*/0,
                                            decoded.c_str(),
                                            /*cchWideChar=*/-1,
                                            narrow.data(),
                                            static_cast<int>(capacity),
                                            nullptr,
                                            nullptr);
  if (converted > 0) {
    const std::size_t limit = std::min(static_cast<std::size_t>(converted), entry.size());
    entry.assign(narrow, 0, strnlen(narrow.data(), limit));
  }
  return 0;
}

void skipWhiteSpaces(const char* text, std::size_t& position, bool forward) {
  while (text[position] == ' ') {
    position = forward ? position + 1 : position - 1;
  }
}

bool is_equal_dns(const DnEntries& wanted, const DnEntries& candidate) {
  return std::ranges::all_of(wanted, [&candidate](const std::string& entry) {
    return std::ranges::find(candidate, entry) != candidate.end();
  });
}

}  // namespace qx
