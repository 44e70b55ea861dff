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

/// isCades tells whether the format makes CAdES messages.
bool isCades(const FileArguments& arguments);

/// deliver writes what a command made to the file `output` and puts "output" and "bytes" into the facts.
void deliver(tools::Report& report, const std::string& output, std::span<const std::uint8_t> bytes);

/// requireContent refuses an empty file (ToolError, Input), naming it.
void requireContent(const tools::Input& input);

}  // namespace qx::ssf

#endif
