#include "qxsapssf/qxsapssf_errors.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/qxsapssf_messages.h"
#include "qxsapssf/qxsapssf_print.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

/// The lines that the unit reports its own trouble from.
constexpr int kMisuseLine = 295;
constexpr int kFirstBufferLine = 298;
constexpr int kSecondBufferLine = 300;

constexpr DWORD kFirstNumber = 100;

DWORD printLastError() noexcept {
  const DWORD error = GetLastError();
  if (error == ERROR_SUCCESS) {
    return ERROR_SUCCESS;
  }
  LocalText text;
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
      /*lpSource=*/nullptr,
      error,
      /*dwLanguageId=*/0,
      reinterpret_cast<LPSTR>(text.put()),
      /*nSize=*/0,
      /*Arguments=*/nullptr);
  if (length == 0 || !text) {
    PrintMessage(142, 0);
  } else {
    PrintString(text.get(), nullptr, 0);
  }
  return error;
}

/// A row's text with `value` in the place of `mark`, or as it stands without that place. The row is
/// never a printf format, whatever it holds.
OwnedBytes withInsert(std::string_view text,
                      std::string_view mark,
                      std::string_view value) noexcept {
  const std::size_t at = mark.empty() ? std::string_view::npos : text.find(mark);
  if (at == std::string_view::npos) {
    return OwnedBytes::copyOf(text.data(), text.size() + 1);
  }
  const std::string_view rest = text.substr(at + mark.size());
  OwnedBytes whole = OwnedBytes::allocateZeroed(at + value.size() + rest.size() + 1);
  if (whole) {
    std::memcpy(whole.data(), text.data(), at);
    std::memcpy(whole.data() + at, value.data(), value.size());
    std::memcpy(whole.data() + at + value.size(), rest.data(), rest.size());
  }
  return whole;
}

}  // namespace

// NOLINTNEXTLINE(misc-no-recursion): it reports its own trouble with codes that need no buffer
DWORD ErrorHandleEx(const char* /*unit*/, int /*line*/, DWORD code, const char* text) noexcept {
  if (code == kLastErrorCode) {
    return printLastError();
  }
  if (code == 0) {
    return 0;
  }
  const DWORD number = code & ~kCustomerBit;
  if (number < kFirstNumber) {
    return ErrorHandleEx(kLibraryUnit, kMisuseLine, kInternalMessage, nullptr);
  }
  const MessageRow& row = errorRow(number);
  if (text == nullptr || row.insert != Insert::Text) {
    PrintString(row.russian, row.english, 0);
    return code;
  }
  OwnedBytes russian = withInsert(row.russian, "%s", text);
  if (!russian) {
    return ErrorHandleEx(kLibraryUnit, kFirstBufferLine, kNoMemoryMessage, nullptr);
  }
  OwnedBytes english = withInsert(row.english, "%s", text);
  if (!english) {
    return ErrorHandleEx(kLibraryUnit, kSecondBufferLine, kNoMemoryMessage, nullptr);
  }
  PrintString(russian.as<const char>(), english.as<const char>(), 0);
  return code;
}

DWORD ErrorHandleEx(const char* /*unit*/, int /*line*/, DWORD code, int number) noexcept {
  if ((code & ~kCustomerBit) < kFirstNumber) {
    return kInternalMessage;
  }
  const MessageRow& row = errorRow(code & ~kCustomerBit);
  std::array<char, 9> digits{};
  const int length =
      std::snprintf(digits.data(), digits.size(), "%X", static_cast<unsigned>(number));
  const std::string_view value(digits.data(), static_cast<std::size_t>(length));
  const std::string_view mark = row.insert == Insert::Number ? "%X" : "";
  OwnedBytes russian = withInsert(row.russian, mark, value);
  OwnedBytes english = withInsert(row.english, mark, value);
  if (!russian || !english) {
    return kNoMemoryMessage;
  }
  PrintString(russian.as<const char>(), english.as<const char>(), 1);
  return code;
}

void reportFailedCall(const char* function, std::source_location where) noexcept {
  const int line = static_cast<int>(where.line());
  QX_TRACE_AT(line, function, "#error#: %08x\n", GetLastError());
  ErrorHandleEx(kMainUnit, line, kLastErrorCode, nullptr);
}

SAPRETURN failedCall(const char* function, SAPRETURN code, std::source_location where) noexcept {
  reportFailedCall(function, where);
  return code;
}

}  // namespace qx
