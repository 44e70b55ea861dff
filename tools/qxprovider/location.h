#ifndef QX_TOOLS_QXPROVIDER_LOCATION_H_
#define QX_TOOLS_QXPROVIDER_LOCATION_H_

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "provider/store/store_name.h"
#include "provider/store/store_snapshot.h"
#include "provider/support/folders.h"

namespace qx::admin {

/// addLocation adds --user (the default) and --machine.
void addLocation(CLI::App& command, Location& location);

/// addStore adds --store, with a default name.
CLI::Option* addStore(CLI::App& command, std::string& store);

/// storeName checks a store's name; throws ToolError (Usage).
StoreName storeName(Location location, const std::string& name);

/// openStore gives what stands in a store; throws ToolError (Input) when there is no such store.
std::shared_ptr<const StoreSnapshot> openStore(Location location, const std::string& name);

/// locationName is "user" or "machine".
const char* locationName(Location location);

}  // namespace qx::admin

#endif
