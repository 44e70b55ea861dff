#include "tools/qxssf/arguments.h"

#include "tools/common/error.h"
#include "tools/common/output.h"

namespace qx::ssf {

using tools::ExitCode;
using tools::ToolError;

void addFiles(CLI::App& command, FileArguments& arguments, const std::string& outputHelp) {
  command.add_option("FILE", arguments.input, "The file to read; - is standard input")
      ->capture_default_str();
  command.add_option("-o,--output", arguments.output, outputHelp + "; - is standard output")
      ->capture_default_str();
}

void addFormat(CLI::App& command, FileArguments& arguments) {
  command.add_option("--format", arguments.format, "The message format")
      ->check(CLI::IsMember({"PKCS7", "CADES", "PKCS7_CADES", "PKCS7_ANY"}))
      ->capture_default_str();
}

bool isCades(const FileArguments& arguments) {
  return arguments.format == "CADES" || arguments.format == "PKCS7_CADES";
}

void deliver(tools::Report& report,
             const std::string& output,
             std::span<const std::uint8_t> bytes) {
  tools::writeOutput(output, bytes);
  report.facts()["output"] = output;
  report.facts()["bytes"] = bytes.size();
}

void requireContent(const tools::Input& input) {
  if (input.bytes().empty()) {
    throw ToolError(ExitCode::Input,
                    input.name() + ": is empty; an SSF call takes at least one byte");
  }
}

}  // namespace qx::ssf
