#ifndef QX_PROVIDER_KEY_KEY_STORE_H_
#define QX_PROVIDER_KEY_KEY_STORE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "provider/key/key_file.h"
#include "provider/key/private_key.h"
#include "provider/result.h"
#include "provider/support/folders.h"

namespace qx {

/// What is known of a key file without opening it.
struct KeyDescription {
  std::string id;        ///< see keyId
  std::string fileName;  ///< in the location's keys folder
  bool hasPin = false;
  std::optional<KeyType> type;  ///< where the file tells: no PIN, or a PUBLIC KEY block
  unsigned bits = 0;            ///< size of the key, 0 where the file does not tell
};

/// findKey finds the file of a key. ERROR_FILE_NOT_FOUND, and what KeyFolder::find says.
Result<KeyFilePtr> findKey(Location location, const std::string& id);

/// listKeys describes all key files of a location, in byte order of their names.
Result<std::vector<KeyDescription>> listKeys(Location location);

/// addKey writes a key under its own name: encrypted under the PIN, or in the clear without one. Gives
/// the id. NTE_EXISTS when the location has this key already, ERROR_INVALID_PARAMETER for an empty PIN.
Result<std::string> addKey(Location location,
                           const PrivateKey& key,
                           std::optional<std::string_view> pin);

/// changePin writes a key file anew under another PIN, or under none. SCARD_W_WRONG_CHV when the old
/// one is wrong; a key without PIN takes any.
Result<void> changePin(Location location,
                       const std::string& id,
                       std::string_view oldPin,
                       std::optional<std::string_view> newPin);

/// removeKey removes a key's file. There is no way back.
Result<void> removeKey(Location location, const std::string& id);

}  // namespace qx

#endif
