#ifndef QX_PROVIDER_STORE_FOLDER_STATE_H_
#define QX_PROVIDER_STORE_FOLDER_STATE_H_

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "provider/result.h"
#include "provider/store/store_name.h"
#include "provider/store/store_snapshot.h"
#include "provider/support/files.h"

namespace qx {

/// A moment on both clocks: files are dated by the one, intervals measured by the other.
struct Moment {
  std::chrono::system_clock::time_point wall;
  std::chrono::steady_clock::time_point steady;

  static Moment now();
};

/// A stamp, and whether it was old enough when it was taken. The clocks of file systems are coarse: two
/// changes shortly after each other leave one stamp.
struct DatedStamp {
  FileStamp stamp;
  bool trusted = false;

  /// Whether `now` proves that nothing changed since this stamp was taken.
  bool stillHolds(const FileStamp& now) const { return trusted && stamp == now; }
};

/// dated makes the stamp that was taken at this moment one of those that are trusted, if it is old enough.
DatedStamp dated(const FileStamp& stamp, std::chrono::system_clock::time_point now);

/// One file of a store's folder. Neither certificate nor CRL: it could not be read.
struct FileState {
  std::string name;
  DatedStamp stamp;
  std::shared_ptr<const CertificateData> certificate;
  std::shared_ptr<const CrlData> crl;
};

/// FolderState is what was read from a store's folder. It never changes.
struct FolderState {
  DatedStamp stamp;
  std::chrono::steady_clock::time_point readAt;  ///< when the files' stamps were taken
  std::vector<FileState> files;                  ///< in byte order of their names
  std::shared_ptr<const StoreSnapshot> snapshot;

  /// Whether the folder, which has this stamp now, need not be looked into yet.
  bool isFresh(const FileStamp& folder, const Moment& now) const;
};

/// readFolder reads what a store's folder holds; `now` is not later than its beginning. Of `previous` (null: nothing is known) it takes over
/// what did not change; when nothing did, the very snapshot.
Result<std::shared_ptr<const FolderState>> readFolder(const StoreFolder& folder,
                                                      Location location,
                                                      const FolderState* previous,
                                                      const Moment& now);

}  // namespace qx

#endif
