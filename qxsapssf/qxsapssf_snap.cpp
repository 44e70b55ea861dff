#include "qxsapssf/qxsapssf_snap.h"

#include <cstring>
#include <cwchar>

#include "platform/support.h"

namespace qx {

std::unique_ptr<std::vector<wchar_t>> snapUnicode(const char* text) {
  auto wide = std::make_unique<std::vector<wchar_t>>(std::strlen(text) + 1);
  std::mbstate_t state{};
  qxsup_mbsrtowcs(wide->data(), &text, wide->size(), &state);
  return wide;
}

std::unique_ptr<std::vector<char>> snapTCHAR(const char* text) {
  return std::make_unique<std::vector<char>>(text, text + std::strlen(text) + 1);
}

std::unique_ptr<std::vector<char>> snapAscii(const char* text) {
  return snapTCHAR(text);
}

}  // namespace qx
