#include <memory>
#include <string>

#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/batch/batch.h"
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
  BatchArguments batch;
  Signer recipient;
};

void requireGood(SAPRETURN code, const tools::Input& input, const Records& records) {
  if (code == SSF_API_OK) {
    return;
  }
  const std::string start = input.name() + ": not opened: ";
  if (code == SSF_API_INVALID_INPUT) {
    throw ToolError(ExitCode::Input, start + meaningOf(SSF_API_DECODE_ERROR).words);
  }
  throw ToolError(meaningOf(code).exit, start + reasonOf(code, records, kReader));
}

void developeInput(const Library& library,
                   const DevelopeArguments& arguments,
                   const tools::Secret& pin,
                   const tools::Input& input,
                   const std::string& output,
                   tools::Report& report) {
  Records records(library);
  records.add(arguments.recipient.id, arguments.recipient.profile, pin.bytes());
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
  deliver(report, output, content.bytes());
  report.line(input.name() + ": opened, " + std::to_string(content.bytes().size()) + " bytes");
}

tools::Secret pinFor(const DevelopeArguments& arguments, tools::Report& report) {
  return tools::readPin(arguments.recipient.pin, "PIN of " + arguments.recipient.id, report);
}

void developeOne(Program& program, const DevelopeArguments& arguments) {
  tools::Report& report = program.tool.report;
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  const tools::Input input(arguments.batch.one());
  requireContent(input);
  const Library library(program.library);
  developeInput(
      library, arguments, pinFor(arguments, report), input, arguments.files.output, report);
}

void developeMany(Program& program, const DevelopeArguments& arguments) {
  const Library library(program.library);
  const tools::Secret pin = pinFor(arguments, program.tool.report);
  const BatchRule rule{.naming = Naming::TakeOff, .done = "opened"};
  runBatch(program, arguments.batch, rule, [&](const BatchTask& task, tools::Report& report) {
    const tools::Input input(task.input, task.kind);
    requireContent(input);
    developeInput(library, arguments, pin, input, task.output, report);
  });
}

}  // namespace

void addDevelope(Program& program) {
  auto arguments = std::make_shared<DevelopeArguments>();
  CLI::App& command = *program.tool.app.add_subcommand("develope", "Decrypt enveloped messages");
  addBatch(command, arguments->batch, arguments->files, "The decrypted content");
  addFormat(command, arguments->files);
  addPerson(command,
            "-r,--recipient",
            "Whose key opens it: a name such as \"CN=Ivan Petrov, C=RU\" or a certificate's "
            "thumbprint",
            arguments->recipient);
  command.callback([&program, &command, arguments] {
    (isBatch(command, arguments->batch) ? developeMany : developeOne)(program, *arguments);
  });
}

}  // namespace qx::ssf
