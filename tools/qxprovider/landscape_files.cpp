#include "tools/qxprovider/landscape_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "provider/store/file_content.h"
#include "provider/support/files.h"
#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxprovider/failure.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;

// The longest key file that the provider reads, and the longest file of settings.
constexpr std::size_t kMaxKey = 65'536;
constexpr std::size_t kMaxConfiguration = 1U << 20U;

std::size_t limitOf(const std::string& name) {
  const std::optional<FileKind> kind = fileKindOf(name);
  return kind ? fileLimit(*kind) : kMaxKey;
}

// Adds the files of one folder whose names `counts` takes.
void addFolder(std::vector<LandscapeFile>& files,
               int folder,
               const std::string& path,
               const std::function<bool(const std::string&)>& counts,
               tools::Report& report) {
  for (const std::string& name : require(namesIn(folder), path)) {
    if (!counts(name)) {
      continue;
    }
    std::string whole = path;
    whole.append("/").append(name);
    const FileStamp stamp = require(stampIn(folder, name.c_str()), whole);
    if (!S_ISREG(stamp.mode)) {
      report.warn(whole + ": is no file and is left out");
      continue;
    }
    files.push_back({.path = whole,
                     .content = require(readSecretIn(folder, name.c_str(), limitOf(name)), whole)});
  }
}

bool isStoreFile(const std::string& name) {
  return fileKindOf(name).has_value();
}

bool isKeyFile(const std::string& name) {
  return !name.starts_with('.');
}

void addStores(std::vector<LandscapeFile>& files, Location location, tools::Report& report) {
  for (const std::string& name : require(storeNames(location), "stores")) {
    const StoreFolder folder = require(require(StoreName::make(location, name), name).open(), name);
    addFolder(files, folder.fd.get(), "stores/" + name, isStoreFile, report);
  }
}

void addKeys(std::vector<LandscapeFile>& files, Location location, tools::Report& report) {
  Result<Fd> folder = openFolder(require(rootFolder(location), "keys") + "/keys");
  if (!folder && folder.error() == ERROR_FILE_NOT_FOUND) {
    return;
  }
  const Fd opened = require(std::move(folder), "keys");
  addFolder(files, opened.get(), "keys", isKeyFile, report);
}

[[noreturn]] void refusePath(const std::string& path) {
  throw ToolError(ExitCode::Input, path + ": such a file is in no landscape");
}

// A name that stays in its folder and steers no terminal.
bool isPlainName(std::string_view name) {
  constexpr std::size_t kMaxName = 255;
  return !name.empty() && name.size() <= kMaxName && name.front() != '.' &&
         std::ranges::none_of(name, [](char c) {
           return c == '/' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
         });
}

}  // namespace

std::vector<LandscapeFile> collectFiles(Location location,
                                        const std::string& configuration,
                                        tools::Report& report) {
  std::vector<LandscapeFile> files;
  addStores(files, location, report);
  addKeys(files, location, report);
  if (!configuration.empty()) {
    const tools::Input input(configuration);
    if (input.bytes().size() > kMaxConfiguration) {
      throw ToolError(ExitCode::Input, configuration + ": is too long for a file of settings");
    }
    files.push_back({.path = kConfigurationName, .content = SecretBytes(input.bytes())});
  }
  return files;
}

LandscapePlace placeOf(Location location, const std::string& path) {
  constexpr std::string_view kStores = "stores/";
  constexpr std::string_view kKeys = "keys/";
  if (path == kConfigurationName) {
    return {.store = std::nullopt, .name = path};
  }
  if (path.starts_with(kKeys) && path != std::string(kKeys) + kConfigurationName &&
      isPlainName(std::string_view(path).substr(kKeys.size()))) {
    return {.store = std::nullopt, .name = path.substr(kKeys.size())};
  }
  const std::size_t slash = path.find('/', kStores.size());
  if (!path.starts_with(kStores) || slash == std::string::npos) {
    refusePath(path);
  }
  const std::string name = path.substr(slash + 1);
  Result<StoreName> store =
      StoreName::make(location, path.substr(kStores.size(), slash - kStores.size()));
  if (!store || !isPlainName(name) || !isStoreFile(name)) {
    refusePath(path);
  }
  return {.store = *std::move(store), .name = name};
}

}  // namespace qx::admin
