#ifndef QX_TOOLS_QXPROVIDER_FILE_PASSWORD_H_
#define QX_TOOLS_QXPROVIDER_FILE_PASSWORD_H_

#include <string>

#include "tools/common/pin.h"
#include "tools/common/report.h"
#include "tools/common/secret.h"

namespace qx::admin {

/// newFilePassword takes the password of a file that is to be written, or asks for it. Throws ToolError (Key)
/// for an empty one, naming what it `guards`: "the key".
tools::Secret newFilePassword(const tools::PinSource& source,
                              const std::string& guards,
                              tools::Report& report);

}  // namespace qx::admin

#endif
