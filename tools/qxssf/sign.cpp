#include <memory>
#include <string>
#include <vector>

#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/batch/batch.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/enhancement.h"
#include "tools/qxssf/library.h"
#include "tools/qxssf/signers.h"

namespace qx::ssf {
namespace {

using tools::ToolError;

using Pins = std::vector<tools::Secret>;

struct SignArguments {
  FileArguments files;
  BatchArguments batch;
  std::vector<Signer> signers;
  bool detached = false;
  bool certificates = true;
};

[[noreturn]] void refuse(const Library& library,
                         const SignArguments& arguments,
                         SAPRETURN code,
                         const tools::Input& input,
                         const Records& records) {
  if (code == SSF_API_ENCODE_ERROR && isCades(arguments.files)) {
    refuseEnhancement(library, input.name() + ": not signed: ");
  }
  throw ToolError(meaningOf(code).exit,
                  input.name() + ": not signed: " + reasonOf(code, records, kSigner));
}

void signInput(const Library& library,
               const SignArguments& arguments,
               const Pins& pins,
               const tools::Input& input,
               const std::string& output,
               tools::Report& report) {
  Records records(library);
  fillRecords(arguments.signers, pins, records);
  Octets message(library);
  const std::string& format = arguments.files.format;
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfSign)(bytesIn(format),
                                                           lengthIn(format),
                                                           /*hashAlgName=*/nullptr,
                                                           /*hashAlgNameLength=*/0,
                                                           arguments.certificates ? 1 : 0,
                                                           arguments.detached ? 1 : 0,
                                                           bytesIn(input.bytes()),
                                                           lengthIn(input.bytes()),
                                                           records.get(),
                                                           message.data(),
                                                           message.length());
  report.facts()["input"] = input.name();
  report.facts()["code"] = code;
  reportPeople(records, kSigner, report);
  if (code != SSF_API_OK) {
    refuse(library, arguments, code, input, records);
  }
  deliver(report, output, message.bytes());
  report.line(input.name() + ": signed by " + counted(arguments.signers.size(), kSigner) + ", " +
              std::to_string(message.bytes().size()) + " bytes");
}

void signOne(Program& program, const SignArguments& arguments) {
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  const tools::Input input(arguments.batch.one());
  requireContent(input);
  const Library library(program.library);
  const Pins pins = readPins(arguments.signers, program.tool.report);
  signInput(library, arguments, pins, input, arguments.files.output, program.tool.report);
}

void signMany(Program& program, const SignArguments& arguments) {
  const Library library(program.library);
  const Pins pins = readPins(arguments.signers, program.tool.report);
  const BatchRule rule{.naming = arguments.detached ? Naming::AddSignature : Naming::AddMessage,
                       .done = "signed"};
  runBatch(program, arguments.batch, rule, [&](const BatchTask& task, tools::Report& report) {
    const tools::Input input(task.input, task.kind);
    requireContent(input);
    signInput(library, arguments, pins, input, task.output, report);
  });
}

}  // namespace

void addSign(Program& program) {
  auto arguments = std::make_shared<SignArguments>();
  CLI::App& command =
      *program.tool.app.add_subcommand("sign", "Sign files for one or more signers");
  addBatch(command, arguments->batch, arguments->files, "The signed message");
  addFormat(command, arguments->files);
  command.add_flag("--detached", arguments->detached, "Leave the content out of the message");
  command.add_flag("--certificates,!--no-certificates",
                   arguments->certificates,
                   "Put the signers' certificates into the message (the default)");
  addSigners(command, arguments->signers);
  command.callback([&program, &command, arguments] {
    (isBatch(command, arguments->batch) ? signMany : signOne)(program, *arguments);
  });
}

}  // namespace qx::ssf
