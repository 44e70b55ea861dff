#include "tools/qxprovider/key_creation.h"

#include <optional>
#include <string_view>

#include "provider/key/key_store.h"
#include "provider/key/public_key.h"
#include "tools/common/error.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/key_texts.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::PinSource;
using tools::Secret;
using tools::ToolError;

std::string typeName(const PrivateKey& key) {
  return keyTypeName(key.type(), require(PublicKey::parse(key.spki()), "key").bitLength());
}

}  // namespace

void addNewPin(CLI::App& verb, NewPin& pin, const std::string& name) {
  tools::addPinOptions(
      verb, name, "the key's new PIN", [&pin]() -> PinSource& { return pin.source; });
  verb.add_flag("--no-pin", pin.none, "Leave the key without a PIN");
}

void addKeyType(CLI::App& verb, std::string& kind) {
  verb.add_option("--type", kind, "The kind of key")
      ->check(CLI::IsMember(kindNames()))
      ->capture_default_str();
}

std::optional<Secret> readChosenPin(const NewPin& pin, tools::Report& report) {
  if (pin.none && pin.source.kind != PinSource::Kind::None) {
    throw ToolError(ExitCode::Usage, "--no-pin and a PIN exclude each other");
  }
  if (pin.none) {
    return std::nullopt;
  }
  Secret chosen = tools::readNewPin(tools::orPrompt(pin.source), "PIN of the key", report);
  if (chosen.empty()) {
    throw ToolError(ExitCode::Key, "the PIN is empty; --no-pin leaves the key without one");
  }
  return chosen;
}

std::optional<std::string_view> textOf(const std::optional<Secret>& pin) {
  return pin ? std::optional(pin->text()) : std::nullopt;
}

std::shared_ptr<const PrivateKey> makeKey(const std::string& kind) {
  return require(PrivateKey::fromEvp(lab::generateKey(kindByName(kind))), kind);
}

std::string storeKey(Location location,
                     const PrivateKey& key,
                     const NewPin& pin,
                     tools::Report& report) {
  const std::optional<Secret> chosen = readChosenPin(pin, report);
  const std::string id = require(addKey(location, key, textOf(chosen)), "key");
  report.facts()["key"] = id;
  report.facts()["type"] = typeName(key);
  report.facts()["pin"] = chosen.has_value();
  report.line("key " + id + " (" + typeName(key) + (chosen ? ", with a PIN)" : ", without a PIN)"));
  return id;
}

}  // namespace qx::admin
