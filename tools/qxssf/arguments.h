#ifndef QX_TOOLS_QXSSF_ARGUMENTS_H_
#define QX_TOOLS_QXSSF_ARGUMENTS_H_

#include <cstdint>
#include <span>
#include <string>

#include "tools/common/input.h"
#include "tools/common/tool.h"

namespace qx::ssf {

/// What most commands are given: a format, a file to read and one to write.
struct FileArguments {
  std::string format = "PKCS7";
  std::string input = "-";
  std::string output = "-";
};

/// addFiles adds FILE and --output to a command.
void addFiles(CLI::App& command, FileArguments& arguments, const std::string& outputHelp);

/// addFormat adds --format, one of the interface's four names.
void addFormat(CLI::App& command, FileArguments& arguments);

/// checkOutput refuses before any work what would come to nothing: bytes for a terminal, and bytes and
/// a JSON object both for standard output. It also moves the report out of the bytes' way.
void checkOutput(tools::Tool& tool, const std::string& output);

/// readContent reads a file that must not be empty. Throws ToolError (Input), naming it.
void requireContent(const tools::Input& input);

}  // namespace qx::ssf

#endif
