#ifndef QX_QXSAPSSF_SSFXXAUX_PRINT_H_
#define QX_QXSAPSSF_SSFXXAUX_PRINT_H_

#include <cstddef>

namespace qx {

/// requireRoom ends the process, in every build, when a text of `written` bytes does not stay below the
/// `size` that was computed for it. `function` is the signature that the message names.
void requireRoom(std::size_t written, std::size_t size, const char* function) noexcept;

}  // namespace qx

#endif
