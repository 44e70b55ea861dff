#include <memory>
#include <string>

#include "tools/common/error.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/enhancement.h"
#include "tools/qxssf/library.h"
#include "tools/qxssf/message_files.h"
#include "tools/qxssf/signers.h"

namespace qx::ssf {
namespace {

using tools::ToolError;

struct AddSignArguments {
  FileArguments files;
  std::string content;
  Signer signer;
  bool certificate = true;
};

void requireGood(const Library& library,
                 SAPRETURN code,
                 const AddSignArguments& arguments,
                 const MessageFiles& files,
                 const Records& records) {
  if (code == SSF_API_OK) {
    return;
  }
  if (code == SSF_API_INVALID_INPUT) {
    files.refuseInput();
  }
  const std::string start = files.message().name() + ": no signature added: ";
  if (code == SSF_API_ENCODE_ERROR && isCades(arguments.files)) {
    refuseEnhancement(library, start);
  }
  throw ToolError(meaningOf(code).exit, start + reasonOf(code, records, kSigner));
}

SAPRETURN callAddSign(const Library& library,
                      const AddSignArguments& arguments,
                      const MessageFiles& files,
                      const Records& records,
                      Octets& message) {
  const std::string& format = arguments.files.format;
  return QX_SSF_FUNCTION(library, SsfAddSign)(bytesIn(format),
                                              lengthIn(format),
                                              /*ignored3=*/nullptr,
                                              /*ignored4=*/nullptr,
                                              arguments.certificate ? 1 : 0,
                                              bytesIn(files.message().bytes()),
                                              lengthIn(files.message().bytes()),
                                              bytesIn(files.contentBytes()),
                                              lengthIn(files.contentBytes()),
                                              records.get()->info,
                                              message.data(),
                                              message.length());
}

void addSignature(Program& program, const AddSignArguments& arguments) {
  tools::Report& report = program.tool.report;
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  const MessageFiles files(arguments.files.input, arguments.content);
  const Library library(program.library);
  Records records(library);
  fillRecords({arguments.signer}, records, report);
  Octets message(library);
  const SAPRETURN code = callAddSign(library, arguments, files, records, message);
  report.facts()["message"] = files.message().name();
  report.facts()["code"] = code;
  reportPeople(records, kSigner, report);
  requireGood(library, code, arguments, files, records);
  deliver(report, arguments.files.output, message.bytes());
  report.line(files.message().name() + ": signature added, " +
              std::to_string(message.bytes().size()) + " bytes");
}

}  // namespace

void addAddSign(Program& program) {
  auto arguments = std::make_shared<AddSignArguments>();
  CLI::App& command =
      *program.tool.app.add_subcommand("addsign", "Add a signature to a signed message");
  addFiles(command, arguments->files, "The message with the new signature");
  addFormat(command, arguments->files);
  command.add_option("--content", arguments->content, "The content of a detached signature");
  command.add_flag("--certificate,!--no-certificate",
                   arguments->certificate,
                   "Put the signer's certificate into the message (the default)");
  addPerson(command,
            "-s,--signer",
            "Who signs: a name such as \"CN=Ivan Petrov, C=RU\" or a certificate's thumbprint",
            arguments->signer);
  command.callback([&program, arguments] { addSignature(program, *arguments); });
}

}  // namespace qx::ssf
