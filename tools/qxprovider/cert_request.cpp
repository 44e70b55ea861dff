#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "provider/key/pem.h"
#include "provider/key/public_key.h"
#include "tools/common/error.h"
#include "tools/common/output.h"
#include "tools/qxprovider/cert_verbs.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/key_creation.h"
#include "tools/qxprovider/key_texts.h"
#include "tools/qxprovider/key_unlock.h"
#include "tools/qxprovider/location.h"
#include "tools/qxprovider/request.h"
#include "tools/qxprovider/subject_name.h"
#include "tools/qxprovider/thumbprint.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;
using Content = tools::Tool::Content;

constexpr std::string_view kRequestLabel = "CERTIFICATE REQUEST";

struct RequestArguments {
  Location location = Location::CurrentUser;
  std::string store = "My";
  std::string thumbprint;
  std::string subject;
  Usages usages;
  std::string key;
  std::string kind;
  NewPin pin;
  bool sameKey = false;
  std::string output = "-";
  bool der = false;
};

void write(tools::Tool& tool,
           const RequestArguments& arguments,
           const PrivateKey& key,
           const RequestContent& content) {
  const std::vector<std::uint8_t> request = makeRequest(key, content);
  if (arguments.der) {
    tools::writeOutput(arguments.output, request);
  } else {
    tools::writeOutput(arguments.output, appendPem({}, kRequestLabel, request).text());
  }
  tool.report.facts()["key"] = keyId(key.publicKeyBits());
  tool.report.facts()["output"] = arguments.output;
}

// Asks for a certificate for a key that is there.
void requestFor(tools::Tool& tool,
                const RequestArguments& arguments,
                const std::string& id,
                const RequestContent& content) {
  if (!arguments.kind.empty() || arguments.pin.none) {
    throw ToolError(ExitCode::Usage, "--type and --no-pin are for a new key");
  }
  const KeyFilePtr file = openKeyFile(arguments.location, id, tool.report);
  write(tool, arguments, *unlockKey(*file, arguments.pin.source, tool.report), content);
}

// Makes a key and asks for a certificate for it.
void requestForNew(tools::Tool& tool,
                   const RequestArguments& arguments,
                   const std::string& kind,
                   const RequestContent& content) {
  const auto key = makeKey(kind);
  storeKey(arguments.location, *key, arguments.pin, tool.report);
  write(tool, arguments, *key, content);
}

void claimOutput(tools::Tool& tool, const RequestArguments& arguments) {
  tool.claimOutput(arguments.output, arguments.der ? Content::Binary : Content::Text);
}

void request(tools::Tool& tool, const RequestArguments& arguments) {
  claimOutput(tool, arguments);
  const RequestContent content{.subject = parseName(arguments.subject),
                               .extensions = extensionsFor(arguments.usages)};
  if (arguments.key.empty()) {
    requestForNew(
        tool, arguments, arguments.kind.empty() ? kindNames().front() : arguments.kind, content);
  } else {
    requestFor(tool, arguments, arguments.key, content);
  }
}

// The kind of key that a certificate has, if such keys are made here.
std::string kindOf(const CertificateData& certificate) {
  const PublicKey key = require(PublicKey::parse(certificate.spki()), "the certificate's key");
  std::string kind = keyTypeName(key.type(), key.bitLength());
  if (std::ranges::count(kindNames(), kind) == 0) {
    throw ToolError(ExitCode::Usage,
                    "no " + kind + " keys are made here; --type names another kind");
  }
  return kind;
}

void renew(tools::Tool& tool, const RequestArguments& arguments) {
  claimOutput(tool, arguments);
  const auto certificate =
      findCertificates(arguments.location, arguments.store, arguments.thumbprint).front().data;
  const RequestContent content = contentOf(*certificate);
  tool.report.facts()["renews"] = certificateFacts(*certificate);
  if (arguments.sameKey) {
    requestFor(tool, arguments, certificate->keyFileName(), content);
  } else {
    requestForNew(
        tool, arguments, arguments.kind.empty() ? kindOf(*certificate) : arguments.kind, content);
  }
}

// What both verbs have.
CLI::App& addVerb(CLI::App& noun, const char* name, const char* help, RequestArguments& arguments) {
  CLI::App& verb = *noun.add_subcommand(name, help);
  addLocation(verb, arguments.location);
  verb.add_option("-o,--output", arguments.output, "The file to write; - is standard output")
      ->capture_default_str();
  verb.add_flag("--der", arguments.der, "Write DER, not PEM");
  verb.add_option("--type", arguments.kind, "The kind of the new key")
      ->check(CLI::IsMember(kindNames()));
  addNewPin(verb, arguments.pin, "pin");
  return verb;
}

}  // namespace

void addCertRequest(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<RequestArguments>();
  CLI::App& verb = addVerb(noun, "request", "Ask for a certificate (PKCS#10)", *arguments);
  verb.add_option("--subject", arguments->subject, "The name: CN=Ivan Petrov, O=Bank, C=RU")
      ->required();
  verb.add_option("--alt-name",
                  arguments->usages.alternativeNames,
                  "DNS:host, email:address, IP:address or URI:address; may be repeated")
      ->allow_extra_args(false);
  verb.add_option("--key-usage",
                  arguments->usages.keyUsage,
                  "digitalSignature,nonRepudiation,keyEncipherment...");
  verb.add_option("--extended-key-usage",
                  arguments->usages.extendedKeyUsage,
                  "clientAuth,emailProtection... or dotted OIDs");
  verb.add_option("--key", arguments->key, "A key that is there; without it one is made");
  verb.callback([&tool, arguments] { request(tool, *arguments); });
}

void addCertRenew(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<RequestArguments>();
  CLI::App& verb =
      addVerb(noun, "renew", "Ask for a certificate like one that is there", *arguments);
  addStore(verb, arguments->store);
  verb.add_option("THUMBPRINT", arguments->thumbprint, "SHA-1, in hexadecimal")->required();
  verb.add_flag("--same-key", arguments->sameKey, "For the same key; without it a new one is made");
  verb.callback([&tool, arguments] { renew(tool, *arguments); });
}

}  // namespace qx::admin
