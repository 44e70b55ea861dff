#ifndef QX_TOOLS_MAN_CODE_NUMBER_H_
#define QX_TOOLS_MAN_CODE_NUMBER_H_

#include <cstdint>
#include <string>

namespace qx::manual {

/// numberOf writes a code as people look it up: errors of the provider are known by their eight hexadecimal digits
/// ("0x80090006"), all others by a small number.
std::string numberOf(std::uint32_t code);

}  // namespace qx::manual

#endif
