#ifndef QX_TOOLS_QXPROVIDER_KEY_CREATION_H_
#define QX_TOOLS_QXPROVIDER_KEY_CREATION_H_

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "provider/key/private_key.h"
#include "provider/support/folders.h"
#include "tools/common/pin.h"
#include "tools/common/report.h"

namespace qx::admin {

/// The PIN that a key shall get.
struct NewPin {
  tools::PinSource source;
  bool none = false;
};

/// addNewPin adds --NAME-file and the others, and --no-pin.
void addNewPin(CLI::App& verb, NewPin& pin, const std::string& name);

/// addKeyType adds --type, the kind of a key that is to be made.
void addKeyType(CLI::App& verb, std::string& kind);

/// readChosenPin gives the PIN, nothing for none. Silence is neither, and is asked about at the
/// terminal: a key without a PIN is a decision. Throws ToolError: Usage, Key.
std::optional<tools::Secret> readChosenPin(const NewPin& pin, tools::Report& report);

/// textOf is the PIN as the provider takes it.
std::optional<std::string_view> textOf(const std::optional<tools::Secret>& pin);

/// makeKey makes a key of a kind of kindNames().
std::shared_ptr<const PrivateKey> makeKey(const std::string& kind);

/// storeKey stores a key, reports it, and gives its id.
std::string storeKey(Location location,
                     const PrivateKey& key,
                     const NewPin& pin,
                     tools::Report& report);

}  // namespace qx::admin

#endif
