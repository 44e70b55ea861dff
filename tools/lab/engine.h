#ifndef QX_TOOLS_LAB_ENGINE_H_
#define QX_TOOLS_LAB_ENGINE_H_

#include <openssl/types.h>

namespace qx::lab {

/// loadedEngine is the GOST engine, loaded once; throws when it is not installed.
ENGINE* loadedEngine();

}  // namespace qx::lab

#endif
