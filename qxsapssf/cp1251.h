#ifndef QX_QXSAPSSF_CP1251_H_
#define QX_QXSAPSSF_CP1251_H_

#include <cstddef>

namespace qx {

/// Cp1251 turns a text of this source into Windows-1251 while it is compiled: ASCII and the Russian
/// letters; anything else does not compile.
template <std::size_t kSize>
struct Cp1251 {
  char text[kSize]{};  // never longer than the UTF-8 it comes from

  // Implicit, so that a string literal is the template's argument.
  consteval Cp1251(const char (&utf8)[kSize]) {  // NOLINT(google-explicit-constructor)
    std::size_t out = 0;
    for (std::size_t in = 0; in < kSize; ++in) {
      const unsigned lead = static_cast<unsigned char>(utf8[in]);
      text[out++] = static_cast<char>(
          lead < 0x80 ? lead : letter(lead, static_cast<unsigned char>(utf8[++in])));
    }
  }

 private:
  static consteval unsigned letter(unsigned lead, unsigned trail) {
    const unsigned point = ((lead & 0x1F) << 6) | (trail & 0x3F);
    if (point >= 0x410 && point <= 0x44F) {
      return point - 0x410 + 0xC0;
    }
    if (point == 0x401 || point == 0x451) {
      return point == 0x401 ? 0xA8 : 0xB8;
    }
    throw "no letter of Windows-1251 that the tables use";
  }
};

/// "..."_cp1251 is the text in Windows-1251, NUL-terminated.
template <Cp1251 kText>
consteval const char* operator""_cp1251() {
  return kText.text;
}

}  // namespace qx

#endif
