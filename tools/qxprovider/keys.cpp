#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/key/key_store.h"
#include "provider/key/pem.h"
#include "provider/key/public_key.h"
#include "provider/store/folder_store.h"
#include "tools/common/error.h"
#include "tools/common/output.h"
#include "tools/common/pin.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/key_creation.h"
#include "tools/qxprovider/key_import.h"
#include "tools/qxprovider/key_texts.h"
#include "tools/qxprovider/key_unlock.h"
#include "tools/qxprovider/location.h"
#include "tools/qxprovider/received.h"

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
  NewPin newPin;
  PinSource password;
};

void generate(tools::Tool& tool, const KeyArguments& arguments) {
  tool.claimOutput(arguments.publicKey, tools::Tool::Content::Text);
  const auto key = makeKey(arguments.kind);
  storeKey(arguments.location, *key, arguments.newPin, tool.report);
  if (!arguments.publicKey.empty()) {
    tools::writeOutput(arguments.publicKey, appendPem({}, kPublicKeyLabel, key->spki()).text());
  }
}

// The key's own certificate goes where it was asked for, intermediates go where chains are built from.
// A root is never trusted for having come along.
void addCertificates(const ImportedKey& imported,
                     const KeyArguments& arguments,
                     tools::Report& report) {
  if (imported.certificate != nullptr) {
    putCertificate(storeName(arguments.location, arguments.store), *imported.certificate, report);
  }
  for (const auto& other : imported.others) {
    if (!isSelfIssued(*other)) {
      putCertificate(storeName(arguments.location, "CA"), *other, report);
    }
  }
}

void import(tools::Tool& tool, const KeyArguments& arguments) {
  tools::Report& report = tool.report;
  // Before anything is stored: a second try would find the key there already.
  static_cast<void>(storeName(arguments.location, arguments.store));
  const ImportedKey imported = readKeyFile(arguments.file, [&] {
    return tools::readPin(
        tools::orPrompt(arguments.password), "Password of " + arguments.file, report);
  });
  warnOfRights(arguments.file, Location::CurrentUser, report);
  storeKey(arguments.location, *imported.key, arguments.newPin, report);
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

// As the file has it: the PIN that guards it here guards it there, too.
void exportKey(tools::Tool& tool, const KeyArguments& arguments) {
  tool.claimOutput(arguments.file, tools::Tool::Content::Text);
  const KeyFilePtr file = openKeyFile(arguments.location, arguments.id, tool.report);
  tools::writePrivateOutput(arguments.file, file->text());
  tool.report.facts()["key"] = file->id();
  tool.report.facts()["pin"] = file->hasPin();
  tool.report.facts()["output"] = arguments.file;
}

void passwd(tools::Tool& tool, const KeyArguments& arguments) {
  tools::Report& report = tool.report;
  const KeyFilePtr file = openKeyFile(arguments.location, arguments.id, report);
  const Secret present = presentPin(*file, arguments.password, report);
  const std::optional<Secret> chosen = readChosenPin(arguments.newPin, report);
  require(changePin(arguments.location, arguments.id, present.text(), textOf(chosen)),
          arguments.id);
  report.facts()["key"] = arguments.id;
  report.facts()["pin"] = chosen.has_value();
  report.line("key " + arguments.id + (chosen ? " has its new PIN" : " has no PIN any more"));
}

void addGenerate(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<KeyArguments>();
  CLI::App& verb = *noun.add_subcommand("generate", "Make a new key");
  addKeyType(verb, arguments->kind);
  verb.add_option("--public-key", arguments->publicKey, "Write the public key to this file (PEM)");
  addNewPin(verb, arguments->newPin, "pin");
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
  addNewPin(verb, arguments->newPin, "pin");
  verb.add_option("--store", arguments->store, "The store for the certificate of a PKCS#12 file")
      ->capture_default_str();
  addLocation(verb, arguments->location);
  verb.callback([&tool, arguments] { import(tool, *arguments); });
}

void addExport(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<KeyArguments>();
  CLI::App& verb = *noun.add_subcommand("export", "Write a key, under its PIN, as PEM");
  verb.add_option("KEY", arguments->id, "The key, as key list names it")->required();
  verb.add_option("-o,--output", arguments->file, "The file to write; - is standard output")
      ->required();
  addLocation(verb, arguments->location);
  verb.callback([&tool, arguments] { exportKey(tool, *arguments); });
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
  addNewPin(verb, arguments->newPin, "new-pin");
  addLocation(verb, arguments->location);
  verb.callback([&tool, arguments] { passwd(tool, *arguments); });
}

}  // namespace

void addKeys(tools::Tool& tool) {
  CLI::App& noun = *tool.app.add_subcommand("key", "Private keys")->require_subcommand(1);
  addGenerate(noun, tool);
  addImport(noun, tool);
  addExport(noun, tool);
  addList(noun, tool);
  addPasswd(noun, tool);
}

}  // namespace qx::admin
