#include <array>
#include <cctype>
#include <charconv>
#include <memory>
#include <string>
#include <vector>

#include "provider/store/store_files.h"
#include "tools/common/error.h"
#include "tools/common/output.h"
#include "tools/qxprovider/certificate_files.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;

struct CertArguments {
  Location location = Location::CurrentUser;
  std::string store = "My";
  std::vector<std::string> files;
  std::string thumbprint;
  std::string output = "-";
  bool der = false;
};

// Forty hexadecimal digits; blanks and colons between them are left out, as they are often copied.
Thumbprint readThumbprint(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    } else if (c != ' ' && c != ':') {
      digits.clear();
      break;
    }
  }
  Thumbprint thumbprint{};
  if (digits.size() != thumbprint.size() * 2) {
    throw ToolError(ExitCode::Usage, "'" + text + "' is not a thumbprint (40 hexadecimal digits)");
  }
  for (std::size_t i = 0; i < thumbprint.size(); ++i) {
    const char* at = digits.data() + (i * 2);
    std::from_chars(at, at + 2, thumbprint.at(i), 16);
  }
  return thumbprint;
}

// The entries of a store with this thumbprint that lie in the given location itself.
std::vector<StoredCertificate> findCertificate(const CertArguments& arguments) {
  const Thumbprint thumbprint = readThumbprint(arguments.thumbprint);
  const auto store = openStore(arguments.location, arguments.store);
  std::vector<StoredCertificate> found;
  for (const std::size_t position : store->find(thumbprint)) {
    if (store->certificates().at(position).location == arguments.location) {
      found.push_back(store->certificates().at(position));
    }
  }
  if (found.empty()) {
    throw ToolError(ExitCode::Input,
                    arguments.store + ": holds no certificate " + arguments.thumbprint);
  }
  return found;
}

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
  for (const StoredCertificate& entry : findCertificate(arguments)) {
    require(removeCertificateFile(store, entry.fileName, entry.data->sha1()), entry.fileName);
    report.line(arguments.store + ": removed " + nameText(entry.data->info().Subject));
    report.facts()["removed"].push_back(certificateFacts(*entry.data));
  }
}

void exportOne(tools::Tool& tool, const CertArguments& arguments) {
  using Content = tools::Tool::Content;
  tool.claimOutput(arguments.output, arguments.der ? Content::Binary : Content::Text);
  const StoredCertificate entry = findCertificate(arguments).front();
  if (arguments.der) {
    tools::writeOutput(arguments.output, entry.data->der());
  } else {
    tools::writeOutput(arguments.output, certificatePem(*entry.data));
  }
  tool.report.facts() = certificateFacts(*entry.data);
  tool.report.facts()["output"] = arguments.output;
}

void list(tools::Report& report, const CertArguments& arguments) {
  const auto store = openStore(arguments.location, arguments.store);
  auto& certificates = report.facts()["certificates"] = nlohmann::ordered_json::array();
  for (const StoredCertificate& entry : store->certificates()) {
    certificates.push_back(certificateFacts(*entry.data));
    const auto& facts = certificates.back();
    report.line(facts["thumbprint"].get<std::string>() + "  until " +
                facts["notAfter"].get<std::string>() + "  " + facts["subject"].get<std::string>());
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

  CLI::App& exporting = addVerb(noun, "export", "Write a certificate of a store", *arguments);
  exporting.add_option("THUMBPRINT", arguments->thumbprint, "SHA-1, in hexadecimal")->required();
  exporting.add_option("-o,--output", arguments->output, "The file to write; - is standard output")
      ->capture_default_str();
  exporting.add_flag("--der", arguments->der, "Write DER, not PEM");
  exporting.callback([&tool, arguments] { exportOne(tool, *arguments); });

  CLI::App& listing = addVerb(noun, "list", "List the certificates of a store", *arguments);
  listing.callback([&tool, arguments] { list(tool.report, *arguments); });
}

}  // namespace qx::admin
