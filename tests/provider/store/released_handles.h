#ifndef QX_TESTS_PROVIDER_STORE_RELEASED_HANDLES_H_
#define QX_TESTS_PROVIDER_STORE_RELEASED_HANDLES_H_

#include "platform/types.h"

namespace qx::test {

/// How often CryptReleaseContext was called for a handle since the program began. The program is linked
/// so that every call passes a counter; a handle that was released cannot be asked itself.
int releasesOf(HCRYPTPROV handle);

}  // namespace qx::test

#endif
