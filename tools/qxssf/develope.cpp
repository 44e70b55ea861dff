#include <memory>
#include <string>

#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/library.h"
#include "tools/qxssf/signers.h"

namespace qx::ssf {
namespace {

using tools::ExitCode;
using tools::ToolError;

struct DevelopeArguments {
  FileArguments files;
  Signer recipient;
};

void requireGood(SAPRETURN code, const tools::Input& input, const Records& records) {
  if (code == SSF_API_OK) {
    return;
  }
  const std::string start = input.name() + ": not opened: ";
  if (code == SSF_API_INVALID_INPUT) {
    throw ToolError(ExitCode::Input, start + "is no message that can be read");
  }
  throw ToolError(meaningOf(code).exit, start + reasonOf(code, records, kReader));
}

void develope(Program& program, const DevelopeArguments& arguments) {
  tools::Report& report = program.tool.report;
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  const tools::Input input(arguments.files.input);
  requireContent(input);
  const Library library(program.library);
  Records records(library);
  fillRecords({arguments.recipient}, records, report);
  Octets content(library);
  const std::string& format = arguments.files.format;
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfDevelope)(bytesIn(format),
                                                               lengthIn(format),
                                                               bytesIn(input.bytes()),
                                                               lengthIn(input.bytes()),
                                                               records.get()->info,
                                                               content.data(),
                                                               content.length());
  report.facts()["message"] = input.name();
  report.facts()["code"] = code;
  reportPeople(records, kReader, report);
  requireGood(code, input, records);
  deliver(report, arguments.files, content.bytes());
  report.line(input.name() + ": opened, " + std::to_string(content.bytes().size()) + " bytes");
}

}  // namespace

void addDevelope(Program& program) {
  auto arguments = std::make_shared<DevelopeArguments>();
  CLI::App& command = *program.tool.app.add_subcommand("develope", "Decrypt an enveloped message");
  addFiles(command, arguments->files, "The decrypted content");
  addFormat(command, arguments->files);
  addPerson(command,
            "-r,--recipient",
            "Whose key opens it: a name such as \"CN=Ivan Petrov, C=RU\" or a certificate's "
            "thumbprint",
            arguments->recipient);
  command.callback([&program, arguments] { develope(program, *arguments); });
}

}  // namespace qx::ssf
