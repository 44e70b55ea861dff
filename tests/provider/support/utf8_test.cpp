#include "provider/support/utf8.h"

#include <iconv.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace qx::test::utf8_test {
namespace {

using qx::nextUtf8;
using qx::Utf8Step;

std::string encoded(char32_t character) {
  std::string out;
  qx::appendUtf8(out, character);
  return out;
}

/// The C library's converter, as the other opinion about what is valid.
class Judge {
 public:
  Judge() : handle_(iconv_open("UTF-32LE", "UTF-8")) {}

  ~Judge() { iconv_close(handle_); }

  Judge(const Judge&) = delete;
  Judge& operator=(const Judge&) = delete;
  Judge(Judge&&) = delete;
  Judge& operator=(Judge&&) = delete;

  /// Whether the bytes are whole characters, and which the first one is.
  bool isValid(std::string_view bytes, char32_t& first) {
    std::array<char32_t, 8> characters{};
    std::string input(bytes);
    char* from = input.data();
    std::size_t left = input.size();
    char* to = reinterpret_cast<char*>(characters.data());
    std::size_t room = sizeof characters;
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    const std::size_t status = iconv(handle_, &from, &left, &to, &room);
    first = characters[0];
    return status != static_cast<std::size_t>(-1) && left == 0;
  }

 private:
  iconv_t handle_;
};

/// Whether our steps find nothing wrong in the bytes, and which the first character is.
bool isValid(std::string_view bytes, char32_t& first) {
  first = nextUtf8(bytes).character;
  while (!bytes.empty()) {
    const Utf8Step step = nextUtf8(bytes);
    if (!step.valid) {
      return false;
    }
    bytes.remove_prefix(step.length);
  }
  return true;
}

void expectAgreement(Judge& judge, std::string_view bytes) {
  char32_t ours = 0;
  char32_t theirs = 0;
  const bool valid = isValid(bytes, ours);
  ASSERT_EQ(valid, judge.isValid(bytes, theirs)) << testing::PrintToString(bytes);
  if (valid) {
    ASSERT_EQ(ours, theirs);
  }
}

TEST(Utf8, AgreesWithTheCLibraryOnEveryPairOfBytes) {
  Judge judge;
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      const std::array<char, 2> bytes = {static_cast<char>(first), static_cast<char>(second)};
      expectAgreement(judge, {bytes.data(), bytes.size()});
    }
  }
}

// Longer sequences over the bytes at which a rule begins or ends.
TEST(Utf8, AgreesWithTheCLibraryAtTheEdgesOfLongerSequences) {
  constexpr std::string_view kEdges =
      "\x01\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1"
      "\xEC\xED\xEE\xEF\xF0\xF1\xF3\xF4\xF5\xF8\xFC\xFE\xFF";
  Judge judge;
  for (const char a : kEdges) {
    for (const char b : kEdges) {
      for (const char c : kEdges) {
        const std::array<char, 4> three = {a, b, c, '\x80'};
        expectAgreement(judge, {three.data(), 3});
        expectAgreement(judge, {three.data(), 4});
      }
    }
  }
}

TEST(Utf8, StepsOverEveryCharacterThatItWrites) {
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    if (!qx::isCharacter(character)) {
      continue;
    }
    const std::string bytes = encoded(character);
    const Utf8Step step = nextUtf8(bytes + "x");
    ASSERT_TRUE(step.valid) << static_cast<unsigned>(character);
    ASSERT_EQ(step.character, character);
    ASSERT_EQ(step.length, bytes.size());
  }
}

TEST(Utf8, NeedsOneToFourBytes) {
  EXPECT_EQ(encoded(0), std::string(1, '\0'));
  EXPECT_EQ(encoded(0x7F), "\x7F");
  EXPECT_EQ(encoded(0x80), "\xC2\x80");
  EXPECT_EQ(encoded(0x7FF), "\xDF\xBF");
  EXPECT_EQ(encoded(0x800), "\xE0\xA0\x80");
  EXPECT_EQ(encoded(0xFFFF), "\xEF\xBF\xBF");
  EXPECT_EQ(encoded(0x10000), "\xF0\x90\x80\x80");
  EXPECT_EQ(encoded(0x10FFFF), "\xF4\x8F\xBF\xBF");
}

