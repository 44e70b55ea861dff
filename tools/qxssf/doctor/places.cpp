#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "tools/common/report.h"
#include "tools/qxssf/doctor/families.h"

namespace qx::ssf::doctor {
namespace {

namespace fs = std::filesystem;
using tools::ExitCode;

/// What others than the owner may do in a place.
struct Rights {
  mode_t keysForbidden;
  const char* keyMode;
  /// Whether a group may share stores, other than those that say whom to trust.
  bool groupWritesStores;
};

constexpr Rights kUserRights{
    .keysForbidden = S_IRWXG | S_IRWXO, .keyMode = "600", .groupWritesStores = false};
constexpr Rights kMachineRights{
    .keysForbidden = S_IWGRP | S_IXGRP | S_IRWXO, .keyMode = "640", .groupWritesStores = true};
constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;

std::string userName() {
  const std::string name = account().name;
  return name.empty() ? std::to_string(geteuid()) : name;
}

// Where nobody lets us through there is nothing for us, either.
bool isThere(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

bool isReadable(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
}

mode_t modeOf(const std::string& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

// The names in a folder, in order; none of those that begin with a dot, which the provider skips.
std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (const std::string name = entry->path().filename(); !name.starts_with('.')) {
      names.insert(name);
    }
  }
  return names;
}

void refuseReading(const std::string& path, ExitCode exit, Findings& findings) {
  findings.fault(exit,
                 path,
                 "cannot be read by " + userName(),
                 "chown " + quoted(userName()) + " " + quoted(path));
}

void examineKey(const std::string& path, const Rights& rights, Findings& findings) {
  if (!isReadable(path)) {
    refuseReading(path, ExitCode::Key, findings);
  }
  if (const mode_t mode = modeOf(path); (mode & rights.keysForbidden) != 0) {
    findings.fault(ExitCode::Key,
                   path,
                   "others have rights to this key (mode " + tools::modeText(mode) + ")",
                   std::string("chmod ") + rights.keyMode + " " + quoted(path));
  }
}

void examineKeys(const std::string& folder, const Rights& rights, Findings& findings) {
  if (!isThere(folder)) {
    return;
  }
  if (!isReadable(folder)) {
    refuseReading(folder, ExitCode::Key, findings);
    return;
  }
  const std::set<std::string> names = namesIn(folder);
  findings.good(folder,
                std::to_string(names.size()) + " files, mode " + tools::modeText(modeOf(folder)));
  for (const std::string& name : names) {
    examineKey(fs::path(folder) / name, rights, findings);
  }
}

// Who may write here says what is trusted, and whose certificate is taken.
void examineWriters(const std::string& path, mode_t forbidden, Findings& findings) {
  if (const mode_t mode = modeOf(path); (mode & forbidden) != 0) {
    findings.warn(path,
                  "others may write here (mode " + tools::modeText(mode) + ")",
                  "chmod go-w " + quoted(path));
  }
}

// A folder that hands its group down is shared with that group on purpose.
mode_t storeForbidden(const fs::path& folder, const Rights& rights) {
  const bool saysWhomToTrust = folder.filename() == "Root" || folder.filename() == "CA";
  const bool isShared = (modeOf(folder) & S_ISGID) != 0;
  return rights.groupWritesStores && isShared && !saysWhomToTrust ? S_IWOTH : kOthersWrite;
}

void examineStore(const std::string& folder, const Rights& rights, Findings& findings) {
  if (!isReadable(folder)) {
    refuseReading(folder, ExitCode::Input, findings);
    return;
  }
  std::size_t lists = 0;
  std::size_t certificates = 0;
  for (const std::string& name : namesIn(folder)) {
    const std::string path = fs::path(folder) / name;
    ++(name.ends_with(".crl") ? lists : certificates);
    if (!isReadable(path)) {
      refuseReading(path, ExitCode::Input, findings);
    }
  }
  findings.good(folder,
                std::to_string(certificates) + " certificates, " + std::to_string(lists) + " CRLs");
  examineWriters(folder, storeForbidden(folder, rights), findings);
}

void examineRoot(const std::string& root, const Rights& rights, Findings& findings) {
  examineWriters(root, kOthersWrite, findings);
  const fs::path stores = fs::path(root) / "stores";
  for (const std::string& name : namesIn(stores)) {
    examineStore(stores / name, rights, findings);
  }
  examineKeys(root + "/keys", rights, findings);
}

void examineUserFolder(Findings& findings) {
  const Setting folder = userFolder();
  const std::string from = " (from " + folder.source + ")";
  if (!isThere(folder.value)) {
    findings.warn("user's folder",
                  folder.value + from + " is not there: this user has no stores and no keys",
                  "qxprovider cert add --store My CERTIFICATE");
    return;
  }
  findings.good("user's folder",
                folder.value + from + ", mode " + tools::modeText(modeOf(folder.value)));
  examineRoot(folder.value, kUserRights, findings);
}

void examineMachineFolder(Findings& findings) {
  const Setting folder = machineFolder();
  const std::string from = " (from " + folder.source + ")";
  if (!isThere(folder.value)) {
    findings.good("machine's folder",
                  folder.value + from + ": none, profiles with m have no store");
    return;
  }
  findings.good("machine's folder",
                folder.value + from + ", mode " + tools::modeText(modeOf(folder.value)));
  examineRoot(folder.value, kMachineRights, findings);
}

}  // namespace

void examinePlaces(Findings& findings) {
  findings.begin("user and folders");
  findings.good("user", userName() + ", uid " + std::to_string(geteuid()));
  examineUserFolder(findings);
  examineMachineFolder(findings);
}

}  // namespace qx::ssf::doctor
