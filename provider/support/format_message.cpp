#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/errors.h"

#include "provider/api.h"
#include "provider/support/error_texts.h"

namespace {

using qx::fail;
using qx::Result;

constexpr DWORD kSources =
    FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_HMODULE;

// The neutral language, and English in all its countries.
bool isKnownLanguage(DWORD languageId) {
  constexpr DWORD kPrimaryLanguage = 0x3FF;
  constexpr DWORD kEnglish = 9;
  const DWORD language = languageId & kPrimaryLanguage;
  return language == 0 || language == kEnglish;
}

Result<std::string> systemText(DWORD flags, DWORD code, DWORD languageId) {
  if ((flags & kSources) != FORMAT_MESSAGE_FROM_SYSTEM) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  if (!isKnownLanguage(languageId)) {
    return fail(ERROR_RESOURCE_LANG_NOT_FOUND);
  }
  const char* text = qx::errorText(code);
  if (text == nullptr) {
    return fail(ERROR_MR_MID_NOT_FOUND);
  }
  return std::string(text) + ". \r\n";
}

// With FORMAT_MESSAGE_ALLOCATE_BUFFER the buffer argument is the place for a pointer.
Result<DWORD> allocate(const std::string& text, char** out, DWORD leastCharacters) {
  const std::size_t size = std::max<std::size_t>(text.size() + 1, leastCharacters);
  *out =
      static_cast<char*>(std::calloc(size, 1));  // NOLINT(cppcoreguidelines-no-malloc): LocalFree
  if (*out == nullptr) {
    return fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  text.copy(*out, text.size());
  return static_cast<DWORD>(text.size());
}

Result<DWORD> copy(const std::string& text, char* out, DWORD capacity) {
  if (text.size() >= capacity) {
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memcpy(out, text.c_str(), text.size() + 1);
  return static_cast<DWORD>(text.size());
}

}  // namespace

DWORD FormatMessageA(DWORD dwFlags,
                     LPCVOID /*lpSource*/,
                     DWORD dwMessageId,
                     DWORD dwLanguageId,
                     LPSTR lpBuffer,
                     DWORD nSize,
                     va_list* /*Arguments: no text of ours has inserts*/) {
  return qx::apiValue<DWORD>([&]() -> Result<DWORD> {
    if (lpBuffer == nullptr) {
      return fail(ERROR_INVALID_PARAMETER);
    }
    const bool allocates = (dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    auto** const allocated = reinterpret_cast<char**>(lpBuffer);
    if (allocates) {
      *allocated = nullptr;
    }
    const Result<std::string> text = systemText(dwFlags, dwMessageId, dwLanguageId);
    if (!text) {
      return text.failure();
    }
    return allocates ? allocate(*text, allocated, nSize) : copy(*text, lpBuffer, nSize);
  });
}
