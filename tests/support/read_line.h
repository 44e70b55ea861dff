#ifndef QX_TESTS_SUPPORT_READ_LINE_H_
#define QX_TESTS_SUPPORT_READ_LINE_H_

#include <cstdio>
#include <string>

namespace qx::test {

/// readLine reads up to the end of a line, which is left out, or of the stream.
inline std::string readLine(std::FILE* stream) {
  std::string line;
  for (int c = std::fgetc(stream); c != EOF && c != '\n'; c = std::fgetc(stream)) {
    line += static_cast<char>(c);
  }
  return line;
}

}  // namespace qx::test

#endif
