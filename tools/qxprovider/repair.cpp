#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "provider/key/key_rights.h"
#include "provider/support/files.h"
#include "tools/common/error.h"
#include "tools/common/report.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

// A younger file may be one that somebody is writing.
constexpr std::time_t kLeftoverSeconds = 3600;

/// What the folders of a location shall have, but for that of keys. The machine's are root's and their
/// group's: its members read all, write the stores but those that say whom to trust, and use the keys. The
/// sticky bit keeps them from renaming a store that is not theirs.
struct Rights {
  mode_t root;
  mode_t stores;
  mode_t trustStore;
  mode_t store;
  mode_t cache;
};

constexpr Rights kUserRights{
    .root = 0700, .stores = 0700, .trustStore = 0700, .store = 0700, .cache = 0700};
constexpr Rights kMachineRights{
    .root = 02750, .stores = 03770, .trustStore = 02750, .store = 02770, .cache = 02770};

// A folder that is open, and where it lies.
struct Folder {
  Fd fd;
  std::string path;
};

/// Repair goes through the folders of a location from above: what cannot be entered is mended first. No
/// link is followed.
class Repair {
 public:
  Repair(tools::Report& report, Location location, bool dryRun)
      : report_(&report),
        rights_(location == Location::CurrentUser ? &kUserRights : &kMachineRights),
        location_(location),
        dryRun_(dryRun),
        group_(location == Location::LocalMachine ? machineGroup() : std::nullopt) {}

  void mend(const std::string& path) {
    const std::optional<Folder> root = enter(AT_FDCWD, path, path, rights_->root);
    if (!root) {
      return;
    }
    if (const auto stores = enter(*root, "stores", rights_->stores)) {
      for (const std::string& name : namesOf(*stores)) {
        mendStore(*stores, name);
      }
    }
    if (const auto keys = enter(*root, "keys", keyFolderMode(location_))) {
      mendKeys(*keys);
    }
    if (const auto cache = enter(*root, "cache", rights_->cache)) {
      removeLeftovers(*cache);
    }
  }

  std::size_t changes() const { return changes_; }

 private:
  static std::string under(const Folder& folder, const std::string& name) {
    return folder.path + "/" + name;
  }

  static std::vector<std::string> namesOf(const Folder& folder) {
    return require(namesIn(folder.fd.get()), folder.path);
  }

  void note(const std::string& path, const std::string& change) {
    ++changes_;
    report_->line(path + ": " + change);
    report_->facts()["changes"].push_back({{"path", path}, {"change", change}});
  }

  static void check(int result, const std::string& path) {
    if (result != 0) {
      throw tools::ToolError(tools::ExitCode::Input, path + ": " + tools::errnoText(errno));
    }
  }

  // The owner first: to give a file away takes bits of its mode.
  void setRights(int folder,
                 const std::string& name,
                 const std::string& path,
                 const struct stat& present,
                 mode_t mode) {
    const gid_t group = group_.value_or(present.st_gid);
    if (location_ == Location::LocalMachine && (present.st_uid != 0 || present.st_gid != group)) {
      note(path, std::string("given to root and the group ") + kMachineGroup);
      check(dryRun_ ? 0 : fchownat(folder, name.c_str(), 0, group, AT_SYMLINK_NOFOLLOW), path);
    }
    if ((present.st_mode & 07777U) != mode) {
      note(path, "mode " + tools::modeText(present.st_mode) + " becomes " + tools::modeText(mode));
      check(dryRun_ ? 0 : fchmodat(folder, name.c_str(), mode, AT_SYMLINK_NOFOLLOW), path);
    }
  }

  std::optional<Folder> enter(const Folder& parent, const std::string& name, mode_t mode) {
    return enter(parent.fd.get(), name, under(parent, name), mode);
  }

  // Nothing where there is no folder, or where it cannot be entered before it is mended.
  std::optional<Folder> enter(int parent,
                              const std::string& name,
                              const std::string& path,
                              mode_t mode) {
    struct stat present{};
    const int found = fstatat(parent, name.c_str(), &present, AT_SYMLINK_NOFOLLOW);
    if (found != 0 && errno == ENOENT) {
      return std::nullopt;
    }
    check(found, path);
    if (!S_ISDIR(present.st_mode)) {
      report_->warn(path + ": is no folder and is left as it is");
      return std::nullopt;
    }
    setRights(parent, name, path, present, mode);
    Fd opened(openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!opened && !dryRun_) {
      check(-1, path);
    }
    return opened ? std::optional<Folder>({.fd = std::move(opened), .path = path}) : std::nullopt;
  }

  void mendStore(const Folder& stores, const std::string& name) {
    const bool trust = name == "Root" || name == "CA";
    if (const auto store = enter(stores, name, trust ? rights_->trustStore : rights_->store)) {
      removeLeftovers(*store);
    }
  }

  void mendKeys(const Folder& keys) {
    removeLeftovers(keys);
    for (const std::string& name : namesOf(keys)) {
      struct stat present{};
      if (fstatat(keys.fd.get(), name.c_str(), &present, AT_SYMLINK_NOFOLLOW) != 0) {
        continue;
      }
      if (S_ISREG(present.st_mode)) {
        setRights(keys.fd.get(), name, under(keys, name), present, keyFileMode(location_));
      } else {
        report_->warn(under(keys, name) + ": is no file and is left as it is");
      }
    }
  }

  void removeLeftovers(const Folder& folder) {
    for (const std::string& name : namesOf(folder)) {
      struct stat present{};
      if (isTemporaryName(name) &&
          fstatat(folder.fd.get(), name.c_str(), &present, AT_SYMLINK_NOFOLLOW) == 0 &&
          S_ISREG(present.st_mode) &&
          present.st_mtim.tv_sec + kLeftoverSeconds < std::time(nullptr)) {
        note(under(folder, name), "removed: somebody was interrupted who wrote it");
        check(dryRun_ ? 0 : unlinkat(folder.fd.get(), name.c_str(), 0), under(folder, name));
      }
    }
  }

  tools::Report* report_;
  const Rights* rights_;
  Location location_;
  bool dryRun_;
  std::optional<gid_t> group_;
  std::size_t changes_ = 0;
};

struct RepairArguments {
  Location location = Location::CurrentUser;
  bool dryRun = false;
};

void repair(tools::Report& report, const RepairArguments& arguments) {
  const std::string root = require(rootFolder(arguments.location), "folders");
  report.facts()["folder"] = root;
  report.facts()["dryRun"] = arguments.dryRun;
  report.facts()["changes"] = nlohmann::ordered_json::array();
  Repair work(report, arguments.location, arguments.dryRun);
  work.mend(root);
  if (work.changes() == 0) {
    report.line(root + ": nothing to repair");
  } else if (arguments.dryRun) {
    report.line("nothing was changed (--dry-run)");
  }
}

}  // namespace

void addRepair(tools::Tool& tool) {
  auto arguments = std::make_shared<RepairArguments>();
  CLI::App& verb = *tool.app.add_subcommand(
      "repair", "Mend the rights of folders and keys, remove what interrupted writes left");
  addLocation(verb, arguments->location);
  verb.add_flag("--dry-run", arguments->dryRun, "Tell what would be done, and do nothing");
  verb.callback([&tool, arguments] { repair(tool.report, *arguments); });
}

}  // namespace qx::admin
