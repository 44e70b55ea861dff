#ifndef QX_PROVIDER_KEY_KEY_RIGHTS_H_
#define QX_PROVIDER_KEY_KEY_RIGHTS_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "provider/result.h"
#include "provider/support/files.h"
#include "provider/support/folders.h"

namespace qx {

/// The group whose members may use the machine's keys.
inline constexpr const char* kMachineGroup = "qxprovider";

/// machineGroup is that group's number; nothing when the machine has no such group.
std::optional<gid_t> machineGroup();

/// The modes of a location's folder of keys, and of the files in it.
mode_t keyFolderMode(Location location);
mode_t keyFileMode(Location location);

/// openKeyFolder opens a folder of keys for writing, and makes it when it is not there; the machine's
/// is given to its group, if there is one and we may.
Result<Fd> openKeyFolder(Location location, const std::string& path);

}  // namespace qx

#endif
