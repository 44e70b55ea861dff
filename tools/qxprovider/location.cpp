#include "tools/qxprovider/location.h"

#include <utility>

#include "provider/store/folder_store.h"
#include "tools/common/error.h"
#include "tools/qxprovider/failure.h"

namespace qx::admin {

void addLocation(CLI::App& command, Location& location) {
  CLI::Option* user = command.add_flag_callback(
      "--user",
      [&location] { location = Location::CurrentUser; },
      "Of the current user (the default)");
  command
      .add_flag_callback(
          "--machine", [&location] { location = Location::LocalMachine; }, "Of the local machine")
      ->excludes(user);
}

CLI::Option* addStore(CLI::App& command, std::string& store) {
  return command.add_option("--store", store, "The store's name")->capture_default_str();
}

StoreName storeName(Location location, const std::string& name) {
  Result<StoreName> made = StoreName::make(location, name);
  if (!made) {
    throw tools::ToolError(
        tools::ExitCode::Usage,
        "'" + name + "' cannot be the name of a store (no slashes, no leading dot)");
  }
  return *std::move(made);
}

std::shared_ptr<const StoreSnapshot> openStore(Location location, const std::string& name) {
  auto store = snapshot(storeName(location, name));
  if (!store && store.error() == ERROR_FILE_NOT_FOUND) {
    throw tools::ToolError(tools::ExitCode::Input,
                           "the " + std::string(locationName(location)) + " has no store " + name +
                               "; store list shows all");
  }
  return require(std::move(store), name);
}

const char* locationName(Location location) {
  return location == Location::CurrentUser ? "user" : "machine";
}

}  // namespace qx::admin
