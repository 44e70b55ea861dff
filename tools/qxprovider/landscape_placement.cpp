#include "tools/qxprovider/landscape_placement.h"

#include <algorithm>
#include <ranges>
#include <utility>

#include "provider/key/key_rights.h"
#include "provider/store/file_content.h"
#include "provider/store/store_files.h"
#include "tools/common/error.h"
#include "tools/qxprovider/failure.h"

namespace qx::admin {
namespace {

constexpr mode_t kPublicMode = 0644;

}  // namespace

Placement::~Placement() {
  for (const Done& done : std::views::reverse(done_)) {
    // What cannot be taken back was written by us all the same: there is nobody left to tell.
    static_cast<void>(
        done.wasThere
            ? writeFileIn(done.folder.get(), done.name.c_str(), done.before.bytes(), done.mode)
            : removeFileIn(done.folder.get(), done.name.c_str()));
  }
}

Fd Placement::openFolderOf(const LandscapePlace& place) const {
  if (place.store) {
    require(mayChange(*place.store), place.store->name());
    return require(place.store->openOrMake(), place.store->name()).fd;
  }
  const std::string path = require(rootFolder(location_), "keys") + "/keys";
  return require(openKeyFolder(location_, path), path);
}

mode_t Placement::modeOf(const LandscapePlace& place) const {
  return place.store ? kPublicMode : keyFileMode(location_);
}

bool Placement::put(const LandscapePlace& place,
                    std::span<const std::uint8_t> content,
                    IfOther ifOther) {
  const mode_t mode = modeOf(place);
  Done done{.folder = openFolderOf(place), .name = place.name, .before = {}, .mode = mode};
  Result<SecretBytes> present =
      readSecretIn(done.folder.get(), place.name.c_str(), fileLimit(FileKind::Crl));
  if (!present && present.error() != ERROR_FILE_NOT_FOUND) {
    refuse(place.name, present.error());
  }
  if (present && std::ranges::equal(present->bytes(), content)) {
    return false;
  }
  if (present && ifOther == IfOther::Refuse) {
    throw tools::ToolError(
        tools::ExitCode::Input,
        place.name + ": is there already, with another content; --replace takes its place");
  }
  done.wasThere = static_cast<bool>(present);
  if (present) {
    done.before = *std::move(present);
  }
  require(writeFileIn(done.folder.get(), place.name.c_str(), content, mode), place.name);
  done_.push_back(std::move(done));
  return true;
}

}  // namespace qx::admin
