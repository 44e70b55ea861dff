#include <algorithm>
#include <array>
#include <iterator>
#include <regex>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "provider/support/error_texts.h"
#include "tests/support/temp_dir.h"

namespace qx::test::format_message_test {
namespace {

constexpr DWORD kSystem = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
constexpr DWORD kAllocated = kSystem | FORMAT_MESSAGE_ALLOCATE_BUFFER;

DWORD allocate(DWORD code, char** text, DWORD language = 0, DWORD least = 0) {
  return FormatMessageA(
      kAllocated, nullptr, code, language, reinterpret_cast<char*>(text), least, nullptr);
}

TEST(FormatMessage, AllocatesTheTextOfACode) {
  char* text = nullptr;
  const DWORD length = allocate(NTE_BAD_SIGNATURE, &text);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "The signature is not valid. \r\n");
  EXPECT_EQ(length, std::string_view(text).size());
  LocalFree(text);
}

TEST(FormatMessage, AllocatesAtLeastAsMuchAsWasAskedFor) {
  constexpr DWORD kLeast = 4096;
  char* text = nullptr;
  ASSERT_NE(allocate(ERROR_BUSY, &text, 0, kLeast), 0U);
  // The sanitizers watch this write.
  text[kLeast - 1] = 'x';
  EXPECT_EQ(text[kLeast - 1], 'x');
  LocalFree(text);
}

TEST(FormatMessage, LeavesTheLastErrorAloneWhenItSucceeds) {
  SetLastError(ERROR_BUSY);
  char* text = nullptr;
  ASSERT_NE(allocate(E_FAIL, &text), 0U);
  LocalFree(text);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

TEST(FormatMessage, HasNoTextForAnUnknownCode) {
  char other = 'x';
  char* text = &other;
  EXPECT_EQ(allocate(0xDEADBEEF, &text), 0U);
  EXPECT_EQ(GetLastError(), ERROR_MR_MID_NOT_FOUND);
  EXPECT_EQ(text, nullptr);
}

TEST(FormatMessage, KnowsEnglishOnly) {
  char* text = nullptr;
  EXPECT_EQ(allocate(E_FAIL, &text, 0x419), 0U);
  EXPECT_EQ(GetLastError(), ERROR_RESOURCE_LANG_NOT_FOUND);
  EXPECT_EQ(text, nullptr);
  ASSERT_NE(allocate(E_FAIL, &text, 0x409), 0U);
  LocalFree(text);
}

TEST(FormatMessage, FillsTheCallersBufferOrSaysThatItIsTooSmall) {
  const std::string expected = "The handle is not valid. \r\n";
  std::array<char, 64> buffer{};
  const auto size = static_cast<DWORD>(expected.size());
  EXPECT_EQ(
      FormatMessageA(kSystem, nullptr, ERROR_INVALID_HANDLE, 0, buffer.data(), size + 1, nullptr),
      size);
  EXPECT_EQ(buffer.data(), expected);
  EXPECT_EQ(FormatMessageA(kSystem, nullptr, ERROR_INVALID_HANDLE, 0, buffer.data(), size, nullptr),
            0U);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(FormatMessage, RefusesOtherSourcesAndNoBuffer) {
  std::array<char, 64> buffer{};
  EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_FROM_STRING, "text", 0, 0, buffer.data(), 64, nullptr),
            0U);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(FormatMessageA(kSystem, nullptr, E_FAIL, 0, nullptr, 0, nullptr), 0U);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(ErrorText, OfAWrappedWin32CodeIsThatOfThePlainOne) {
  constexpr DWORD kWrapped = 0x80070000 | ERROR_DISK_FULL;
  EXPECT_STREQ(qx::errorText(kWrapped), qx::errorText(ERROR_DISK_FULL));
  EXPECT_STREQ(qx::errorText(E_INVALIDARG), "An argument is not valid");
}

// The header is the list of codes: none may be left without words.
TEST(ErrorText, IsThereInPlainAsciiForEveryPublishedCode) {
  const std::string header = qx::test::readFile(QX_SOURCE_DIR "/platform/errors.h");
  const std::regex definition(R"(#define (\w+)[ \\\n]+0x([0-9A-F]+)u +/\*)");
  int codes = 0;
  for (std::sregex_iterator next(header.begin(), header.end(), definition), end; next != end;
       ++next) {
    const std::smatch& match = *next;
    ++codes;
    const char* text = qx::errorText(static_cast<DWORD>(std::stoul(match[2], nullptr, 16)));
    ASSERT_NE(text, nullptr) << match[1];
    const std::string_view view(text);
    EXPECT_TRUE(std::ranges::all_of(view, [](char c) { return c >= ' ' && c <= '~'; }));
    // A per cent sign would be an insert, a full stop would stand twice.
    EXPECT_EQ(view.find('%'), std::string_view::npos) << view;
    EXPECT_FALSE(view.ends_with('.')) << view;
  }
  const std::regex anyName(R"(#define (?!QX_|FormatMessage|FORMAT_MESSAGE)\w+)");
  EXPECT_EQ(codes, std::distance(std::sregex_iterator(header.begin(), header.end(), anyName), {}));
}

}  // namespace
}  // namespace qx::test::format_message_test
