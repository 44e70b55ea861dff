#include <algorithm>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/key/key_store.h"
#include "provider/key/pem.h"
#include "provider/key/public_key.h"
#include "provider/store/folder_store.h"
#include "provider/store/store_files.h"
#include "tools/common/error.h"
#include "tools/common/output.h"
#include "tools/common/pin.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/key_import.h"
#include "tools/qxprovider/key_texts.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::PinSource;
using tools::Secret;
using tools::ToolError;

struct KeyArguments {
  Location location = Location::CurrentUser;
  std::string kind = "gost2012-256";
  std::string file;
  std::string id;
  std::string store = "My";
  std::string publicKey;
  PinSource pin;
  PinSource password;
  bool noPin = false;
};

// The PIN that a key shall get, nothing for none. Silence is neither: a key without a PIN is a
// decision.
std::optional<Secret> newPin(const KeyArguments& arguments, tools::Report& report) {
  if (arguments.noPin && arguments.pin.kind != PinSource::Kind::None) {
    throw ToolError(ExitCode::Usage, "--no-pin and a PIN exclude each other");
  }
  if (arguments.noPin) {
    return std::nullopt;
  }
  PinSource source = arguments.pin;
  if (source.kind == PinSource::Kind::None) {
    source.kind = PinSource::Kind::Prompt;
  }
  Secret pin = tools::readNewPin(source, "PIN of the key", report);
  if (pin.empty()) {
    throw ToolError(ExitCode::Key, "the PIN is empty; --no-pin leaves the key without one");
  }
  return pin;
}

std::optional<std::string_view> textOf(const std::optional<Secret>& pin) {
  return pin ? std::optional(pin->text()) : std::nullopt;
}

std::string typeName(const PrivateKey& key) {
  return keyTypeName(key.type(), require(PublicKey::parse(key.spki()), "key").bitLength());
}

// Stores a key and reports it.
void store(const PrivateKey& key, const KeyArguments& arguments, tools::Report& report) {
  const std::optional<Secret> pin = newPin(arguments, report);
  const std::string id = require(addKey(arguments.location, key, textOf(pin)), "key");
  report.facts()["key"] = id;
  report.facts()["type"] = typeName(key);
  report.facts()["pin"] = pin.has_value();
  report.line("key " + id + " (" + typeName(key) + (pin ? ", with a PIN)" : ", without a PIN)"));
}

void generate(tools::Tool& tool, const KeyArguments& arguments) {
  tool.claimOutput(arguments.publicKey, tools::Tool::Content::Text);
  const auto key =
      require(PrivateKey::fromEvp(lab::generateKey(kindByName(arguments.kind))), arguments.kind);
  store(*key, arguments, tool.report);
  if (!arguments.publicKey.empty()) {
    tools::writeOutput(arguments.publicKey, appendPem({}, kPublicKeyLabel, key->spki()).text());
  }
}

void addCertificate(const CertificateData& certificate,
                    const StoreName& store,
                    tools::Report& report) {
  require(addCertificateFile(store, certificate, IfPresent::Keep), store.name());
  auto facts = certificateFacts(certificate);
  facts["store"] = store.name();
  report.line(store.name() + ": " + facts["subject"].get<std::string>());
  report.facts()["certificates"].push_back(std::move(facts));
}

bool isSelfIssued(const CertificateData& certificate) {
  const CERT_NAME_BLOB& subject = certificate.info().Subject;
  const CERT_NAME_BLOB& issuer = certificate.info().Issuer;
  return std::ranges::equal(std::span(subject.pbData, subject.cbData),
                            std::span(issuer.pbData, issuer.cbData));
}

// The key's own certificate goes where it was asked for, intermediates go where chains are built from.
// A root is never trusted for having come along.
void addCertificates(const ImportedKey& imported,
                     const KeyArguments& arguments,
                     tools::Report& report) {
  if (imported.certificate != nullptr) {
    addCertificate(*imported.certificate, storeName(arguments.location, arguments.store), report);
  }
  for (const auto& other : imported.others) {
    if (!isSelfIssued(*other)) {
      addCertificate(*other, storeName(arguments.location, "CA"), report);
    }
  }
}

void import(tools::Tool& tool, const KeyArguments& arguments) {
  tools::Report& report = tool.report;
  // Before anything is stored: a second try would find the key there already.
  static_cast<void>(storeName(arguments.location, arguments.store));
  const ImportedKey imported = readKeyFile(arguments.file, [&] {
    PinSource source = arguments.password;
    if (source.kind == PinSource::Kind::None) {
      source.kind = PinSource::Kind::Prompt;
    }
    return tools::readPin(source, "Password of " + arguments.file, report);
  });
  warnOfRights(arguments.file, Location::CurrentUser, report);
  store(*imported.key, arguments, report);
  addCertificates(imported, arguments, report);
}

// The subjects of the certificates in My that belong to a key.
std::vector<std::string> ownersOf(const std::string& id, Location location) {
  std::vector<std::string> owners;
  const auto my = snapshot(location, "My");
  if (!my) {
    return owners;
  }
  for (const StoredCertificate& entry : (*my)->certificates()) {
    if (entry.data->keyFileName() == id) {
      owners.push_back(nameText(entry.data->info().Subject));
    }
  }
  return owners;
}

