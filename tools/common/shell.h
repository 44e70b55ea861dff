#ifndef QX_TOOLS_COMMON_SHELL_H_
#define QX_TOOLS_COMMON_SHELL_H_

#include <string>
#include <string_view>

namespace qx::tools {

/// shellWord writes a text so that a shell reads it as it stands, as one word: in single quotes.
std::string shellWord(std::string_view text);

}  // namespace qx::tools

#endif
