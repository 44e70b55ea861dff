#include <iconv.h>

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/errors.h"
#include "platform/strings.h"

namespace qx::test::code_pages_test {
namespace {

std::wstring widen(const std::string& text, DWORD flags = 0) {
  std::wstring out(text.size() + 1, L'?');
  const int count = MultiByteToWideChar(CP_UTF8,
                                        flags,
                                        text.data(),
                                        static_cast<int>(text.size()),
                                        out.data(),
                                        static_cast<int>(out.size()));
  out.resize(static_cast<std::size_t>(count));
  return out;
}

std::string narrow(const std::wstring& text, DWORD flags = 0) {
  std::string out((text.size() * 4) + 1, '?');
  const int count = WideCharToMultiByte(CP_UTF8,
                                        flags,
                                        text.data(),
                                        static_cast<int>(text.size()),
                                        out.data(),
                                        static_cast<int>(out.size()),
                                        nullptr,
                                        nullptr);
  out.resize(static_cast<std::size_t>(count));
  return out;
}

// The C library's converter, as the other opinion.
std::string iconvToUtf8(std::wstring text) {
  iconv_t converter = iconv_open("UTF-8", "WCHAR_T");
  std::string out(text.size() * 4, '\0');
  char* from = reinterpret_cast<char*>(text.data());
  std::size_t left = text.size() * sizeof(wchar_t);
  char* to = out.data();
  std::size_t room = out.size();
  EXPECT_EQ(iconv(converter, &from, &left, &to, &room), 0U);
  iconv_close(converter);
  out.resize(out.size() - room);
  return out;
}

TEST(CodePages, AgreeWithTheCLibraryOnEveryCharacter) {
  std::wstring all;
  for (char32_t c = 1; c <= 0x10FFFF; ++c) {
    if (c < 0xD800 || c > 0xDFFF) {
      all.push_back(static_cast<wchar_t>(c));
    }
  }
  const std::string bytes = iconvToUtf8(all);
  EXPECT_TRUE(narrow(all, WC_ERR_INVALID_CHARS) == bytes);
  EXPECT_TRUE(widen(bytes, MB_ERR_INVALID_CHARS) == all);
}

TEST(CodePages, CountTheNulWhenTheLengthIsNotGiven) {
  std::array<wchar_t, 8> wide{};
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "ab", -1, nullptr, 0), 3);
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "ab", -1, wide.data(), 3), 3);
  EXPECT_STREQ(wide.data(), L"ab");
  std::array<char, 8> narrowed{};
  EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"\u0436x", -1, nullptr, 0, nullptr, nullptr), 4);
  EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"\u0436x", -1, narrowed.data(), 4, nullptr, nullptr),
            4);
  EXPECT_STREQ(narrowed.data(), "\xD0\xB6x");
}

TEST(CodePages, AddNoNulToACountedText) {
  std::array<wchar_t, 4> wide = {L'1', L'2', L'3', L'4'};
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", 2, wide.data(), 4), 2);
  EXPECT_EQ(wide[2], L'3');
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\0b", 3, wide.data(), 4), 3);
  EXPECT_EQ(wide[1], L'\0');
}

TEST(CodePages, LeaveTheLastErrorAloneWhenTheySucceed) {
  SetLastError(ERROR_BUSY);
  EXPECT_EQ(widen("ab"), L"ab");
  EXPECT_EQ(narrow(L"ab"), "ab");
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

TEST(CodePages, TakeTheGeneralPagesForUtf8AndKnowNoOther) {
  for (const UINT page : {CP_ACP, CP_OEMCP, CP_MACCP, CP_THREAD_ACP, CP_UTF8}) {
    EXPECT_EQ(MultiByteToWideChar(page, 0, "\xD0\xB6", 2, nullptr, 0), 1) << page;
  }
  for (const UINT page : {CP_SYMBOL, CP_UTF7, 1251U}) {
    EXPECT_EQ(MultiByteToWideChar(page, 0, "a", 1, nullptr, 0), 0) << page;
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  }
}

TEST(CodePages, SayThatTheBufferIsTooSmall) {
  std::array<wchar_t, 2> wide{};
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide.data(), 2), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  std::array<char, 2> narrowed{};
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"\u20AC", 1, narrowed.data(), 2, nullptr, nullptr), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(CodePages, RefuseArgumentsThatMakeNoSense) {
  std::array<wchar_t, 4> wide{};
  const auto refused = [](int count) {
    const bool told = GetLastError() == ERROR_INVALID_PARAMETER;
    SetLastError(ERROR_SUCCESS);
    return count == 0 && told;
  };
  EXPECT_TRUE(refused(MultiByteToWideChar(CP_UTF8, 0, "a", 0, wide.data(), 4)));
  EXPECT_TRUE(refused(MultiByteToWideChar(CP_UTF8, 0, nullptr, 1, wide.data(), 4)));
  EXPECT_TRUE(refused(MultiByteToWideChar(CP_UTF8, 0, "a", -2, wide.data(), 4)));
  EXPECT_TRUE(refused(MultiByteToWideChar(CP_UTF8, 0, "a", 1, wide.data(), -1)));
  EXPECT_TRUE(refused(MultiByteToWideChar(CP_UTF8, 0, "a", 1, nullptr, 4)));
  EXPECT_TRUE(refused(MultiByteToWideChar(
      CP_UTF8, 0, reinterpret_cast<const char*>(wide.data()), 1, wide.data(), 4)));
  EXPECT_TRUE(refused(WideCharToMultiByte(CP_UTF8, 0, L"a", 0, nullptr, 0, nullptr, nullptr)));
  EXPECT_TRUE(refused(WideCharToMultiByte(CP_UTF8, 0, L"a", 1, nullptr, 0, "?", nullptr)));
  BOOL used = FALSE;
  EXPECT_TRUE(refused(WideCharToMultiByte(CP_UTF8, 0, L"a", 1, nullptr, 0, nullptr, &used)));
}

TEST(CodePages, RefuseUnknownFlags) {
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_PRECOMPOSED, "a", 1, nullptr, 0), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_FLAGS);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_COMPOSITECHECK, L"a", 1, nullptr, 0, nullptr, nullptr),
            0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_FLAGS);
}

struct BadText {
  std::string bytes;
  std::wstring replaced;
};

// The cases of the Unicode standard, 3.9, tables 3-8 to 3-11: U+FFFD stands for each maximal subpart.
TEST(CodePages, ReplaceEachMaximalSubpartOfBadUtf8) {
  const std::vector<BadText> cases = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41",
       L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41",
       L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
      {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42",
       L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0041\uFFFD\uFFFD\u0042"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", L"\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
      {"\xD0", L"\uFFFD"},
      {"a\xE2\x82", L"a\uFFFD"}};
  for (const BadText& bad : cases) {
    EXPECT_EQ(widen(bad.bytes), bad.replaced);
    EXPECT_EQ(widen(bad.bytes, MB_ERR_INVALID_CHARS), L"");
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
  }
}

TEST(CodePages, ReplaceWhatIsNoCharacter) {
  const std::vector<int> noCharacters = {
      0xD800, 0xDFFF, 0x110000, -1, std::numeric_limits<int>::min()};
  for (const int value : noCharacters) {
    const std::wstring text(1, static_cast<wchar_t>(value));
    EXPECT_EQ(narrow(text), "\xEF\xBF\xBD");
    EXPECT_EQ(narrow(text, WC_ERR_INVALID_CHARS), "");
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
  }
}

}  // namespace
}  // namespace qx::test::code_pages_test
