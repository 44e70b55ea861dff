#include "provider/store/store_name.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "provider/store/folder_state.h"
#include "provider/support/kept_lately.h"
#include "provider/support/until_unload.h"
#include "provider/support/utf8.h"

namespace qx {
namespace {

constexpr std::size_t kMaxNameBytes = 255;

char lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isControl(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

bool isGoodName(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameBytes || name.front() == '.') {
    return false;
  }
  while (!name.empty()) {
    const Utf8Step step = nextUtf8(name);
    const char32_t character = step.character;
    if (!step.valid || isControl(character) || character == '/' || character == '\\') {
      return false;
    }
    name.remove_prefix(step.length);
  }
  return true;
}

Result<StoreFolder> openAt(std::string path) {
  Result<Fd> fd = openFolder(path);
  if (!fd) {
    return fd.failure();
  }
  return StoreFolder{.path = std::move(path), .fd = *std::move(fd)};
}

using NamesPtr = std::shared_ptr<const std::vector<std::string>>;

// StoresListings remembers which stores there are: a store that is not there is looked for each time a
// chain is judged, and then every folder might be it under another case.
class StoresListings {
 public:
  static StoresListings& instance() {
    static auto& listings = untilUnload(std::make_unique<StoresListings>());
    return listings;
  }

  // The folder's name as it is on disk, or nothing.
  std::optional<std::string> nameOnDisk(const std::string& stores, const StoreName& name) {
    const NamesPtr names = list(stores);
    if (names == nullptr) {
      return std::nullopt;
    }
    const auto found =
        std::ranges::find_if(*names, [&](const auto& other) { return name.is(other); });
    return found == names->end() ? std::nullopt : std::optional(*found);
  }

 private:
  struct Listing {
    DatedStamp stamp;
    NamesPtr names;
  };

  NamesPtr list(const std::string& stores);

  KeptLately<std::string, Listing> listings_{8};
};

NamesPtr StoresListings::list(const std::string& stores) {
  const Moment now = Moment::now();
  const Result<FileStamp> stamp = stampAt(stores);
  const std::optional<Listing> known = listings_.find(stores);
  if (stamp && known && known->stamp.stillHolds(*stamp)) {
    return known->names;
  }
  const Result<Fd> folder = stamp ? openFolder(stores) : stamp.failure();
  Result<std::vector<std::string>> names = folder ? namesIn(folder->get()) : folder.failure();
  if (!names) {
    return nullptr;
  }
  auto fresh = std::make_shared<const std::vector<std::string>>(*std::move(names));
  // Stamped before it was read: what came in between shows in the next stamp.
  listings_.keep(stores, {.stamp = dated(*stamp, now.wall), .names = fresh});
  return fresh;
}

}  // namespace

Result<StoreName> StoreName::make(Location location, std::string name) {
  if (!isGoodName(name)) {
    return fail(E_INVALIDARG);
  }
  return StoreName(location, std::move(name));
}

Result<StoreName> StoreName::fromWide(Location location, LPCWSTR name) {
  std::optional<std::string> text = toUtf8(name, kMaxNameBytes);
  return text ? make(location, *std::move(text)) : fail(E_INVALIDARG);
}

bool StoreName::is(std::string_view name) const {
  return std::ranges::equal(name_, name, {}, lowered, lowered);
}

std::vector<StoreName> StoreName::sources() const {
  std::vector<StoreName> sources{*this};
  if (location_ == Location::CurrentUser && isTrust()) {
    sources.push_back(StoreName(Location::LocalMachine, name_));
  }
  return sources;
}

Result<std::string> StoreName::path() const {
  Result<std::string> root = rootFolder(location_);
  return root ? Result<std::string>(*root + "/stores/" + name_) : root.failure();
}

Result<StoreFolder> StoreName::open() const {
  const Result<std::string> root = rootFolder(location_);
  if (!root) {
    return root.failure();
  }
  const std::string stores = *root + "/stores";
  Result<StoreFolder> exact = openAt(stores + "/" + name_);
  if (exact || exact.error() != ERROR_FILE_NOT_FOUND) {
    return exact;
  }
  const std::optional<std::string> other = StoresListings::instance().nameOnDisk(stores, *this);
  return other ? openAt(stores + "/" + *other) : exact.failure();
}

Result<StoreFolder> StoreName::openOrMake() const {
  Result<StoreFolder> present = open();
  if (present || present.error() != ERROR_FILE_NOT_FOUND) {
    return present;
  }
  const Result<std::string> root = rootFolder(location_);
  if (!root) {
    return root.failure();
  }
  std::string path = *root + "/stores/" + name_;
  Result<Fd> fd = makeFolder(path, location_ == Location::CurrentUser ? 0700 : 0755);
  if (!fd) {
    return fd.failure();
  }
  return StoreFolder{.path = std::move(path), .fd = *std::move(fd)};
}

Result<std::vector<std::string>> storeNames(Location location) {
  const Result<std::string> root = rootFolder(location);
  if (!root) {
    return root.failure();
  }
  const Result<Fd> folder = openFolder(*root + "/stores");
  if (!folder) {
    return folder.error() == ERROR_FILE_NOT_FOUND
               ? std::vector<std::string>{}
               : Result<std::vector<std::string>>(folder.failure());
  }
  Result<std::vector<std::string>> names = namesIn(folder->get());
  if (names) {
    std::erase_if(*names, [](const std::string& name) { return !isGoodName(name); });
  }
  return names;
}

}  // namespace qx
