// The parser of names against a plain reading of its rules, character by character, on every short
// text over the characters that mean something.
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxsapssf/identity/dn.h"
#include "tests/scripted_provider/scripted_provider.h"

namespace qx::dn_reference_test {
namespace {

using Entries = std::vector<std::string>;

/// The rules in the order in which they are told, without regard to speed.
class Reference {
 public:
  explicit Reference(std::string_view text) : text_(text) {}

  int parse() {
    for (;;) {
      skipSpaces();
      if (at() == ',') {
        ++position_;
        skipSpaces();
      }
      if (at() == '\0') {
        return 0;
      }
      if (const int failure = attribute(); failure != 0) {
        return failure;
      }
    }
  }

  const Entries& entries() const { return entries_; }

 private:
  char at(std::size_t offset = 0) const {
    return position_ + offset < text_.size() ? text_[position_ + offset] : '\0';
  }

  void skipSpaces() {
    while (at() == ' ') {
      ++position_;
    }
  }

  int attribute() {
    if (at() == '=') {
      return -1;
    }
    const std::size_t start = position_;
    while (at() != '=') {
      if (at() == '\0') {
        return -1;
      }
      ++position_;
    }
    std::string keyword = withoutSpacesBehind(text_.substr(start, position_ - start));
    const std::string rest = text_.substr(start);
    if (rest.starts_with("CN")) {
      keyword = "2.5.4.3";
    } else if (rest.starts_with('C')) {
      keyword = "2.5.4.6";
    }
    ++position_;
    skipSpaces();
    if (at() == '\0') {
      return 24;
    }
    const std::string value = at() == '"' ? quotedValue() : plainValue();
    entries_.push_back(unescaped(withoutQuotes(keyword + "=" + value)));
    return 0;
  }

  std::string plainValue() {
    const std::size_t start = position_++;
    while (at() != '\0' && at() != ',') {
      ++position_;
    }
    const std::string value = text_.substr(start, position_ - start);
    return at() == ',' ? withoutSpacesBehind(value) : value;
  }

  std::string quotedValue() {
    const std::size_t start = position_++;
    while (at() != '\0') {
      const bool isPair = (at() == '\\' || at() == '"') && at(1) == '"';
      if (at() == '"' && !isPair) {
        ++position_;
        break;
      }
      position_ += isPair ? 2 : 1;
    }
    return text_.substr(start, position_ - start);
  }

  static std::string withoutSpacesBehind(std::string text) {
    while (text.ends_with(' ')) {
      text.pop_back();
    }
    return text;
  }

  static std::string withoutQuotes(std::string entry) {
    for (std::size_t found = entry.find("\\\""); found != std::string::npos;
         found = entry.find("\\\"", found)) {
      entry.erase(found, 2);
    }
    std::erase(entry, '"');
    return entry;
  }

  // For texts whose escapes decode to a character of one byte.
  static std::string unescaped(const std::string& entry) {
    if (entry.find("\\u") == std::string::npos) {
      return entry;
    }
    std::string decoded;
    for (std::size_t i = 0; i < entry.size();) {
      if (entry[i] != '\\' || entry.substr(i + 1, 1) != "u") {
        decoded += entry[i++];
        continue;
      }
      const std::string digits = entry.substr(i + 2, 4);
      decoded += static_cast<char>(std::strtoul(digits.c_str(), nullptr, 16));
      if (digits.size() < 4) {
        break;
      }
      i += 6;
    }
    return decoded.substr(0, decoded.find('\0'));
  }

  std::string text_;
  std::size_t position_ = 0;
  Entries entries_;
};

void expectAgreement(std::string_view text) {
  DnEntries entries;
  const int result = parse_dn_string(text.data(), static_cast<std::int32_t>(text.size()), entries);
  Reference reference(text);
  ASSERT_EQ(result, reference.parse()) << text;
  ASSERT_EQ(Entries(entries.begin(), entries.end()), reference.entries()) << text;
}

/// Calls with every text of so many characters of an alphabet.
template <class Check>
void forEveryText(std::string_view alphabet, std::size_t length, const Check& check) {
  std::vector<std::size_t> digits(length, 0);
  std::string text(length, alphabet.front());
  for (;;) {
    check(text);
    if (testing::Test::HasFatalFailure()) {
      return;
    }
    std::size_t i = 0;
    while (i < length && ++digits[i] == alphabet.size()) {
      digits[i] = 0;
      text[i++] = alphabet.front();
    }
    if (i == length) {
      return;
    }
    text[i] = alphabet[digits[i]];
  }
}

class DnReference : public testing::TestWithParam<std::size_t> {
 protected:
  void SetUp() override { scripted::provider().reset(); }
};

TEST_P(DnReference, AgreesOnEveryTextOfItsCharacters) {
  forEveryText("CN=\", x", GetParam(), [](const std::string& text) { expectAgreement(text); });
}

TEST_P(DnReference, AgreesOnEveryValueOfItsCharacters) {
  forEveryText("\\\", =u0x", GetParam(), [](const std::string& value) {
    expectAgreement("C=" + value);
    expectAgreement("C=\"" + value);
    expectAgreement("C=\"" + value + "\", N=" + value);
  });
}

INSTANTIATE_TEST_SUITE_P(Lengths, DnReference, testing::Range<std::size_t>(0, 6));

// Escapes of one-byte characters, whole, cut short and wrong.
TEST(DnReferenceEscapes, AgreeInEveryPlace) {
  scripted::provider().reset();
  for (const char* escape : {"\\u0041",
                             "\\u004",
                             "\\u00",
                             "\\u",
                             "\\u0000",
                             "\\u0022",
                             "\\u002c",
                             "\\u003D",
                             "\\uzzzz",
                             "\\u  41",
                             "\\u0x41",
                             "\\u+041",
                             "\\\\u0041",
                             "\\U0041"}) {
    for (const char* before : {"", "a", "\\", "\"", " "}) {
      for (const char* behind : {"", "b", "\"", ",C=x", " ,C=x", "\\u0042"}) {
        expectAgreement(std::string("CN=") + before + escape + behind);
      }
    }
  }
}

TEST(DnReferenceResult, HoldsNoQuoteAndAlwaysAnEqualsSign) {
  scripted::provider().reset();
  forEveryText("C=\"\\, ", 6, [](const std::string& text) {
    DnEntries entries;
    const int result =
        parse_dn_string(text.data(), static_cast<std::int32_t>(text.size()), entries);
    ASSERT_THAT(result, testing::AnyOf(0, -1, 24)) << text;
    for (const std::string& entry : entries) {
      ASSERT_EQ(entry.find('"'), std::string::npos) << text;
      ASSERT_NE(entry.find('='), std::string::npos) << text;
    }
  });
}

}  // namespace
}  // namespace qx::dn_reference_test
