#include <memory>
#include <string>

#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/library.h"

namespace qx::ssf {
namespace {

using tools::ToolError;

// SsfEncode and SsfDecode have one shape.
void transfer(Program& program, const FileArguments& files, const char* function) {
  program.tool.claimOutput(files.output, tools::Tool::Content::Binary);
  const tools::Input input(files.input);
  requireContent(input);
  const Library library(program.library);
  Octets output(library);
  const auto call = library.function<std::remove_pointer_t<decltype(&SsfEncode)>>(function);
  const SAPRETURN code = call(bytesIn(files.format),
                              lengthIn(files.format),
                              bytesIn(input.bytes()),
                              lengthIn(input.bytes()),
                              output.data(),
                              output.length());
  program.tool.report.facts() = {{"code", code}, {"input", input.name()}};
  if (code != SSF_API_OK) {
    throw ToolError(meaningOf(code).exit, input.name() + ": " + meaningOf(code).words);
  }
  deliver(program.tool.report, files.output, output.bytes());
  program.tool.report.line(input.name() + ": " + std::to_string(output.bytes().size()) + " bytes");
}

void add(Program& program, const char* name, const char* help, const char* function) {
  auto files = std::make_shared<FileArguments>();
  CLI::App& command = *program.tool.app.add_subcommand(name, help);
  addFiles(command, *files, "The result");
  addFormat(command, *files);
  command.callback([&program, files, function] { transfer(program, *files, function); });
}

}  // namespace

void addEncode(Program& program) {
  add(program, "encode", "Apply the transfer encoding (a copy)", "SsfEncode");
}

void addDecode(Program& program) {
  add(program, "decode", "Undo the transfer encoding (a copy)", "SsfDecode");
}

}  // namespace qx::ssf
