// A library that is loaded and unloaded, with something that it keeps meanwhile.
#include "provider/support/until_unload.h"

extern "C" __attribute__((visibility("default"))) void keepUntilUnload(void* object,
                                                                       void (*end)(void*)) {
  qx::endAtUnload(object, end);
}
