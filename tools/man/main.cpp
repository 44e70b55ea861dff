// Writes the page to standard output.
#include <cstdio>
#include <string>

#include "tools/man/codes_page.h"

int main() {
  const std::string page = qx::manual::codesPage();
  const bool isWritten = std::fwrite(page.data(), 1, page.size(), stdout) == page.size();
  return isWritten && std::fflush(stdout) == 0 ? 0 : 1;
}
