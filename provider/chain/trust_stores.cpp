#include "provider/chain/trust_stores.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "provider/chain/system_roots.h"
#include "provider/store/folder_state.h"
#include "provider/store/folder_store.h"
#include "provider/support/config.h"
#include "provider/support/fork.h"
#include "provider/support/trace.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

using SnapshotPtr = std::shared_ptr<const StoreSnapshot>;
using FolderStatePtr = std::shared_ptr<const FolderState>;

/// What a trust source was made from. Each part is the same object as long as nothing changed in it;
/// null stands for what is not there.
struct Contents {
  SnapshotPtr root;
  SnapshotPtr ca;
  SnapshotPtr userCache;
  SnapshotPtr machineCache;
  CertificateListPtr systemRoots;

  bool operator==(const Contents&) const = default;
};

SnapshotPtr storeNow(Location location, const char* name) {
  Result<SnapshotPtr> found = snapshot(location, name);
  if (!found && found.error() != ERROR_FILE_NOT_FOUND) {
    QX_TRACE("chains are built without the store %s: %08x", name, found.error());
  }
  return found ? *found : nullptr;
}

/// CacheFolders reads the CRLs that were fetched earlier, as the stores are read.
class CacheFolders {
 public:
  SnapshotPtr get(Location location);

 private:
  FolderStatePtr known(Location location);

  ForkSafeMutex mutex_;
  std::map<Location, std::pair<std::string, FolderStatePtr>> folders_;
};

SnapshotPtr CacheFolders::get(Location location) {
  const Result<std::string> root = rootFolder(location);
  if (!root) {
    return nullptr;
  }
  const std::string path = *root + "/cache";
  const Moment now = Moment::now();
  Result<Fd> fd = openFolder(path);
  const Result<FileStamp> stamp = fd ? stampOf(fd->get()) : fd.failure();
  if (!stamp) {
    return nullptr;
  }
  std::pair<std::string, FolderStatePtr> last;
  {
    const std::scoped_lock lock(mutex_);
    last = folders_[location];
  }
  const FolderState* previous = last.first == path ? last.second.get() : nullptr;
  if (previous != nullptr && previous->isFresh(*stamp, now)) {
    return previous->snapshot;
  }
  const Result<FolderStatePtr> state =
      readFolder({.path = path, .fd = *std::move(fd)}, location, previous, now);
  if (!state) {
    QX_TRACE("chains are built without the cache in %s: %08x", path.c_str(), state.error());
    return nullptr;
  }
  const std::scoped_lock lock(mutex_);
  folders_[location] = {path, *state};
  return (*state)->snapshot;
}

void append(const SnapshotPtr& snapshot, std::vector<CertificatePtr>& certificates) {
  if (snapshot != nullptr) {
    for (const StoredCertificate& stored : snapshot->certificates()) {
      certificates.push_back(stored.data);
    }
  }
}

void append(const SnapshotPtr& snapshot, std::vector<CrlPtr>& crls) {
  if (snapshot != nullptr) {
    for (const StoredCrl& stored : snapshot->crls()) {
      crls.push_back(stored.data);
    }
  }
}

TrustSourcePtr makeSource(const Contents& contents) {
  std::vector<CertificatePtr> roots;
  std::vector<CertificatePtr> intermediates;
  std::vector<CrlPtr> crls;
  append(contents.root, roots);
  if (contents.systemRoots != nullptr) {
    roots.insert(roots.end(), contents.systemRoots->begin(), contents.systemRoots->end());
  }
  append(contents.ca, intermediates);
  for (const SnapshotPtr& part :
       {contents.root, contents.ca, contents.userCache, contents.machineCache}) {
    append(part, crls);
  }
  return std::make_shared<const TrustSource>(roots, intermediates, crls);
}

/// TrustStores keeps the last source of each location. Locks are held for looking up and replacing
/// only; nothing is read under them.
class TrustStores {
 public:
  static TrustStores& instance() {
    static auto& stores = untilUnload(std::make_unique<TrustStores>());
    return stores;
  }

  TrustSourcePtr get(Location location);

 private:
  struct Made {
    Contents contents;
    TrustSourcePtr source;
  };

  Contents read(Location location);

  CacheFolders caches_;
  SystemRoots systemRoots_{kSystemRootFolder, kSystemRootFile};
  ForkSafeMutex mutex_;
  std::map<Location, Made> made_;
};

Contents TrustStores::read(Location location) {
  Contents contents{.root = storeNow(location, "Root"),
                    .ca = storeNow(location, "CA"),
                    .machineCache = caches_.get(Location::LocalMachine)};
  if (location == Location::CurrentUser) {
    contents.userCache = caches_.get(Location::CurrentUser);
  }
  if (configuration().trust.systemRoots) {
    contents.systemRoots = systemRoots_.get();
  }
  return contents;
}

TrustSourcePtr TrustStores::get(Location location) {
  Contents contents = read(location);
  {
    const std::scoped_lock lock(mutex_);
    const Made& last = made_[location];
    if (last.source != nullptr && last.contents == contents) {
      return last.source;
    }
  }
  Made fresh{.contents = std::move(contents), .source = nullptr};
  fresh.source = makeSource(fresh.contents);
  TrustSourcePtr source = fresh.source;
  const std::scoped_lock lock(mutex_);
  std::swap(made_[location], fresh);
  return source;
}

// Plain and without destructor, so that the library can be unloaded while the thread goes on.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): what a thread's call saw
constinit thread_local OneLook* outermostLook = nullptr;

}  // namespace

TrustSourcePtr trustOf(Location location) {
  return outermostLook != nullptr ? outermostLook->of(location)
                                  : TrustStores::instance().get(location);
}

OneLook::OneLook() {
  if (outermostLook == nullptr) {
    outermostLook = this;
  }
}

OneLook::~OneLook() {
  if (outermostLook == this) {
    outermostLook = nullptr;
  }
}

TrustSourcePtr OneLook::of(Location location) {
  TrustSourcePtr& seen = seen_[location];
  if (seen == nullptr) {
    seen = TrustStores::instance().get(location);
  }
  return seen;
}

void lookAgain() {
  if (outermostLook != nullptr) {
    outermostLook->forget();
  }
}

}  // namespace qx
