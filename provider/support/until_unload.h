#ifndef QX_PROVIDER_SUPPORT_UNTIL_UNLOAD_H_
#define QX_PROVIDER_SUPPORT_UNTIL_UNLOAD_H_

#include <memory>

namespace qx {

/// endAtUnload calls `end` with `object` when the library is unloaded and the process goes on; the last one
/// given comes first. Throws std::bad_alloc.
void endAtUnload(void* object, void (*end)(void*));

/// untilUnload keeps an object as long as the library is loaded: what would be a static object, but must not
/// be destroyed by the end of the process, where other threads may still be at work and libcrypto gone.
/// When the library is unloaded it ends, and with it the secrets that it holds. Throws std::bad_alloc.
template <class T>
T& untilUnload(std::unique_ptr<T> object) {
  endAtUnload(object.get(), [](void* kept) { delete static_cast<T*>(kept); });
  return *object.release();
}

}  // namespace qx

#endif
