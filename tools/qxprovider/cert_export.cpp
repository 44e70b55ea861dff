#include <memory>
#include <string>
#include <utility>

#include "tools/common/error.h"
#include "tools/common/output.h"
#include "tools/common/pin.h"
#include "tools/qxprovider/cert_verbs.h"
#include "tools/qxprovider/certificate_files.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/file_password.h"
#include "tools/qxprovider/issuers.h"
#include "tools/qxprovider/key_unlock.h"
#include "tools/qxprovider/location.h"
#include "tools/qxprovider/pkcs12.h"
#include "tools/qxprovider/thumbprint.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::PinSource;
using tools::ToolError;
using Content = tools::Tool::Content;

struct ExportArguments {
  Location location = Location::CurrentUser;
  std::string store = "My";
  std::string thumbprint;
  std::string output = "-";
  bool der = false;
  bool pkcs12 = false;
  PinSource pin;
  PinSource password;
};

bool isGiven(const PinSource& source) {
  return source.kind != PinSource::Kind::None;
}

// The key and all that others need to trust it.
void exportPkcs12(tools::Report& report,
                  const ExportArguments& arguments,
                  const CertificatePtr& certificate) {
  const KeyFilePtr file = openKeyFile(arguments.location, certificate->keyFileName(), report);
  const Pkcs12Parts parts{.key = unlockKey(*file, arguments.pin, report),
                          .certificate = certificate,
                          .chain = issuersOf(*certificate, *trustOf(arguments.location))};
  const tools::Secret password = newFilePassword(arguments.password, "the key", report);
  tools::writePrivateOutput(arguments.output, packPkcs12(parts, password));
  report.facts()["chain"] = parts.chain.size();
}

void exportOne(tools::Tool& tool, const ExportArguments& arguments) {
  if (arguments.der && arguments.pkcs12) {
    throw ToolError(ExitCode::Usage, "--der and --pkcs12 exclude each other");
  }
  if (!arguments.pkcs12 && (isGiven(arguments.pin) || isGiven(arguments.password))) {
    throw ToolError(ExitCode::Usage,
                    "a PIN or password belongs to --pkcs12; a certificate alone needs none");
  }
  const bool text = !arguments.der && !arguments.pkcs12;
  tool.claimOutput(arguments.output, text ? Content::Text : Content::Binary);
  const auto certificate =
      findCertificates(arguments.location, arguments.store, arguments.thumbprint).front().data;
  tool.report.facts() = certificateFacts(*certificate);
  tool.report.facts()["output"] = arguments.output;
  if (arguments.pkcs12) {
    exportPkcs12(tool.report, arguments, certificate);
  } else if (arguments.der) {
    tools::writeOutput(arguments.output, certificate->der());
  } else {
    tools::writeOutput(arguments.output, certificatePem(*certificate));
  }
}

}  // namespace

void addCertExport(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<ExportArguments>();
  CLI::App& verb = *noun.add_subcommand("export", "Write a certificate of a store");
  addLocation(verb, arguments->location);
  addStore(verb, arguments->store);
  verb.add_option("THUMBPRINT", arguments->thumbprint, "SHA-1, in hexadecimal")->required();
  verb.add_option("-o,--output", arguments->output, "The file to write; - is standard output")
      ->capture_default_str();
  verb.add_flag("--der", arguments->der, "Write DER, not PEM");
  verb.add_flag("--pkcs12", arguments->pkcs12, "Write PKCS#12: key, certificate and chain");
  tools::addPinOptions(
      verb, "pin", "the key's PIN", [arguments]() -> PinSource& { return arguments->pin; });
  tools::addPinOptions(
      verb, "password", "the password of the PKCS#12 file", [arguments]() -> PinSource& {
        return arguments->password;
      });
  verb.callback([&tool, arguments] { exportOne(tool, *arguments); });
}

}  // namespace qx::admin
