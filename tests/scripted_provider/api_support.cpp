// The last error, texts, charsets, times and the trace.
#include <iconv.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "tests/scripted_provider/state.h"

using namespace qx::scripted;  // NOLINT(google-*): a file of exported functions

namespace {

/// Converts with iconv; empty on failure.
std::string convert(const char* to, const char* from, std::string_view text) {
  iconv_t converter = iconv_open(to, from);
  if (converter == reinterpret_cast<iconv_t>(-1)) {
    return {};
  }
  std::string source(text);
  std::string result(text.size() * 4 + 8, '\0');
  char* in = source.data();
  char* out = result.data();
  std::size_t inLeft = source.size();
  std::size_t outLeft = result.size();
  const std::size_t code = iconv(converter, &in, &inLeft, &out, &outLeft);
  iconv_close(converter);
  result.resize(result.size() - outLeft);
  return code == static_cast<std::size_t>(-1) ? std::string() : result;
}

/// The qxsup_ answer: units without the NUL, or what is needed with it.
template <class Unit>
std::size_t answer(const std::string& bytes, Unit* out, std::size_t capacity) {
  const std::size_t units = bytes.size() / sizeof(Unit);
  if (out == nullptr) {
    return units + 1;
  }
  if (units + 1 > capacity) {
    return 0;
  }
  std::memcpy(out, bytes.data(), units * sizeof(Unit));
  out[units] = 0;
  return units;
}

int give(const std::string& bytes, void* out, int capacity, std::size_t unit) {
  const int units = static_cast<int>(bytes.size() / unit);
  if (capacity == 0) {
    return units;
  }
  if (units > capacity) {
    state().lastError = ERROR_INSUFFICIENT_BUFFER;
    return 0;
  }
  std::memcpy(out, bytes.data(), bytes.size());
  return units;
}

}  // namespace

DWORD GetLastError(void) {
  const AllocationsPause pause;
  ++state().lastErrorReads;
  return state().lastError;
}

void SetLastError(DWORD dwErrCode) {
  const AllocationsPause pause;
  const Call call("SetLastError(%08x)", dwErrCode);
  state().lastError = dwErrCode;
}

HLOCAL LocalFree(HLOCAL hMem) {
  const AllocationsPause pause;
  const Call call("LocalFree(%s)", state().nameOf(hMem).c_str());
  state().takeBack(hMem, "LocalFree");
  std::free(hMem);
  return nullptr;
}

DWORD FormatMessageA(DWORD dwFlags,
                     LPCVOID lpSource,
                     DWORD dwMessageId,
                     DWORD dwLanguageId,
                     LPSTR lpBuffer,
                     DWORD nSize,
                     va_list* Arguments) {
  const AllocationsPause pause;
  Call call("FormatMessageA(0x%x, %s, %08x, %u, %u, %s)",
            dwFlags,
            lpSource == nullptr ? "NULL" : "source",
            dwMessageId,
            dwLanguageId,
            nSize,
            Arguments == nullptr ? "NULL" : "arguments");
  auto** buffer = reinterpret_cast<char**>(lpBuffer);
  *buffer = nullptr;
  if (call.fails() || call.givesNothing()) {
    return 0;
  }
  char* text = nullptr;
  const int length = asprintf(&text, "Text of error %08x. \r\n", dwMessageId);
  state().give(std::make_unique<Object>(), text, "text");
  *buffer = text;
  return static_cast<DWORD>(length);
}

int MultiByteToWideChar(UINT CodePage,
                        DWORD dwFlags,
                        LPCSTR lpMultiByteStr,
                        int cbMultiByte,
                        LPWSTR lpWideCharStr,
                        int cchWideChar) {
  const AllocationsPause pause;
  const std::string_view text(
      lpMultiByteStr,
      cbMultiByte < 0 ? std::strlen(lpMultiByteStr) + 1 : static_cast<std::size_t>(cbMultiByte));
  Call call("MultiByteToWideChar(%u, 0x%x, %.*s, %s)",
            CodePage,
            dwFlags,
            static_cast<int>(text.size()),
            text.data(),
            cchWideChar == 0 ? "size" : "read");
  call.tell("length %d, room %d", cbMultiByte, cchWideChar);
  return call.fails()
             ? 0
             : give(
                   convert("UTF-32LE", "UTF-8", text), lpWideCharStr, cchWideChar, sizeof(wchar_t));
}

int WideCharToMultiByte(UINT CodePage,
                        DWORD dwFlags,
                        LPCWSTR lpWideCharStr,
                        int cchWideChar,
                        LPSTR lpMultiByteStr,
                        int cbMultiByte,
                        LPCSTR /*lpDefaultChar*/,
                        BOOL* /*lpUsedDefaultChar*/) {
  const AllocationsPause pause;
  const std::size_t length =
      cchWideChar < 0 ? std::wcslen(lpWideCharStr) + 1 : static_cast<std::size_t>(cchWideChar);
  Call call("WideCharToMultiByte(%u, 0x%x, %zu characters, %s)",
            CodePage,
            dwFlags,
            length,
            cbMultiByte == 0 ? "size" : "read");
  call.tell("length %d, room %d", cchWideChar, cbMultiByte);
  const std::string_view text(reinterpret_cast<const char*>(lpWideCharStr),
                              length * sizeof(wchar_t));
  return call.fails() ? 0
                      : give(convert("UTF-8", "UTF-32LE", text), lpMultiByteStr, cbMultiByte, 1);
}

BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, SYSTEMTIME* lpSystemTime) {
  const AllocationsPause pause;
  Call call(
      "FileTimeToSystemTime(%08x%08x)", lpFileTime->dwHighDateTime, lpFileTime->dwLowDateTime);
  if (call.fails()) {
    return FALSE;
  }
  const auto units = static_cast<std::int64_t>(
      (static_cast<std::uint64_t>(lpFileTime->dwHighDateTime) << 32) | lpFileTime->dwLowDateTime);
  const std::time_t seconds = units / 10000000 - 11644473600LL;
  std::tm date{};
  gmtime_r(&seconds, &date);
  *lpSystemTime = {.wYear = static_cast<WORD>(date.tm_year + 1900),
                   .wMonth = static_cast<WORD>(date.tm_mon + 1),
                   .wDayOfWeek = static_cast<WORD>(date.tm_wday),
                   .wDay = static_cast<WORD>(date.tm_mday),
                   .wHour = static_cast<WORD>(date.tm_hour),
                   .wMinute = static_cast<WORD>(date.tm_min),
                   .wSecond = static_cast<WORD>(date.tm_sec),
                   .wMilliseconds = 0};
  return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, FILETIME* lpFileTime) {
  const AllocationsPause pause;
  Call call("SystemTimeToFileTime()");
  if (call.fails()) {
    return FALSE;
  }
  *lpFileTime = fileTime(lpSystemTime->wYear,
                         lpSystemTime->wMonth,
                         lpSystemTime->wDay,
                         lpSystemTime->wHour,
                         lpSystemTime->wMinute,
                         lpSystemTime->wSecond);
  return TRUE;
}

BOOL CryptDecodeObject(DWORD dwCertEncodingType,
                       LPCSTR lpszStructType,
                       const BYTE* pbEncoded,
                       DWORD cbEncoded,
                       DWORD dwFlags,
                       void* pvStructInfo,
                       DWORD* pcbStructInfo) {
  const AllocationsPause pause;
  Call call("CryptDecodeObject(0x%x, %s, %u bytes, 0x%x, %s)",
            dwCertEncodingType,
            lpszStructType,
            cbEncoded,
            dwFlags,
            pass(pvStructInfo));
  if (call.fails()) {
    return FALSE;
  }
  if (cbEncoded != sizeof(FILETIME)) {
    return call.fail(CRYPT_E_ASN1_BADTAG);
  }
  state().lastError = ERROR_SUCCESS;
  return call.give(std::span(pbEncoded, cbEncoded), pvStructInfo, pcbStructInfo);
}

void qxsup_trace_register(const char* name, QX_TRACE_CONTEXT** context) {
  const AllocationsPause pause;
  state().registrations.emplace_back(name);
  *context = &state().context;
}

void qxsup_trace_unregister(QX_TRACE_CONTEXT** context) {
  const AllocationsPause pause;
  state().registrations.emplace_back("unregistered");
  *context = nullptr;
}

int qxsup_trace_enabled(const QX_TRACE_CONTEXT* context, unsigned level) {
  const AllocationsPause pause;
  ++state().traceEnabledCalls;
  state().traceLevel = level;
  return context == &state().context && level == 8 && provider().isTraceEnabledAnswer ? 1 : 0;
}

void qxsup_trace_print(QX_TRACE_CONTEXT* /*context*/,
                       const char* format,
                       const char* file,
                       int line,
                       const char* function,
                       ...) {
  const AllocationsPause pause;
  std::va_list arguments;
  va_start(arguments, function);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    state().journal.push_back("trace " + std::string(function) + ": " + text);
    state().fullJournal.push_back("trace " + std::to_string(state().traceLevel) + " " + function +
                                  ": " + text);
    state().trace.push_back(
        {.text = text, .format = format, .file = file, .line = line, .function = function});
    std::free(text);
  }
  va_end(arguments);
}

size_t qxsup_cp1251_to_utf16le(const char* text, uint16_t* out, size_t capacity) {
  const AllocationsPause pause;
  Call call("qxsup_cp1251_to_utf16le(%zu bytes, %s)", std::strlen(text), pass(out));
  return call.fails() ? 0 : answer(convert("UTF-16LE", "CP1251", text), out, capacity);
}

size_t qxsup_utf16le_to_charset(
    const uint16_t* text, size_t length, const char* charset, char* out, size_t capacity) {
  Call call("qxsup_utf16le_to_charset(%zu units, %s, %s)", length, charset, pass(out));
  if (call.fails()) {
    return 0;
  }
  const std::string_view units(reinterpret_cast<const char*>(text), length * sizeof(uint16_t));
  const std::string bytes = convert(charset, "UTF-16LE", units);
  return bytes.empty() ? 0 : answer(bytes, out, capacity);
}

size_t qxsup_mbsrtowcs(wchar_t* out, const char** text, size_t capacity, mbstate_t* conversion) {
  const AllocationsPause pause;
  Call call("qxsup_mbsrtowcs(%s, %zu)", *text, capacity);
  return call.fails() ? static_cast<size_t>(-1) : std::mbsrtowcs(out, text, capacity, conversion);
}
