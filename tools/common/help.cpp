#include "tools/common/help.h"

#include <sstream>
#include <string_view>

namespace qx::tools {
namespace {

// Where descriptions begin, as CLI11 has it.
constexpr std::size_t kSecondColumn = 30;

// How much of a line is put into the first of two: all up to a blank, else up to a comma in a list of
// choices; 0 where there is neither.
std::size_t firstPart(std::string_view line, std::size_t least, std::size_t most) {
  const std::size_t blank = line.rfind(' ', most);
  if (blank != std::string_view::npos && blank > least) {
    return blank;
  }
  const std::size_t comma = line.rfind(',', most - 1);
  return comma == std::string_view::npos ? 0 : comma + 1;
}

// Appends a line as one or more that are short enough.
void fold(std::string_view line, std::string& out) {
  const std::size_t indent = line.substr(0, 2) == "  " ? kSecondColumn : 0;
  std::size_t blanks = 0;
  while (blanks + line.size() > kHelpWidth) {
    const std::size_t size = firstPart(line, indent - blanks, kHelpWidth - blanks);
    if (size == 0) {
      break;
    }
    out.append(line.substr(0, size)).append("\n").append(indent, ' ');
    line.remove_prefix(line[size] == ' ' ? size + 1 : size);
    blanks = indent;
  }
  out.append(line).append("\n");
}

}  // namespace

std::string folded(const std::string& text) {
  std::istringstream lines(text);
  std::string out;
  for (std::string line; std::getline(lines, line);) {
    fold(line, out);
  }
  return out;
}

}  // namespace qx::tools
