#ifndef QX_TOOLS_COMMON_HELP_H_
#define QX_TOOLS_COMMON_HELP_H_

#include <string>

#include <CLI/CLI.hpp>

namespace qx::tools {

/// A help fits a screen of so many columns.
inline constexpr std::size_t kHelpWidth = 80;

/// folded breaks lines between words, so that none is longer than kHelpWidth where that is possible. The
/// rows of a list, which begin with two blanks, go on where their second column begins.
std::string folded(const std::string& text);

/// HelpFormatter writes the help of commands, folded.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app,
                        std::string name,
                        CLI::AppFormatMode mode) const override {
    return folded(CLI::Formatter::make_help(app, std::move(name), mode));
  }
};

}  // namespace qx::tools

#endif