TEST(Utf8, WritesTheReplacementForWhatIsNoCharacter) {
  for (const char32_t character : {0xD800U, 0xDBFFU, 0xDC00U, 0xDFFFU, 0x110000U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(qx::isCharacter(character));
    EXPECT_EQ(encoded(character), "\xEF\xBF\xBD");
  }
  for (const char32_t character : {0U, 0xD7FFU, 0xE000U, 0xFFFDU, 0xFFFFU, 0x10FFFFU}) {
    EXPECT_TRUE(qx::isCharacter(character));
  }
}

struct Bad {
  std::string_view bytes;
  std::size_t length;
};

TEST(Utf8, StepsOverWhatASequenceCouldHaveBegunWith) {
  const std::vector<Bad> cases = {{"\x80", 1},
                                  {"\xBF\xBF", 1},
                                  {"\xC0\x80", 1},
                                  {"\xC1\xBF", 1},
                                  {"\xC2", 1},
                                  {"\xC2\x41", 1},
                                  {"\xE0\x9F\xBF", 1},
                                  {"\xE0\xA0", 2},
                                  {"\xE0\xA0\x41", 2},
                                  {"\xED\xA0\x80", 1},
                                  {"\xED\x9F", 2},
                                  {"\xF0\x8F\xBF\xBF", 1},
                                  {"\xF0\x90\x80", 3},
                                  {"\xF0\x90\x80\xC0", 3},
                                  {"\xF4\x90\x80\x80", 1},
                                  {"\xF4\x8F\xBF", 3},
                                  {"\xF5\x80\x80\x80", 1},
                                  {"\xFE", 1},
                                  {"\xFF\xFF", 1}};
  for (const Bad& bad : cases) {
    const Utf8Step step = nextUtf8(bad.bytes);
    EXPECT_FALSE(step.valid) << testing::PrintToString(bad.bytes);
    EXPECT_EQ(step.length, bad.length) << testing::PrintToString(bad.bytes);
    EXPECT_EQ(step.character, qx::kReplacement);
  }
}

TEST(Utf8, NeverStepsPastTheEnd) {
  // Each lead byte alone, in memory that ends behind it.
  for (int byte = 0x80; byte < 0x100; ++byte) {
    const std::vector<char> exact(1, static_cast<char>(byte));
    EXPECT_EQ(nextUtf8({exact.data(), exact.size()}).length, 1U);
  }
}

TEST(Utf8, ConvertsAWholeTextWithReplacements) {
  EXPECT_EQ(qx::fromUtf8(""), L"");
  EXPECT_EQ(qx::fromUtf8("a\xD0\xB6\xF0\x9F\x94\x91z"), L"a\u0436\U0001F511z");
  EXPECT_EQ(qx::fromUtf8(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(qx::fromUtf8("\xFF\xE2\x82x\xED\xA0\x80"), L"\uFFFD\uFFFDx\uFFFD\uFFFD\uFFFD");
}

TEST(Utf8, ConvertsWideTextUpToALimit) {
  EXPECT_EQ(qx::toUtf8(L"", 0), "");
  EXPECT_EQ(qx::toUtf8(L"a\u0436\U0001F511z", 8), "a\xD0\xB6\xF0\x9F\x94\x91z");
  EXPECT_EQ(qx::toUtf8(L"a\u0436\U0001F511z", 7), std::nullopt);
  EXPECT_EQ(qx::toUtf8(L"ab", 1), std::nullopt);
  const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), L'\0'};
  EXPECT_EQ(qx::toUtf8(surrogate, 100), std::nullopt);
  const wchar_t tooLarge[] = {static_cast<wchar_t>(0x110000), L'\0'};
  EXPECT_EQ(qx::toUtf8(tooLarge, 100), std::nullopt);
}

}  // namespace
}  // namespace qx::test::utf8_test
