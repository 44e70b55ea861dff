#include <memory>
#include <string>
#include <vector>

#include "tools/common/error.h"
#include "tools/common/output.h"
#include "tools/common/times.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/batch/batch.h"
#include "tools/qxssf/chain_view.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/language.h"
#include "tools/qxssf/library.h"
#include "tools/qxssf/message_files.h"
#include "tools/qxssf/page/evidence.h"
#include "tools/qxssf/page/page.h"
#include "tools/qxssf/verify_report.h"

namespace qx::ssf {
namespace {

using tools::ToolError;

struct VerifyArguments {
  FileArguments files{.format = "PKCS7_ANY", .output = ""};
  BatchArguments batch;
  std::string content;
  std::string profile;
  /// Where the page about it is written; empty: nowhere.
  std::string page;
  std::string language;
};

void requireGood(SAPRETURN code,
                 const MessageFiles& files,
                 const std::vector<SignerVerdict>& verdicts) {
  if (code == SSF_API_INVALID_INPUT) {
    files.refuseInput();
  }
  if (code == SSF_API_SIGNER_ERROR) {
    throw faultOf(verdicts, files.message().name());
  }
  if (code != SSF_API_OK) {
    throw ToolError(meaningOf(code).exit, files.message().name() + ": " + meaningOf(code).words);
  }
}

SAPRETURN callVerify(const Library& library,
                     const VerifyArguments& arguments,
                     const MessageFiles& files,
                     Records& records,
                     Octets& output) {
  const std::string& format = arguments.files.format;
  return QX_SSF_FUNCTION(library, SsfVerify)(bytesIn(format),
                                             lengthIn(format),
                                             /*ignored3=*/nullptr,
                                             bytesIn(files.message().bytes()),
                                             lengthIn(files.message().bytes()),
                                             bytesIn(files.contentBytes()),
                                             lengthIn(files.contentBytes()),
                                             bytesIn(arguments.profile),
                                             lengthIn(arguments.profile),
                                             /*ignoredPassword=*/nullptr,
                                             /*ignoredPasswordLength=*/0,
                                             records.out(),
                                             output.data(),
                                             output.length());
}

std::string versionOf(const Library& library) {
  Octets version(library);
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfVersion)(version.data(), version.length());
  return code == SSF_API_OK ? std::string(version.text()) : "a library that tells no version";
}

/// Writes the page about a verification, which failed when there is a fault.
void writePage(const Library& library,
               const VerifyArguments& arguments,
               const MessageFiles& files,
               const Records& records,
               const std::vector<SignerVerdict>& verdicts,
               const std::string& fault,
               tools::Report& report) {
  if (arguments.page.empty()) {
    return;
  }
  const PageFacts facts{.language = chosenLanguage(arguments.language),
                        .message = files.message().name(),
                        .size = files.message().bytes().size(),
                        .content = arguments.content,
                        .format = arguments.files.format,
                        .library = versionOf(library),
                        .time = tools::isoTime(tools::ticksNow()),
                        .fault = fault,
                        .revocation = verifyFlags() != 0,
                        .verdicts = verdicts,
                        .evidence = evidenceOf(library, files.message().bytes(), records)};
  tools::writeOutput(arguments.page, pageOf(facts));
  report.facts()["report"] = arguments.page;
}

void verifyFiles(const Library& library,
                 const VerifyArguments& arguments,
                 const MessageFiles& files,
                 const std::string& output,
                 tools::Report& report) {
  Records records(library);
  Octets content(library);
  const SAPRETURN code = callVerify(library, arguments, files, records, content);
  const std::vector<SignerVerdict> verdicts = verdictsOf(library, records);
  report.facts()["message"] = files.message().name();
  report.facts()["code"] = code;
  report.facts()["verified"] = code == SSF_API_OK;
  reportVerdicts(verdicts, report);
  try {
    requireGood(code, files, verdicts);
  } catch (const ToolError& error) {
    writePage(library, arguments, files, records, verdicts, error.what(), report);
    throw;
  }
  writePage(library, arguments, files, records, verdicts, /*fault=*/"", report);
  if (!output.empty()) {
    tools::writeOutput(output, content.bytes());
    report.facts()["output"] = output;
  }
  report.line(files.message().name() + ": verified");
}

void verifyOne(Program& program, const VerifyArguments& arguments) {
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  program.tool.claimOutput(arguments.page, tools::Tool::Content::Text);
  if (arguments.page == "-" && arguments.files.output == "-") {
    throw ToolError(tools::ExitCode::Usage, "standard output takes the content or the report");
  }
  const MessageFiles files(arguments.batch.one(), arguments.content);
  const Library library(program.library);
  verifyFiles(library, arguments, files, arguments.files.output, program.tool.report);
}

void verifyMany(Program& program, const VerifyArguments& arguments) {
  if (!arguments.content.empty()) {
    throw ToolError(tools::ExitCode::Usage,
                    "--content belongs to one file; of many, the content of FILE.p7s is FILE");
  }
  if (!arguments.page.empty()) {
    throw ToolError(tools::ExitCode::Usage, "--report tells of one file; name one");
  }
  const Library library(program.library);
  const BatchRule rule{.naming = Naming::TakeOffIntoFolder, .done = "verified"};
  runBatch(program, arguments.batch, rule, [&](const BatchTask& task, tools::Report& report) {
    const MessageFiles files(task.input, task.content, task.kind);
    verifyFiles(library, arguments, files, task.output, report);
  });
}

}  // namespace

void addVerify(Program& program) {
  auto arguments = std::make_shared<VerifyArguments>();
  CLI::App& command =
      *program.tool.app.add_subcommand("verify", "Verify every signature of signed messages");
  addBatch(command, arguments->batch, arguments->files, "The signed content");
  addFormat(command, arguments->files);
  command.add_option("--content", arguments->content, "The content of a detached signature");
  command.add_option(
      "-p,--profile",
      arguments->profile,
      "The store for certificates that the message lacks, Addressbook if none is given");
  command.add_option(
      "--report", arguments->page, "Write a page for people about the verification, HTML");
  addLanguage(command, "--report-language", arguments->language);
  command.callback([&program, &command, arguments] {
    (isBatch(command, arguments->batch) ? verifyMany : verifyOne)(program, *arguments);
  });
}

}  // namespace qx::ssf
