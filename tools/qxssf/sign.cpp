#include <memory>
#include <string>
#include <vector>

#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/enhancement.h"
#include "tools/qxssf/library.h"
#include "tools/qxssf/signers.h"

namespace qx::ssf {
namespace {

using tools::ToolError;

struct SignArguments {
  FileArguments files;
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

void sign(Program& program, const SignArguments& arguments) {
  tools::Report& report = program.tool.report;
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  const tools::Input input(arguments.files.input);
  requireContent(input);
  const Library library(program.library);
  Records records(library);
  fillRecords(arguments.signers, records, report);
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
  deliver(report, arguments.files, message.bytes());
  report.line(input.name() + ": signed by " + counted(arguments.signers.size(), kSigner) + ", " +
              std::to_string(message.bytes().size()) + " bytes");
}

}  // namespace

void addSign(Program& program) {
  auto arguments = std::make_shared<SignArguments>();
  CLI::App& command =
      *program.tool.app.add_subcommand("sign", "Sign a file for one or more signers");
  addFiles(command, arguments->files, "The signed message");
  addFormat(command, arguments->files);
  command.add_flag("--detached", arguments->detached, "Leave the content out of the message");
  command.add_flag("--certificates,!--no-certificates",
                   arguments->certificates,
                   "Put the signers' certificates into the message (the default)");
  addSigners(command, arguments->signers);
  command.callback([&program, arguments] { sign(program, *arguments); });
}

}  // namespace qx::ssf
