#ifndef QX_TESTS_QXSAPSSF_CP1251_TEXT_H_
#define QX_TESTS_QXSAPSSF_CP1251_TEXT_H_

#include <iconv.h>

#include <string>
#include <string_view>

namespace qx::testing_support {

/// The C library's reading of a Windows-1251 text, as UTF-8; "?" when it is none.
inline std::string utf8(std::string_view cp1251) {
  iconv_t converter = iconv_open("UTF-8", "CP1251");
  std::string source(cp1251);
  std::string result((cp1251.size() * 3) + 1, '\0');
  char* in = source.data();
  char* out = result.data();
  std::size_t inLeft = source.size();
  std::size_t outLeft = result.size();
  const std::size_t code = iconv(converter, &in, &inLeft, &out, &outLeft);
  iconv_close(converter);
  result.resize(result.size() - outLeft);
  return code == static_cast<std::size_t>(-1) ? "?" : result;
}

}  // namespace qx::testing_support

#endif
