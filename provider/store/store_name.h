#ifndef QX_PROVIDER_STORE_STORE_NAME_H_
#define QX_PROVIDER_STORE_STORE_NAME_H_

#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

#include "provider/result.h"
#include "provider/support/files.h"
#include "provider/support/folders.h"

namespace qx {

/// The folder of a store, open.
struct StoreFolder {
  std::string path;
  Fd fd;
};

/// StoreName names a system store: whose it is, and the name as the caller wrote it. Case does not
/// matter to names (in ASCII).
class StoreName {
 public:
  /// make checks a name in UTF-8. E_INVALIDARG when it is empty, begins with a dot, holds "/", "\", a
  /// control character or bytes that are no UTF-8, or is longer than 255 bytes.
  static Result<StoreName> make(Location location, std::string name);

  /// fromWide does the same for wide characters.
  static Result<StoreName> fromWide(Location location, LPCWSTR name);

  Location location() const { return location_; }

  const std::string& name() const { return name_; }

  /// Whether the store is the named one.
  bool is(std::string_view name) const;

  /// Whether the store holds trust: "Root" and "CA".
  bool isTrust() const { return is("Root") || is("CA"); }

  /// The stores whose contents this one shows: the user's "Root" and "CA" include the machine's.
  std::vector<StoreName> sources() const;

  /// The path of the store's folder when it is there under this very name. Errors: as rootFolder.
  Result<std::string> path() const;

  /// open opens the store's folder, also one that is there under another case. Errors:
  /// ERROR_FILE_NOT_FOUND when there is none, ERROR_PATH_NOT_FOUND without a home,
  /// ERROR_ACCESS_DENIED (a link, too).
  Result<StoreFolder> open() const;

  /// openOrMake makes the folder, and those above it, when it is not there: 0700 for the user, 0755 for
  /// the machine.
  Result<StoreFolder> openOrMake() const;

 private:
  StoreName(Location location, std::string name) : location_(location), name_(std::move(name)) {}

  Location location_;
  std::string name_;
};

/// storeNames lists the stores that have a folder, in byte order; none when there is nothing at all.
/// Errors: as StoreName::open.
Result<std::vector<std::string>> storeNames(Location location);

}  // namespace qx

#endif
