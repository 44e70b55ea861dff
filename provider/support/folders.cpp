#include "provider/support/folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace qx {
namespace {

constexpr const char* kMachineFolder = "/var/lib/qxprovider";
constexpr std::size_t kMaxPasswordEntry = std::size_t{1} << 20U;

bool isAbsolute(const std::string& path) {
  return path.starts_with('/');
}

Result<std::string> homeOfPasswordDatabase() {
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  int error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  while (error == ERANGE && buffer.size() < kMaxPasswordEntry) {
    buffer.resize(buffer.size() * 2);
    error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  }
  if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/') {
    return fail(ERROR_PATH_NOT_FOUND);
  }
  return std::string(found->pw_dir);
}

Result<std::string> userFolder() {
  if (std::string own = environmentVariable("QXPROVIDER_USER_DIR"); !own.empty()) {
    return own;
  }
  // Relative values of the general variables are invalid and ignored (XDG base directories).
  if (const std::string data = environmentVariable("XDG_DATA_HOME"); isAbsolute(data)) {
    return data + "/qxprovider";
  }
  constexpr const char* kBelowHome = "/.local/share/qxprovider";
  if (const std::string home = environmentVariable("HOME"); isAbsolute(home)) {
    return home + kBelowHome;
  }
  const Result<std::string> home = homeOfPasswordDatabase();
  if (!home) {
    return home.failure();
  }
  return *home + kBelowHome;
}

}  // namespace

std::string environmentVariable(const char* name) {
  const char* value = secure_getenv(name);
  return value != nullptr ? value : std::string();
}

Result<std::string> rootFolder(Location location) {
  if (location == Location::CurrentUser) {
    return userFolder();
  }
  std::string own = environmentVariable("QXPROVIDER_MACHINE_DIR");
  return own.empty() ? std::string(kMachineFolder) : std::move(own);
}

}  // namespace qx
