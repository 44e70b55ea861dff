#include <memory>
#include <string>
#include <vector>

#include "provider/store/store_files.h"
#include "tools/qxprovider/cert_verbs.h"
#include "tools/qxprovider/certificate_files.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"
#include "tools/qxprovider/thumbprint.h"

namespace qx::admin {
namespace {

struct CertArguments {
  Location location = Location::CurrentUser;
  std::string store = "My";
  std::vector<std::string> files;
  std::string thumbprint;
};

void addFile(tools::Report& report, const CertArguments& arguments, const std::string& path) {
  const StoreName store = storeName(arguments.location, arguments.store);
  for (const auto& certificate : readCertificates(path)) {
    auto facts = certificateFacts(*certificate);
    facts["file"] = require(addCertificateFile(store, *certificate, IfPresent::Keep), path);
    report.line(arguments.store + ": " + facts["subject"].get<std::string>() + " (" +
                facts["thumbprint"].get<std::string>() + ")");
    report.facts()["added"].push_back(std::move(facts));
  }
}

void add(tools::Report& report, const CertArguments& arguments) {
  for (const std::string& path : arguments.files) {
    addFile(report, arguments, path);
  }
}

void remove(tools::Report& report, const CertArguments& arguments) {
  const StoreName store = storeName(arguments.location, arguments.store);
  for (const StoredCertificate& entry :
       findCertificates(arguments.location, arguments.store, arguments.thumbprint)) {
    require(removeCertificateFile(store, entry.fileName, entry.data->sha1()), entry.fileName);
    report.line(arguments.store + ": removed " + nameText(entry.data->info().Subject));
    report.facts()["removed"].push_back(certificateFacts(*entry.data));
  }
}

// A verb with the options that all verbs of certificates share.
CLI::App& addVerb(CLI::App& noun, const char* name, const char* help, CertArguments& arguments) {
  CLI::App& verb = *noun.add_subcommand(name, help);
  addLocation(verb, arguments.location);
  addStore(verb, arguments.store);
  return verb;
}

}  // namespace

void addCerts(tools::Tool& tool) {
  CLI::App& noun = *tool.app.add_subcommand("cert", "Certificates")->require_subcommand(1);
  auto arguments = std::make_shared<CertArguments>();
  CLI::App& adding = addVerb(noun, "add", "Add certificates to a store", *arguments);
  adding.add_option("FILE", arguments->files, "PEM or DER; - is standard input")->required();
  adding.callback([&tool, arguments] { add(tool.report, *arguments); });

  CLI::App& removing = addVerb(noun, "remove", "Remove a certificate from a store", *arguments);
  removing.add_option("THUMBPRINT", arguments->thumbprint, "SHA-1, in hexadecimal")->required();
  removing.callback([&tool, arguments] { remove(tool.report, *arguments); });

  addCertExport(noun, tool);
  addCertList(noun, tool);
  addCertRequest(noun, tool);
  addCertRenew(noun, tool);
  addCertAnswer(noun, tool);
}

}  // namespace qx::admin
