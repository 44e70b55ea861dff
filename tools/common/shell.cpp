#include "tools/common/shell.h"

namespace qx::tools {

std::string shellWord(std::string_view text) {
  std::string word = "'";
  for (const char c : text) {
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return word + "'";
}

}  // namespace qx::tools
