#ifndef QX_QXSAPSSF_QXSAPSSF_SNAP_H_
#define QX_QXSAPSSF_QXSAPSSF_SNAP_H_

#include <memory>
#include <vector>

namespace qx {

/// snapUnicode is a wide copy of a string with its NUL, converted by the locale; what the locale cannot
/// convert ends the text, the rest is zeros.
std::unique_ptr<std::vector<wchar_t>> snapUnicode(const char* text);

/// snapTCHAR and snapAscii are copies of a string with its NUL.
std::unique_ptr<std::vector<char>> snapTCHAR(const char* text);
std::unique_ptr<std::vector<char>> snapAscii(const char* text);

}  // namespace qx

#endif
