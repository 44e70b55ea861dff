#ifndef QX_PROVIDER_KEY_UNLOCK_H_
#define QX_PROVIDER_KEY_UNLOCK_H_

#include <memory>
#include <string_view>

#include "provider/key/key_file.h"
#include "provider/result.h"

namespace qx {

/// unlock opens a key with a PIN, at once when the process opened this very file with this very PIN
/// before, else by the costly way. A key without PIN opens under any. Errors: as KeyFile::open, and
/// SCARD_W_WRONG_CHV for an empty PIN where one is needed.
Result<std::shared_ptr<const PrivateKey>> unlock(const KeyFile& file, std::string_view pin);

/// unlockedBefore is unlock's quick half: the key if it can be had at once, else null.
std::shared_ptr<const PrivateKey> unlockedBefore(const KeyFile& file, std::string_view pin);

/// forgetUnlocked drops what the process remembers of a file that changed or went.
void forgetUnlocked(const KeyFile& file);

}  // namespace qx

#endif
