#ifndef QX_PROVIDER_KEY_KEY_FOLDER_H_
#define QX_PROVIDER_KEY_KEY_FOLDER_H_

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "provider/key/key_file.h"
#include "provider/support/files.h"
#include "provider/support/folders.h"
#include "provider/support/fork.h"

namespace qx {

/// KeyFolder finds key files by the key's id and keeps what it read as long as the files' stamps stay:
/// a key that was found before costs one look at its file. Safe from several threads.
class KeyFolder {
 public:
  using Clock = std::chrono::nanoseconds (*)();

  static std::chrono::nanoseconds systemTime();

  /// The folder of a location ("<root>/keys"), shared by all who ask for the same path.
  static Result<std::shared_ptr<KeyFolder>> open(Location location);

  /// `clock` tells the time of the day, as the files' stamps do.
  KeyFolder(std::string path, Location location, Clock clock = systemTime)
      : path_(std::move(path)), location_(location), clock_(clock) {}

  const std::string& path() const { return path_; }

  /// find gives the file of a key. It looks for the file that has the id as its name first, then for
  /// one whose PUBLIC KEY block says so. ERROR_FILE_NOT_FOUND; NTE_BAD_KEYSET for a file with the
  /// id's name that is no key file; ERROR_ACCESS_DENIED.
  Result<KeyFilePtr> find(const std::string& id);

  /// all reads every key file, in byte order of the names; what is none is left out with a trace line.
  /// A folder that is not there has no keys.
  Result<std::vector<KeyFilePtr>> all();

 private:
  struct Known {
    KeyFilePtr file;
    FileStamp stamp;
    bool settled = false;  // the stamp was old enough when the file was read
  };

  // Which names other than an id belong to which key.
  struct OtherNames {
    FileStamp folder;
    bool settled = false;
    std::chrono::steady_clock::time_point read;
    std::map<std::string, std::string> byId;
  };

  std::optional<Known> known(const std::string& id);
  void forget(const std::string& id);
  Result<KeyFilePtr> search(int folder, const std::string& id);
  Result<KeyFilePtr> load(int folder, const std::string& name);
  KeyFilePtr remember(Known read);
  Result<std::string> otherName(int folder, const std::string& id);
  std::optional<std::string> knownOtherName(const FileStamp& stamp, const std::string& id);
  Result<std::map<std::string, std::string>> readOtherNames(int folder);
  bool isSettled(const FileStamp& stamp) const;
  void warnOfRights(const std::string& name, const FileStamp& stamp) const;

  const std::string path_;
  const Location location_;
  const Clock clock_;
  ForkSafeMutex mutex_;
  std::map<std::string, Known> known_;
  std::optional<OtherNames> otherNames_;
};

}  // namespace qx

#endif
