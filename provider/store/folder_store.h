#ifndef QX_PROVIDER_STORE_FOLDER_STORE_H_
#define QX_PROVIDER_STORE_FOLDER_STORE_H_

#include <memory>
#include <string_view>

#include "provider/result.h"
#include "provider/store/store_name.h"
#include "provider/store/store_snapshot.h"

namespace qx {

/// snapshot gives what stands in a system store now. The files are read once in a process: after that
/// the folder's stamp is looked at in each call, and the files' stamps at most every 5 s; stamps
/// younger than 2 s when they were taken are not trusted and taken again. What cannot be read is left
/// out with a trace line. A store that includes another one is there when either is. Safe from several
/// threads. Errors: ERROR_FILE_NOT_FOUND when there is no such store, ERROR_ACCESS_DENIED,
/// CRYPT_E_FILE_ERROR.
Result<std::shared_ptr<const StoreSnapshot>> snapshot(const StoreName& name);

/// ownSnapshot leaves out what the store includes of another one.
Result<std::shared_ptr<const StoreSnapshot>> ownSnapshot(const StoreName& name);

/// snapshot for a plain name; E_INVALIDARG for one that StoreName refuses.
Result<std::shared_ptr<const StoreSnapshot>> snapshot(Location location, std::string_view name);

/// forgetSnapshots drops what is cached, so that the next calls read all files anew. For tests and
/// measurements.
void forgetSnapshots();

}  // namespace qx

#endif
