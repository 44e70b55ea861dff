#include "provider/store/folder_store.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "provider/store/folder_state.h"
#include "provider/support/fork.h"
#include "provider/support/trace.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

using SnapshotPtr = std::shared_ptr<const StoreSnapshot>;
using FolderStatePtr = std::shared_ptr<const FolderState>;

// Two snapshots put together.
struct Merged {
  SnapshotPtr user;
  SnapshotPtr machine;
  SnapshotPtr both;
};

SnapshotPtr putTogether(const StoreSnapshot& user, const StoreSnapshot& machine) {
  std::vector<StoredCertificate> certificates = user.certificates();
  certificates.insert(
      certificates.end(), machine.certificates().begin(), machine.certificates().end());
  std::vector<StoredCrl> crls = user.crls();
  crls.insert(crls.end(), machine.crls().begin(), machine.crls().end());
  return std::make_shared<const StoreSnapshot>(std::move(certificates), std::move(crls));
}

// SnapshotCache holds what the process read. The lock is held for looking up and replacing only: files
// are read, and what was replaced ends, outside of it.
class SnapshotCache {
 public:
  static SnapshotCache& instance() {
    static auto& cache = untilUnload(std::make_unique<SnapshotCache>());
    return cache;
  }

  Result<SnapshotPtr> get(const StoreName& name);
  SnapshotPtr merge(const SnapshotPtr& user, const SnapshotPtr& machine);
  void clear();

 private:
  SnapshotPtr freshOne(const StoreName& name, const Moment& now);
  FolderStatePtr lookUp(const std::string& path);
  void keep(const std::string& path, FolderStatePtr state);

  ForkSafeMutex mutex_;
  std::map<std::string, FolderStatePtr> folders_;
  std::vector<Merged> merged_;  // the last ones used: there are two such stores
};

FolderStatePtr SnapshotCache::lookUp(const std::string& path) {
  const std::scoped_lock lock(mutex_);
  const auto found = folders_.find(path);
  return found == folders_.end() ? nullptr : found->second;
}

// Of two threads that read one folder at once, the one that began later knows more.
void SnapshotCache::keep(const std::string& path, FolderStatePtr state) {
  const std::scoped_lock lock(mutex_);
  FolderStatePtr& place = folders_[path];
  if (place == nullptr || place->readAt < state->readAt) {
    place.swap(state);
  }
}

// By one system call; whatever it does not settle, opening the folder does.
SnapshotPtr SnapshotCache::freshOne(const StoreName& name, const Moment& now) {
  const Result<std::string> path = name.path();
  const Result<FileStamp> stamp = path ? stampAt(*path) : path.failure();
  const FolderStatePtr known = stamp ? lookUp(*path) : nullptr;
  return known != nullptr && known->isFresh(*stamp, now) ? known->snapshot : nullptr;
}

Result<SnapshotPtr> SnapshotCache::get(const StoreName& name) {
  const Moment now = Moment::now();
  if (SnapshotPtr fresh = freshOne(name, now); fresh != nullptr) {
    return fresh;
  }
  const Result<StoreFolder> folder = name.open();
  if (!folder) {
    return folder.failure();
  }
  const Result<FileStamp> stamp = stampOf(folder->fd.get());
  if (!stamp) {
    return stamp.failure();
  }
  const FolderStatePtr known = lookUp(folder->path);
  if (known != nullptr && known->isFresh(*stamp, now)) {
    return known->snapshot;
  }
  Result<FolderStatePtr> state = readFolder(*folder, name.location(), known.get(), now);
  if (!state) {
    return state.failure();
  }
  SnapshotPtr snapshot = (*state)->snapshot;
  keep(folder->path, *std::move(state));
  return snapshot;
}

SnapshotPtr SnapshotCache::merge(const SnapshotPtr& user, const SnapshotPtr& machine) {
  constexpr std::size_t kKept = 4;
  {
    const std::scoped_lock lock(mutex_);
    for (const Merged& merged : merged_) {
      if (merged.user == user && merged.machine == machine) {
        return merged.both;
      }
    }
  }
  Merged fresh{.user = user, .machine = machine, .both = putTogether(*user, *machine)};
  SnapshotPtr both = fresh.both;
  Merged oldest;
  const std::scoped_lock lock(mutex_);
  merged_.insert(merged_.begin(), std::move(fresh));
  if (merged_.size() > kKept) {
    oldest = std::move(merged_.back());
    merged_.pop_back();
  }
  return both;
}

void SnapshotCache::clear() {
  std::map<std::string, FolderStatePtr> folders;
  std::vector<Merged> merged;
  const std::scoped_lock lock(mutex_);
  folders_.swap(folders);
  merged_.swap(merged);
}

// A store that is included may be absent, and must not keep the including one from being read.
SnapshotPtr includedSnapshot(const StoreName& name) {
  Result<SnapshotPtr> included = SnapshotCache::instance().get(name);
  if (included) {
    return *std::move(included);
  }
  if (included.error() != ERROR_FILE_NOT_FOUND) {
    QX_TRACE("the machine's store %s is left out: %08x",
             name.name().c_str(),
             static_cast<unsigned>(included.error()));
  }
  return nullptr;
}

}  // namespace

Result<SnapshotPtr> snapshot(const StoreName& name) {
  const std::vector<StoreName> sources = name.sources();
  Result<SnapshotPtr> own = ownSnapshot(sources.front());
  if (sources.size() == 1 || (!own && own.error() != ERROR_FILE_NOT_FOUND)) {
    return own;
  }
  const SnapshotPtr included = includedSnapshot(sources.back());
  if (included == nullptr) {
    return own;
  }
  return own ? SnapshotCache::instance().merge(*own, included) : included;
}

Result<SnapshotPtr> ownSnapshot(const StoreName& name) {
  return SnapshotCache::instance().get(name);
}

Result<SnapshotPtr> snapshot(Location location, std::string_view name) {
  const Result<StoreName> checked = StoreName::make(location, std::string(name));
  return checked ? snapshot(*checked) : checked.failure();
}

void forgetSnapshots() {
  SnapshotCache::instance().clear();
}

}  // namespace qx
