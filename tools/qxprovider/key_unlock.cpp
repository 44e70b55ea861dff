#include "tools/qxprovider/key_unlock.h"

#include <utility>

#include "provider/key/key_store.h"
#include "tools/common/error.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/key_texts.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {

using tools::PinSource;

KeyFilePtr openKeyFile(Location location, const std::string& id, tools::Report& report) {
  Result<KeyFilePtr> file = findKey(location, id);
  if (!file && file.error() == ERROR_FILE_NOT_FOUND) {
    throw tools::ToolError(tools::ExitCode::Input,
                           "the " + std::string(locationName(location)) + " has no key " + id +
                               "; key list shows all");
  }
  KeyFilePtr found = require(std::move(file), id);
  warnOfRights(keyPath(location, found->name()), location, report);
  return found;
}

tools::Secret presentPin(const KeyFile& file, const PinSource& given, tools::Report& report) {
  return tools::readPin(file.hasPin() ? tools::orPrompt(given) : given, "Present PIN", report);
}

std::shared_ptr<const PrivateKey> unlockKey(const KeyFile& file,
                                            const PinSource& given,
                                            tools::Report& report) {
  return require(file.open(presentPin(file, given, report).text()), "key " + file.id());
}

}  // namespace qx::admin
