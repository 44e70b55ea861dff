#include "provider/key/key_folder.h"

#include <sys/stat.h>

#include <algorithm>
#include <mutex>

#include "provider/key/unlock.h"
#include "provider/support/trace.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

constexpr std::size_t kMaxKeyFile = 65536;
constexpr std::int64_t kSettlingTime = 2'000'000'000;  // nanoseconds
constexpr std::chrono::seconds kIndexLife{5};

struct Folders {
  ForkSafeMutex mutex;
  std::map<std::string, std::shared_ptr<KeyFolder>> byPath;
};

Folders& folders() {
  static Folders& all = untilUnload(std::make_unique<Folders>());
  return all;
}

}  // namespace

std::chrono::nanoseconds KeyFolder::systemTime() {
  return std::chrono::system_clock::now().time_since_epoch();
}

Result<std::shared_ptr<KeyFolder>> KeyFolder::open(Location location) {
  const auto root = rootFolder(location);
  if (!root) {
    return root.failure();
  }
  const std::string path = *root + "/keys";
  const std::scoped_lock lock(folders().mutex);
  auto& folder = folders().byPath[path];
  if (folder == nullptr) {
    folder = std::make_shared<KeyFolder>(path, location);
  }
  return folder;
}

Result<KeyFilePtr> KeyFolder::find(const std::string& id) {
  if (const auto before = known(id); before && before->settled) {
    const auto stamp = stampAt(path_ + '/' + before->file->name());
    if (stamp && *stamp == before->stamp) {
      return before->file;
    }
  }
  const auto folder = openFolder(path_);
  if (!folder) {
    forget(id);
    return fail(ERROR_FILE_NOT_FOUND);
  }
  return search(folder->get(), id);
}

Result<std::vector<KeyFilePtr>> KeyFolder::all() {
  std::vector<KeyFilePtr> files;
  const auto folder = openFolder(path_);
  if (!folder) {
    return folder.error() == ERROR_FILE_NOT_FOUND ? Result<std::vector<KeyFilePtr>>(files)
                                                  : folder.failure();
  }
  const auto names = namesIn(folder->get());
  if (!names) {
    return names.failure();
  }
  for (const std::string& name : *names) {
    if (name.starts_with('.')) {
      continue;
    }
    if (auto file = load(folder->get(), name)) {
      files.push_back(std::move(*file));
    }
  }
  return files;
}

std::optional<KeyFolder::Known> KeyFolder::known(const std::string& id) {
  const std::scoped_lock lock(mutex_);
  const auto found = known_.find(id);
  return found != known_.end() ? std::optional<Known>(found->second) : std::nullopt;
}

void KeyFolder::forget(const std::string& id) {
  std::optional<Known> gone;
  {
    const std::scoped_lock lock(mutex_);
    if (auto node = known_.extract(id)) {
      gone = std::move(node.mapped());
    }
  }
  if (gone) {
    forgetUnlocked(*gone->file);
  }
}

Result<KeyFilePtr> KeyFolder::search(int folder, const std::string& id) {
  for (const std::string& name : {id, id + ".pem"}) {
    auto file = load(folder, name);
    if (file || file.error() != ERROR_FILE_NOT_FOUND) {
      return file;
    }
  }
  const auto name = otherName(folder, id);
  auto file = name ? load(folder, *name) : name.failure();
  if (file && (*file)->id() == id) {
    return file;
  }
  forget(id);
  return fail(ERROR_FILE_NOT_FOUND);
}

Result<KeyFilePtr> KeyFolder::load(int folder, const std::string& name) {
  const auto stamp = stampIn(folder, name.c_str());
  if (!stamp) {
    return stamp.failure();
  }
  auto text = readSecretIn(folder, name.c_str(), kMaxKeyFile);
  if (!text) {
    QX_TRACE("key file %s/%s cannot be read: %08x", path_.c_str(), name.c_str(), text.error());
    return text.failure();
  }
  auto file = KeyFile::parse(name, std::move(*text));
  if (!file) {
    QX_TRACE("%s/%s is no key file", path_.c_str(), name.c_str());
    return file.failure();
  }
  warnOfRights(name, *stamp);
  return remember({.file = std::move(*file), .stamp = *stamp, .settled = isSettled(*stamp)});
}

/// A file that is still what it was keeps its object, and with it the unlocked key.
KeyFilePtr KeyFolder::remember(Known read) {
  KeyFilePtr replaced;
  KeyFilePtr file = read.file;
  {
    const std::scoped_lock lock(mutex_);
    Known& slot = known_[file->id()];
    if (slot.file != nullptr && slot.stamp == read.stamp && slot.file->text() == file->text()) {
      slot.settled = read.settled;
      return slot.file;
    }
    replaced = std::exchange(slot, std::move(read)).file;
  }
  if (replaced != nullptr) {
    forgetUnlocked(*replaced);
  }
  return file;
}

Result<std::string> KeyFolder::otherName(int folder, const std::string& id) {
  const auto stamp = stampOf(folder);
  if (!stamp) {
    return stamp.failure();
  }
  if (auto name = knownOtherName(*stamp, id)) {
    return name->empty() ? Result<std::string>(fail(ERROR_FILE_NOT_FOUND)) : *name;
  }
  auto names = readOtherNames(folder);
  if (!names) {
    return names.failure();
  }
  const std::scoped_lock lock(mutex_);
  otherNames_ = {.folder = *stamp,
                 .settled = isSettled(*stamp),
                 .read = std::chrono::steady_clock::now(),
                 .byId = std::move(*names)};
  const auto found = otherNames_->byId.find(id);
  return found != otherNames_->byId.end() ? Result<std::string>(found->second)
                                          : fail(ERROR_FILE_NOT_FOUND);
}

/// Nothing when the index is not to be trusted; an empty name when it knows no such key.
std::optional<std::string> KeyFolder::knownOtherName(const FileStamp& stamp,
                                                     const std::string& id) {
  const std::scoped_lock lock(mutex_);
  if (!otherNames_ || !otherNames_->settled || otherNames_->folder != stamp ||
      std::chrono::steady_clock::now() - otherNames_->read > kIndexLife) {
    return std::nullopt;
  }
  const auto found = otherNames_->byId.find(id);
  return found != otherNames_->byId.end() ? found->second : std::string();
}

Result<std::map<std::string, std::string>> KeyFolder::readOtherNames(int folder) {
  std::map<std::string, std::string> byId;
  const auto names = namesIn(folder);
  if (!names) {
    return names.failure();
  }
  for (const std::string& name : *names) {
    if (name.starts_with('.') || !idFromFileName(name).empty()) {
      continue;
    }
    if (const auto file = load(folder, name)) {
      byId.emplace((*file)->id(), name);
    }
  }
  return byId;
}

/// A file that was just written may be written again without a new stamp.
bool KeyFolder::isSettled(const FileStamp& stamp) const {
  return clock_().count() - std::max(stamp.modified, stamp.changed) >= kSettlingTime;
}

void KeyFolder::warnOfRights(const std::string& name, const FileStamp& stamp) const {
  // The machine's keys are for a group, which reads them.
  const std::uint32_t forbidden =
      location_ == Location::CurrentUser ? S_IRWXG | S_IRWXO : S_IWGRP | S_IXGRP | S_IRWXO;
  if ((stamp.mode & forbidden) != 0) {
    QX_TRACE("warning: others have rights to the key file %s/%s (mode %04o)",
             path_.c_str(),
             name.c_str(),
             stamp.mode & ALLPERMS);
  }
}

}  // namespace qx
