#include "qxsapssf/qxsapssf_print.h"

#include <langinfo.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "platform/support.h"

#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/qxsapssf_messages.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

constexpr std::array<std::string_view, 5> kRussianLocales = {
    "ru_RU.iso88595", "ru_RU.cp1251", "ru_RU.cp866", "ru_RU.koi8r", "ru_RU.utf8"};

/// Traced texts have always come from this line; hosts filter by it.
constexpr int kPrintLine = 443;

/// The converters' first answer counts the NUL or not, as the provider likes: there is room for both.
OwnedBytes toUtf16(const char* text) noexcept {
  const std::size_t units = qxsup_cp1251_to_utf16le(text, nullptr, 0);
  OwnedBytes wide =
      units == 0 ? OwnedBytes() : OwnedBytes::allocate((units + 1) * sizeof(uint16_t));
  if (wide) {
    wide.shrinkTo(qxsup_cp1251_to_utf16le(text, wide.as<uint16_t>(), units + 1) * sizeof(uint16_t));
  }
  return wide;
}

OwnedBytes toLocaleCharset(OwnedBytes wide) noexcept {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the locale is the host's, which sets it before it calls
  const char* charset = nl_langinfo(CODESET);
  const auto* units = wide.as<const uint16_t>();
  const std::size_t count = wide.size() / sizeof(uint16_t);
  const std::size_t size = qxsup_utf16le_to_charset(units, count, charset, nullptr, 0);
  OwnedBytes narrow = size == 0 ? OwnedBytes() : OwnedBytes::allocateZeroed(size + 1);
  if (narrow) {
    narrow.shrinkTo(qxsup_utf16le_to_charset(units, count, charset, narrow.as<char>(), size + 1));
  }
  return narrow;
}

bool printInLocale(const char* text) noexcept {
  OwnedBytes wide = toUtf16(text);
  if (wide.size() == 0) {
    return false;
  }
  OwnedBytes narrow = toLocaleCharset(std::move(wide));
  if (narrow.size() == 0) {
    return false;
  }
  std::printf("%s", narrow.as<const char>());
  return true;
}

void printRow(const MessageRow& row, int flag) noexcept {
  PrintString(row.russian, row.english, flag);
}

}  // namespace

void PrintString(const char* text, const char* /*englishText*/, int /*flag*/) noexcept {
  if (text == nullptr || (RusCodePage != 0 && printInLocale(text))) {
    return;
  }
  QX_TRACE_AT(kPrintLine, "PrintString", "%s", text);
}

void PrintMessage(int number, int flag) noexcept {
  printRow(messageRow(number), flag);
}

void PrintCadesErrorMessage(int number, int flag) noexcept {
  printRow(cadesRow(number), flag);
}

}  // namespace qx

void check_rus(void) noexcept {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): it only asks, and the host calls it while it starts
  const char* locale = std::setlocale(LC_MESSAGES, nullptr);
  if (locale != nullptr && std::ranges::find(qx::kRussianLocales, std::string_view(locale)) !=
                               qx::kRussianLocales.end()) {
    RusCodePage = 1;
  }
}
