#include "tools/qxssf/doctor/origin.h"

#include <algorithm>
#include <fstream>
#include <string_view>

namespace qx::ssf::doctor {
namespace {

namespace fs = std::filesystem;

bool hasLine(const fs::path& file, const std::string& wanted) {
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    if (line == wanted) {
      return true;
    }
  }
  return false;
}

// A package that may be there for several architectures has the architecture behind its name.
bool brought(const std::string& package, const std::string& file, const fs::path& database) {
  std::error_code error;
  const fs::directory_iterator lists(database / "info", error);
  return std::any_of(begin(lists), end(lists), [&](const fs::directory_entry& entry) {
    const fs::path& path = entry.path();
    const std::string stem = path.stem();
    return path.extension() == ".list" && stem.substr(0, stem.find(':')) == package &&
           hasLine(path, file);
  });
}

}  // namespace

std::string loadedFile(std::istream& maps, const std::string& name) {
  for (std::string line; std::getline(maps, line);) {
    const std::size_t start = line.find('/');
    const fs::path path = start == std::string::npos ? "" : line.substr(start);
    if (path.filename() == name) {
      return path;
    }
  }
  return "";
}

std::string packageVersion(const std::string& package,
                           const std::string& file,
                           const fs::path& database) {
  constexpr std::string_view kPackage = "Package: ";
  constexpr std::string_view kVersion = "Version: ";
  if (!brought(package, file, database)) {
    return "";
  }
  std::ifstream status(database / "status");
  bool isIt = false;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(kPackage)) {
      isIt = line.substr(kPackage.size()) == package;
    } else if (isIt && line.starts_with(kVersion)) {
      return line.substr(kVersion.size());
    }
  }
  return "";
}

std::string releaseFault(const OpensslRelease& builtWith, const OpensslRelease& running) {
  if (running.major != builtWith.major || running.minor != builtWith.minor) {
    return "another release than the " + releaseText(builtWith) + " that it was built with";
  }
  return running < builtWith
             ? "older than the " + releaseText(builtWith) + " that it was built with"
             : "";
}

std::string releaseText(const OpensslRelease& release) {
  return std::to_string(release.major)
      .append(".")
      .append(std::to_string(release.minor))
      .append(".")
      .append(std::to_string(release.patch));
}

}  // namespace qx::ssf::doctor
