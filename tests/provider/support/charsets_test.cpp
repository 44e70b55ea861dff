#include <array>
#include <clocale>
#include <cwchar>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/errors.h"
#include "platform/support.h"

namespace qx::test::charsets_test {
namespace {

std::u16string fromCp1251(const std::string& text) {
  std::u16string out(text.size() + 1, u'?');
  const std::size_t units =
      qxsup_cp1251_to_utf16le(text.c_str(), reinterpret_cast<uint16_t*>(out.data()), out.size());
  out.resize(units);
  return out;
}

std::string toCharset(const std::u16string& text, const char* charset) {
  const auto* units = reinterpret_cast<const uint16_t*>(text.data());
  const std::size_t size = qxsup_utf16le_to_charset(units, text.size(), charset, nullptr, 0);
  if (size == 0) {
    return "(failed)";
  }
  std::string out(size, '?');
  const std::size_t written =
      qxsup_utf16le_to_charset(units, text.size(), charset, out.data(), out.size());
  EXPECT_EQ(written + 1, size);
  EXPECT_EQ(out.back(), '\0');
  out.resize(written);
  return out;
}

// Windows-1251: the letters stand in the order of Unicode from 0xC0 on, some others elsewhere.
TEST(Cp1251, BecomesUtf16) {
  EXPECT_EQ(fromCp1251("abc"), u"abc");
  EXPECT_EQ(fromCp1251("\xCF\xEE\xE4\xEF\xE8\xF1\xFC"), u"Подпись");
  EXPECT_EQ(fromCp1251("\xA8\xB8\xB9\x88"), u"Ёё№€");
}

TEST(Cp1251, TellsTheUnitsNeededWithTheNul) {
  EXPECT_EQ(qxsup_cp1251_to_utf16le("abc", nullptr, 0), 4U);
  EXPECT_EQ(qxsup_cp1251_to_utf16le("", nullptr, 0), 1U);
  const std::string longer(2000, '\xE0');
  EXPECT_EQ(qxsup_cp1251_to_utf16le(longer.c_str(), nullptr, 0), 2001U);
  EXPECT_EQ(fromCp1251(longer), std::u16string(2000, u'а'));
}

TEST(Cp1251, RefusesABufferWithoutRoomForTheNul) {
  std::array<uint16_t, 4> out{};
  EXPECT_EQ(qxsup_cp1251_to_utf16le("abc", out.data(), 3), 0U);
  EXPECT_EQ(qxsup_cp1251_to_utf16le("abc", out.data(), 4), 3U);
  EXPECT_EQ(out[3], 0U);
}

TEST(Cp1251, RefusesWhatItDoesNotAssign) {
  EXPECT_EQ(qxsup_cp1251_to_utf16le("\x98", nullptr, 0), 0U);
  EXPECT_EQ(qxsup_cp1251_to_utf16le(nullptr, nullptr, 0), 0U);
}

TEST(Utf16, BecomesTheCharsetThatIsAskedFor) {
  EXPECT_EQ(toCharset(u"Да", "UTF-8"), "\xD0\x94\xD0\xB0");
  EXPECT_EQ(toCharset(u"Да", "KOI8-R"), "\xE4\xC1");
  EXPECT_EQ(toCharset(u"Да", "CP1251"), "\xC4\xE0");
  EXPECT_EQ(toCharset(u"\U0001F511", "UTF-8"), "\xF0\x9F\x94\x91");
  EXPECT_EQ(toCharset(u"", "UTF-8"), "");
}

TEST(Utf16, EndsStatefulCharsetsInTheirFirstState) {
  EXPECT_EQ(toCharset(u"Ж", "ISO-2022-JP"), "\x1B$B'(\x1B(B");
}

TEST(Utf16, FailsWhereThereIsNoConversion) {
  EXPECT_EQ(toCharset(u"Да", "ISO-8859-1"), "(failed)");
  EXPECT_EQ(toCharset(u"a", "no-such-charset"), "(failed)");
  EXPECT_EQ(toCharset(std::u16string(1, static_cast<char16_t>(0xD800)), "UTF-8"), "(failed)");
}

TEST(Utf16, RefusesBadArgumentsAndSmallBuffers) {
  const std::array<uint16_t, 2> text = {'a', 'b'};
  std::array<char, 3> out{};
  EXPECT_EQ(qxsup_utf16le_to_charset(nullptr, 2, "UTF-8", out.data(), 3), 0U);
  EXPECT_EQ(qxsup_utf16le_to_charset(text.data(), 2, nullptr, out.data(), 3), 0U);
  EXPECT_EQ(qxsup_utf16le_to_charset(text.data(), SIZE_MAX, "UTF-8", out.data(), 3), 0U);
  EXPECT_EQ(qxsup_utf16le_to_charset(text.data(), 2, "UTF-8", out.data(), 2), 0U);
  EXPECT_EQ(qxsup_utf16le_to_charset(text.data(), 2, "UTF-8", out.data(), 3), 2U);
}

TEST(Charsets, LeaveTheLastErrorAlone) {
  SetLastError(ERROR_BUSY);
  EXPECT_EQ(qxsup_cp1251_to_utf16le("\x98", nullptr, 0), 0U);
  EXPECT_EQ(toCharset(u"Да", "no-such-charset"), "(failed)");
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

class Mbsrtowcs : public testing::Test {
 protected:
  void SetUp() override {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the test program has one thread here
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  }

  void TearDown() override {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): as above
    static_cast<void>(std::setlocale(LC_CTYPE, "C"));
  }
};

TEST_F(Mbsrtowcs, ConvertsAWholeText) {
  const char* text = "a\xD0\xB6";
  std::array<wchar_t, 3> out{};
  EXPECT_EQ(qxsup_mbsrtowcs(out.data(), &text, out.size(), nullptr), 2U);
  EXPECT_STREQ(out.data(), L"a\u0436");
  EXPECT_EQ(text, nullptr);
}

TEST_F(Mbsrtowcs, EndsInNulAlsoWhenTheTextDoesNotFit) {
  const char* const start = "abc";
  const char* text = start;
  std::array<wchar_t, 3> out = {L'?', L'?', L'?'};
  EXPECT_EQ(qxsup_mbsrtowcs(out.data(), &text, 3, nullptr), 2U);
  EXPECT_STREQ(out.data(), L"ab");
  EXPECT_EQ(text, start + 2);
  EXPECT_EQ(qxsup_mbsrtowcs(out.data(), &text, 1, nullptr), 0U);
  EXPECT_STREQ(out.data(), L"");
  EXPECT_EQ(qxsup_mbsrtowcs(out.data(), &text, 0, nullptr), 0U);
}

TEST_F(Mbsrtowcs, CountsWithoutABuffer) {
  const char* const start = "a\xD0\xB6z";
  const char* text = start;
  EXPECT_EQ(qxsup_mbsrtowcs(nullptr, &text, 0, nullptr), 3U);
  EXPECT_EQ(text, start);
}

TEST_F(Mbsrtowcs, RefusesWhatTheLocaleCannotConvert) {
  const char* text = "a\xFF";
  std::array<wchar_t, 4> out = {L'?', L'?', L'?', L'?'};
  std::mbstate_t state{};
  EXPECT_EQ(qxsup_mbsrtowcs(out.data(), &text, out.size(), &state), static_cast<std::size_t>(-1));
  EXPECT_STREQ(out.data(), L"");
  EXPECT_EQ(qxsup_mbsrtowcs(out.data(), nullptr, out.size(), &state), 0U);
}

TEST_F(Mbsrtowcs, GoesOnWhereTheLastCallStopped) {
  const char* text = "Жанна";
  mbstate_t state{};
  std::wstring all;
  wchar_t out[3];
  while (text != nullptr) {
    const std::size_t count = qxsup_mbsrtowcs(out, &text, 3, &state);
    ASSERT_LE(count, 2U);
    EXPECT_EQ(out[count], L'\0');
    all += out;
  }
  EXPECT_EQ(all, L"Жанна");
}

TEST_F(Mbsrtowcs, TakesACharacterThatBeganInTheCallBefore) {
  mbstate_t state{};
  wchar_t letter = L'?';
  ASSERT_EQ(mbrtowc(&letter, "\xD0", 1, &state), static_cast<std::size_t>(-2));
  const char* rest = "\x96!";
  wchar_t out[4];
  EXPECT_EQ(qxsup_mbsrtowcs(out, &rest, 4, &state), 2U);
  EXPECT_STREQ(out, L"Ж!");
  EXPECT_EQ(rest, nullptr);
}

TEST_F(Mbsrtowcs, StopsAtWhatIsNoCharacterAndSaysWhere) {
  const char* const whole =
      "ab\xFF"
      "cd";
  const char* text = whole;
  mbstate_t state{};
  wchar_t out[8] = {L'?', L'?'};
  EXPECT_EQ(qxsup_mbsrtowcs(out, &text, 8, &state), static_cast<std::size_t>(-1));
  EXPECT_EQ(out[0], L'\0');
  EXPECT_EQ(text, whole + 2);
}

}  // namespace
}  // namespace qx::test::charsets_test
