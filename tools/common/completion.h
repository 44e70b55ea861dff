#ifndef QX_TOOLS_COMMON_COMPLETION_H_
#define QX_TOOLS_COMMON_COMPLETION_H_

#include <string>

#include <CLI/CLI.hpp>

namespace qx::tools {

// Both write a script that completes a program's commands, options and values in a shell, from the
// program's own definitions: what is hidden in its help is not offered, the words of an option with a
// choice are, and any other value or an operand called FILE or DIR is completed as a file.

/// bashCompletion is a script to be sourced by bash.
std::string bashCompletion(const CLI::App& program);

/// zshCompletion is a function of zsh, to be found in its fpath; it shows the help of each word, too.
std::string zshCompletion(const CLI::App& program);

}  // namespace qx::tools

#endif
