#ifndef QX_PROVIDER_SUPPORT_FOLDERS_H_
#define QX_PROVIDER_SUPPORT_FOLDERS_H_

#include <string>

#include "provider/result.h"

namespace qx {

/// Whose stores and keys are meant.
enum class Location { CurrentUser, LocalMachine };

/// rootFolder is the folder that holds "stores", "keys" and "cache" of a location. The environment is
/// read at each call. Current user: $QXPROVIDER_USER_DIR, else $XDG_DATA_HOME/qxprovider, else
/// ~/.local/share/qxprovider with the home of the password database when HOME is unset. Local machine:
/// $QXPROVIDER_MACHINE_DIR, else /var/lib/qxprovider. ERROR_PATH_NOT_FOUND when there is no home.
Result<std::string> rootFolder(Location location);

/// environmentVariable reads a variable of the environment, empty when unset or when the process runs
/// with more rights than its caller has.
std::string environmentVariable(const char* name);

}  // namespace qx

#endif
