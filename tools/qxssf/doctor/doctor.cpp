#include <memory>
#include <optional>

#include "tools/common/error.h"
#include "tools/common/pin.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/doctor/families.h"
#include "tools/qxssf/signers.h"

namespace qx::ssf {
namespace {

using doctor::Findings;
using doctor::Setting;

// As an application server is told: the command line stands for its profile.
Setting libraryPath(const Program& program) {
  if (program.tool.app.get_option("--library")->count() > 0) {
    return {.value = program.library, .source = "--library"};
  }
  if (const std::string path = doctor::variable("SSF_LIBRARY_PATH"); !path.empty()) {
    return {.value = path, .source = "SSF_LIBRARY_PATH"};
  }
  return {.value = program.library, .source = "the default"};
}

// A library that cannot be loaded is a finding; what needs none is looked at all the same.
std::optional<Library> load(const Setting& path, Findings& findings) {
  try {
    std::optional<Library> library(path.value);
    static_cast<void>(QX_SSF_FUNCTION(*library, SsfSign));
    return library;
  } catch (const tools::ToolError& error) {
    findings.begin("library");
    findings.fault(error.code(),
                   path.value + " (from " + path.source + ")",
                   error.what(),
                   "qxssf doctor --library FILE");
    return std::nullopt;
  }
}

void examine(Program& program, const Signer& signer) {
  const doctor::Person person{
      .id = signer.id,
      .profile = signer.profile,
      .pin = tools::readPin(signer.pin, "PIN of " + signer.id, program.tool.report)};
  const Setting path = libraryPath(program);
  Findings findings;
  const std::optional<Library> library = load(path, findings);
  if (library) {
    examineLibrary(*library, path, findings);
  }
  doctor::examinePlaces(findings);
  if (library) {
    examineCertificates(*library, person, findings);
    examineTrust(*library, person, findings);
    examineLists(*library, findings);
    examineRecipients(*library, findings);
    examineCryptography(*library, findings);
  }
  doctor::examineEnvironment(findings);
  if (library) {
    examineTrial(*library, person, findings);
  }
  reportFindings(findings, program.tool.report);
  program.tool.exit = findings.worst();
}

}  // namespace

void addDoctor(Program& program) {
  auto signer = std::make_shared<Signer>();
  CLI::App& command =
      *program.tool.app.add_subcommand("doctor", "Find out what is wrong here, and what mends it");
  addPerson(command,
            "-s,--signer",
            "Who signs and decrypts a text on trial: a name such as \"CN=Ivan Petrov, C=RU\" or a "
            "certificate's thumbprint",
            *signer);
  command.get_option("--signer")->required(false);
  command.footer(
      "It loads --library, else what SSF_LIBRARY_PATH names. The exit code is that of the worst\n"
      "fault; warnings leave it 0.");
  command.callback([&program, signer] { examine(program, *signer); });
}

}  // namespace qx::ssf
