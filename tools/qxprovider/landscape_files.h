#ifndef QX_TOOLS_QXPROVIDER_LANDSCAPE_FILES_H_
#define QX_TOOLS_QXPROVIDER_LANDSCAPE_FILES_H_

#include <optional>
#include <string>
#include <vector>

#include "provider/store/store_name.h"
#include "provider/support/wipe.h"
#include "tools/common/report.h"

namespace qx::admin {

/// The name of the configuration in a landscape file.
inline constexpr const char* kConfigurationName = "provider.conf";

/// One file of a location's configuration.
struct LandscapeFile {
  /// "stores/NAME/FILE", "keys/FILE" or kConfigurationName.
  std::string path;
  SecretBytes content;
};

/// collectFiles reads the certificates, revocation lists and keys of a location, and the file of
/// settings at `configuration` unless that is empty. What counts for nothing is left out; links and
/// what else is no file are warned of. Throws ToolError.
std::vector<LandscapeFile> collectFiles(Location location,
                                        const std::string& configuration,
                                        tools::Report& report);

/// Where a file of a landscape belongs.
struct LandscapePlace {
  /// Nothing: a key, or the configuration.
  std::optional<StoreName> store;
  std::string name;

  bool isConfiguration() const { return !store && name == kConfigurationName; }
};

/// placeOf reads a path. Throws ToolError (Input) for one that collectFiles does not give: it leads
/// nowhere but into a store or the keys.
LandscapePlace placeOf(Location location, const std::string& path);

}  // namespace qx::admin

#endif
