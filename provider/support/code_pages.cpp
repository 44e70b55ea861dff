#include <climits>
#include <cwchar>
#include <string>
#include <string_view>

#include "platform/strings.h"

#include "provider/api.h"
#include "provider/support/utf8.h"

namespace {

using qx::fail;
using qx::Result;

bool isUtf8(UINT codePage) {
  switch (codePage) {
    case CP_ACP:
    case CP_OEMCP:
    case CP_MACCP:
    case CP_THREAD_ACP:
    case CP_UTF8:
      return true;
    default:
      return false;
  }
}

// What both directions ask of their arguments before they look at the text.
Result<void> checkArguments(
    UINT codePage, const void* source, int sourceLength, const void* target, int targetLength) {
  const bool badSource = source == nullptr || sourceLength == 0 || sourceLength < -1;
  const bool badTarget = targetLength < 0 || (targetLength > 0 && target == nullptr);
  if (badSource || badTarget || source == target || !isUtf8(codePage)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return {};
}

// Copies a result, or with no target counts it.
template <class Character>
Result<int> deliver(const std::basic_string<Character>& text, Character* target, int capacity) {
  if (text.size() > INT_MAX) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const int length = static_cast<int>(text.size());
  if (capacity != 0) {
    if (length > capacity) {
      return fail(ERROR_INSUFFICIENT_BUFFER);
    }
    text.copy(target, text.size());
  }
  return length;
}

Result<std::wstring> widen(std::string_view text, bool strict) {
  std::wstring out;
  out.reserve(text.size());
  while (!text.empty()) {
    const qx::Utf8Step step = qx::nextUtf8(text);
    if (strict && !step.valid) {
      return fail(ERROR_NO_UNICODE_TRANSLATION);
    }
    out.push_back(static_cast<wchar_t>(step.character));
    text.remove_prefix(step.length);
  }
  return out;
}

Result<std::string> narrow(std::wstring_view text, bool strict) {
  std::string out;
  out.reserve(text.size());
  for (const wchar_t c : text) {
    const auto character = static_cast<char32_t>(c);
    if (strict && !qx::isCharacter(character)) {
      return fail(ERROR_NO_UNICODE_TRANSLATION);
    }
    qx::appendUtf8(out, character);
  }
  return out;
}

}  // namespace

int MultiByteToWideChar(UINT CodePage,
                        DWORD dwFlags,
                        LPCSTR lpMultiByteStr,
                        int cbMultiByte,
                        LPWSTR lpWideCharStr,
                        int cchWideChar) {
  return qx::apiValue<int>([&]() -> Result<int> {
    const Result<void> good =
        checkArguments(CodePage, lpMultiByteStr, cbMultiByte, lpWideCharStr, cchWideChar);
    if (!good) {
      return good.failure();
    }
    if ((dwFlags & ~MB_ERR_INVALID_CHARS) != 0) {
      return fail(ERROR_INVALID_FLAGS);
    }
    const std::size_t length = cbMultiByte < 0 ? std::string_view(lpMultiByteStr).size() + 1
                                               : static_cast<std::size_t>(cbMultiByte);
    const Result<std::wstring> wide = widen({lpMultiByteStr, length}, dwFlags != 0);
    return wide ? deliver(*wide, lpWideCharStr, cchWideChar) : wide.failure();
  });
}

int WideCharToMultiByte(UINT CodePage,
                        DWORD dwFlags,
                        LPCWSTR lpWideCharStr,
                        int cchWideChar,
                        LPSTR lpMultiByteStr,
                        int cbMultiByte,
                        LPCSTR lpDefaultChar,
                        // NOLINTNEXTLINE(readability-non-const-parameter): published signature
                        BOOL* lpUsedDefaultChar) {
  return qx::apiValue<int>([&]() -> Result<int> {
    const Result<void> good =
        checkArguments(CodePage, lpWideCharStr, cchWideChar, lpMultiByteStr, cbMultiByte);
    if (!good) {
      return good.failure();
    }
    if (lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr) {
      return fail(ERROR_INVALID_PARAMETER);
    }
    if ((dwFlags & ~WC_ERR_INVALID_CHARS) != 0) {
      return fail(ERROR_INVALID_FLAGS);
    }
    const std::size_t length =
        cchWideChar < 0 ? std::wcslen(lpWideCharStr) + 1 : static_cast<std::size_t>(cchWideChar);
    const Result<std::string> bytes = narrow({lpWideCharStr, length}, dwFlags != 0);
    return bytes ? deliver(*bytes, lpMultiByteStr, cbMultiByte) : bytes.failure();
  });
}
