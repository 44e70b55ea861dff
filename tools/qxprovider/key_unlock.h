#ifndef QX_TOOLS_QXPROVIDER_KEY_UNLOCK_H_
#define QX_TOOLS_QXPROVIDER_KEY_UNLOCK_H_

#include <memory>
#include <string>

#include "provider/key/key_file.h"
#include "provider/support/folders.h"
#include "tools/common/pin.h"
#include "tools/common/report.h"

namespace qx::admin {

/// openKeyFile gives the file of a key, as key list names it; throws ToolError (Input) when the
/// location has no such key. A file that others can read is warned of.
KeyFilePtr openKeyFile(Location location, const std::string& id, tools::Report& report);

/// presentPin is the PIN that a key has: one that has none needs none, one without a source is asked
/// for at the terminal.
tools::Secret presentPin(const KeyFile& file, const tools::PinSource& given, tools::Report& report);

/// unlockKey gives a key ready for use; throws ToolError (Key) for a wrong PIN.
std::shared_ptr<const PrivateKey> unlockKey(const KeyFile& file,
                                            const tools::PinSource& given,
                                            tools::Report& report);

}  // namespace qx::admin

#endif
