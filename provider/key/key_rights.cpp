#include "provider/key/key_rights.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <limits>

#include "provider/support/trace.h"

namespace qx {
namespace {

/// The machine's keys are for the members of a group, if the machine has that group.
void giveToGroup(int folder) {
  const std::optional<gid_t> group = geteuid() == 0 ? machineGroup() : std::nullopt;
  // Without the group's rights the folder is merely stricter than it has to be.
  if (group && fchown(folder, std::numeric_limits<uid_t>::max(), *group) != 0) {
    QX_TRACE("the machine's keys could not be given to the group %s", kMachineGroup);
  }
}

}  // namespace

std::optional<gid_t> machineGroup() {
  group entry{};
  group* found = nullptr;
  std::array<char, 4096> buffer{};
  if (getgrnam_r(kMachineGroup, &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr) {
    return std::nullopt;
  }
  return found->gr_gid;
}

mode_t keyFolderMode(Location location) {
  return location == Location::CurrentUser ? S_IRWXU : S_ISGID | S_IRWXU | S_IRGRP | S_IXGRP;
}

mode_t keyFileMode(Location location) {
  constexpr mode_t kOwner = S_IRUSR | S_IWUSR;
  return location == Location::CurrentUser ? kOwner : kOwner | S_IRGRP;
}

Result<Fd> openKeyFolder(Location location, const std::string& path) {
  auto folder = openFolder(path);
  if (folder || folder.error() != ERROR_FILE_NOT_FOUND) {
    return folder;
  }
  folder = makeFolder(path, keyFolderMode(location));
  if (folder && location == Location::LocalMachine) {
    giveToGroup(folder->get());
  }
  return folder;
}

}  // namespace qx
