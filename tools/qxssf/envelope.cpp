#include <memory>
#include <string>
#include <vector>

#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/batch/batch.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/library.h"
#include "tools/qxssf/recipient_view.h"
#include "tools/qxssf/signers.h"

namespace qx::ssf {
namespace {

using tools::ToolError;

struct EnvelopeArguments {
  FileArguments files;
  BatchArguments batch;
  std::string cipher = "GOST28147";
  std::string profile;
  std::vector<std::string> recipients;
};

SAPRETURN callEnvelope(const Library& library,
                       const EnvelopeArguments& arguments,
                       const tools::Input& input,
                       const Records& records,
                       Octets& message) {
  const std::string& format = arguments.files.format;
  return QX_SSF_FUNCTION(library, SsfEnvelope)(bytesIn(format),
                                               lengthIn(format),
                                               bytesIn(arguments.cipher),
                                               lengthIn(arguments.cipher),
                                               bytesIn(input.bytes()),
                                               lengthIn(input.bytes()),
                                               bytesIn(arguments.profile),
                                               lengthIn(arguments.profile),
                                               /*ignoredPassword=*/nullptr,
                                               /*ignoredPasswordLength=*/0,
                                               records.get(),
                                               message.data(),
                                               message.length());
}

void requireGood(SAPRETURN code, const tools::Input& input, const Records& records) {
  if (code == SSF_API_OK) {
    return;
  }
  throw ToolError(meaningOf(code).exit,
                  input.name() + ": not enveloped: " + reasonOf(code, records, kRecipient));
}

void envelopeInput(const Library& library,
                   const EnvelopeArguments& arguments,
                   const tools::Input& input,
                   const std::string& output,
                   tools::Report& report) {
  Records records(library);
  for (const std::string& recipient : arguments.recipients) {
    records.add(recipient, /*profile=*/"", /*password=*/{});
  }
  Octets message(library);
  const SAPRETURN code = callEnvelope(library, arguments, input, records, message);
  report.facts()["input"] = input.name();
  report.facts()["code"] = code;
  reportPeople(records, kRecipient, report);
  requireGood(code, input, records);
  warnOfRecipients(library, message.bytes(), arguments.profile, report);
  deliver(report, output, message.bytes());
  report.line(input.name() + ": enveloped for " + counted(arguments.recipients.size(), kRecipient) +
              ", " + std::to_string(message.bytes().size()) + " bytes");
}

void envelopeOne(Program& program, const EnvelopeArguments& arguments) {
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  const tools::Input input(arguments.batch.one());
  requireContent(input);
  const Library library(program.library);
  envelopeInput(library, arguments, input, arguments.files.output, program.tool.report);
}

void envelopeMany(Program& program, const EnvelopeArguments& arguments) {
  const Library library(program.library);
  const BatchRule rule{.naming = Naming::AddMessage, .done = "enveloped"};
  runBatch(program, arguments.batch, rule, [&](const BatchTask& task, tools::Report& report) {
    const tools::Input input(task.input, task.kind);
    requireContent(input);
    envelopeInput(library, arguments, input, task.output, report);
  });
}

}  // namespace

void addEnvelope(Program& program) {
  auto arguments = std::make_shared<EnvelopeArguments>();
  CLI::App& command =
      *program.tool.app.add_subcommand("envelope", "Encrypt files for one or more recipients");
  addBatch(command, arguments->batch, arguments->files, "The enveloped message");
  addFormat(command, arguments->files);
  command
      .add_option("-r,--recipient",
                  arguments->recipients,
                  "Who may open it: a name such as \"CN=Ivan Petrov, C=RU\" or a certificate's "
                  "thumbprint; once for each recipient")
      ->required()
      ->allow_extra_args(false);
  command.add_option("-p,--profile",
                     arguments->profile,
                     "The store of the recipients' certificates, Addressbook if none is given");
  command.add_option("--cipher", arguments->cipher, "The content's cipher")
      ->check(CLI::IsMember({"GOST28147", "GOST-28147-89"}))
      ->capture_default_str();
  command.callback([&program, &command, arguments] {
    (isBatch(command, arguments->batch) ? envelopeMany : envelopeOne)(program, *arguments);
  });
}

}  // namespace qx::ssf
