// qx_manual_codes mdoc|en|ru: writes the page or the guide of codes to standard output.
#include <cstdio>
#include <string>
#include <string_view>

#include "tools/man/codes_guide.h"
#include "tools/man/codes_page.h"

namespace {

using qx::manual::Language;

std::string textOf(std::string_view form) {
  if (form == "mdoc") {
    return qx::manual::codesPage();
  }
  return qx::manual::codesGuide(form == "ru" ? Language::Russian : Language::English);
}

}  // namespace

int main(int count, char* arguments[]) {
  if (count != 2) {
    return 2;
  }
  const std::string text = textOf(arguments[1]);
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  return isWritten && std::fflush(stdout) == 0 ? 0 : 1;
}
