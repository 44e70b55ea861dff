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

struct DigestArguments {
  FileArguments files;
  std::string hash = "GOST3411";
  bool detached = false;
};

void digest(Program& program, const DigestArguments& arguments) {
  program.tool.claimOutput(arguments.files.output, tools::Tool::Content::Binary);
  const tools::Input input(arguments.files.input);
  requireContent(input);
  const Library library(program.library);
  Octets message(library);
  const std::string& format = arguments.files.format;
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfDigest)(bytesIn(format),
                                                             lengthIn(format),
                                                             arguments.detached ? 1 : 0,
                                                             bytesIn(input.bytes()),
                                                             lengthIn(input.bytes()),
                                                             bytesIn(arguments.hash),
                                                             lengthIn(arguments.hash),
                                                             message.data(),
                                                             message.length());
  program.tool.report.facts() = {{"code", code}, {"input", input.name()}, {"hash", arguments.hash}};
  if (code != SSF_API_OK) {
    throw ToolError(meaningOf(code).exit, input.name() + ": not hashed: " + meaningOf(code).words);
  }
  deliver(program.tool.report, arguments.files.output, message.bytes());
  program.tool.report.line(input.name() + ": hashed with " + arguments.hash + ", " +
                           std::to_string(message.bytes().size()) + " bytes");
}

}  // namespace

void addDigest(Program& program) {
  auto arguments = std::make_shared<DigestArguments>();
  CLI::App& command =
      *program.tool.app.add_subcommand("digest", "Make a hashed message (PKCS #7 digested data)");
  addFiles(command, arguments->files, "The hashed message");
  addFormat(command, arguments->files);
  command.add_option("--hash", arguments->hash, "The hash algorithm")
      ->check(CLI::IsMember({"SHA1", "GOST3411", "GOST-R-34.11-94", "MD2", "MD5"}))
      ->capture_default_str();
  command.add_flag("--detached", arguments->detached, "Leave the content out of the message");
  command.callback([&program, arguments] { digest(program, *arguments); });
}

}  // namespace qx::ssf
