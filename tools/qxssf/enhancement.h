#ifndef QX_TOOLS_QXSSF_ENHANCEMENT_H_
#define QX_TOOLS_QXSSF_ENHANCEMENT_H_

#include <cstdint>
#include <string>

namespace qx::ssf {

class Library;

/// enhancementWords tells why a signature could not be given its time stamps, by the error that the last
/// server's attempt left.
std::string enhancementWords(std::uint32_t error);

/// refuseEnhancement ends a command (Service) whose signature got no time stamps; to be called while the
/// library's last error is that of the attempt. `start` stands before the reason.
[[noreturn]] void refuseEnhancement(const Library& library, const std::string& start);

}  // namespace qx::ssf

#endif