void listOne(const KeyDescription& key, Location location, tools::Report& report) {
  warnOfRights(keyPath(location, key.fileName), location, report);
  const std::vector<std::string> owners = ownersOf(key.id, location);
  const std::string type = key.type ? keyTypeName(*key.type, key.bits) : "";
  report.line(key.id + (type.empty() ? "" : "  " + type) +
              (key.hasPin ? "  with a PIN" : "  without a PIN") +
              (owners.empty() ? "" : "  " + owners.front()));
  report.facts()["keys"].push_back({{"key", key.id},
                                    {"file", key.fileName},
                                    {"pin", key.hasPin},
                                    {"type", type},
                                    {"subjects", owners}});
}

void list(tools::Tool& tool, const KeyArguments& arguments) {
  tool.report.facts()["keys"] = nlohmann::ordered_json::array();
  for (const KeyDescription& key : require(listKeys(arguments.location), "keys")) {
    listOne(key, arguments.location, tool.report);
  }
}

// The old PIN: a key that has none needs none.
Secret oldPin(const KeyFile& file, const PinSource& given, tools::Report& report) {
  PinSource source = given;
  if (file.hasPin() && source.kind == PinSource::Kind::None) {
    source.kind = PinSource::Kind::Prompt;
  }
  return tools::readPin(source, "Present PIN", report);
}

KeyFilePtr openKeyFile(const KeyArguments& arguments) {
  Result<KeyFilePtr> file = findKey(arguments.location, arguments.id);
  if (!file && file.error() == ERROR_FILE_NOT_FOUND) {
    throw ToolError(ExitCode::Input,
                    "the " + std::string(locationName(arguments.location)) + " has no key " +
                        arguments.id + "; key list shows all");
  }
  return require(std::move(file), arguments.id);
}

void passwd(tools::Tool& tool, const KeyArguments& arguments) {
  tools::Report& report = tool.report;
  const KeyFilePtr file = openKeyFile(arguments);
  warnOfRights(keyPath(arguments.location, file->name()), arguments.location, report);
  const Secret present = oldPin(*file, arguments.password, report);
  const std::optional<Secret> chosen = newPin(arguments, report);
  require(changePin(arguments.location, arguments.id, present.text(), textOf(chosen)),
          arguments.id);
  report.facts()["key"] = arguments.id;
  report.facts()["pin"] = chosen.has_value();
  report.line("key " + arguments.id + (chosen ? " has its new PIN" : " has no PIN any more"));
}

void addNewPin(CLI::App& verb, KeyArguments& arguments, const std::string& name) {
  tools::addPinOptions(
      verb, name, "the key's new PIN", [&arguments]() -> PinSource& { return arguments.pin; });
  verb.add_flag("--no-pin", arguments.noPin, "Leave the key without a PIN");
}

void addGenerate(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<KeyArguments>();
  CLI::App& verb = *noun.add_subcommand("generate", "Make a new key");
  verb.add_option("--type", arguments->kind, "The kind of key")
      ->check(CLI::IsMember(kindNames()))
      ->capture_default_str();
  verb.add_option("--public-key", arguments->publicKey, "Write the public key to this file (PEM)");
  addNewPin(verb, *arguments, "pin");
  addLocation(verb, arguments->location);
  verb.callback([&tool, arguments] { generate(tool, *arguments); });
}

void addImport(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<KeyArguments>();
  CLI::App& verb = *noun.add_subcommand("import", "Take over a key from PKCS#8 or PKCS#12");
  verb.add_option("FILE", arguments->file, "The key file, PEM or DER")->required();
  tools::addPinOptions(verb, "password", "the password of the file", [arguments]() -> PinSource& {
    return arguments->password;
  });
  addNewPin(verb, *arguments, "pin");
  verb.add_option("--store", arguments->store, "The store for the certificate of a PKCS#12 file")
      ->capture_default_str();
  addLocation(verb, arguments->location);
  verb.callback([&tool, arguments] { import(tool, *arguments); });
}

void addList(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<KeyArguments>();
  CLI::App& verb = *noun.add_subcommand("list", "List the keys");
  addLocation(verb, arguments->location);
  verb.callback([&tool, arguments] { list(tool, *arguments); });
}

void addPasswd(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<KeyArguments>();
  CLI::App& verb = *noun.add_subcommand("passwd", "Change, set or remove the PIN of a key");
  verb.add_option("KEY", arguments->id, "The key, as key list names it")->required();
  tools::addPinOptions(
      verb, "pin", "the present PIN", [arguments]() -> PinSource& { return arguments->password; });
  addNewPin(verb, *arguments, "new-pin");
  addLocation(verb, arguments->location);
  verb.callback([&tool, arguments] { passwd(tool, *arguments); });
}

}  // namespace

void addKeys(tools::Tool& tool) {
  CLI::App& noun = *tool.app.add_subcommand("key", "Private keys")->require_subcommand(1);
  addGenerate(noun, tool);
  addImport(noun, tool);
  addList(noun, tool);
  addPasswd(noun, tool);
}

}  // namespace qx::admin
