#ifndef QX_TOOLS_COMMON_TOOL_H_
#define QX_TOOLS_COMMON_TOOL_H_

#include <cstdint>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/common/error.h"
#include "tools/common/report.h"

namespace qx::tools {

/// Tool is a program of commands. Each command is a CLI11 subcommand whose callback does the work,
/// fills the report, and sets `exit` where it ends otherwise than well without an error line.
struct Tool {
  Tool(const std::string& name, const std::string& description);

  /// run parses the arguments, runs the command that they name, prints its report and gives the exit
  /// code. Whatever is thrown becomes one line on standard error, and so does a report that cannot be
  /// written (Input).
  int run(int argc, const char* const* argv);

  /// claimOutput says that `output` will be written, before any work: bytes for a terminal, and content
  /// and a JSON object both for standard output, are refused (ToolError, Usage); the report gets out of
  /// the way of content on standard output.
  enum class Content : std::uint8_t { Text, Binary };
  void claimOutput(const std::string& output, Content content);

  CLI::App app;
  Report report;
  ExitCode exit = ExitCode::Good;
};

}  // namespace qx::tools

#endif
