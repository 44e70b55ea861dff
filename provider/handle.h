#ifndef QX_PROVIDER_HANDLE_H_
#define QX_PROVIDER_HANDLE_H_

#include <cstdint>

namespace qx {

/// The kinds of object that a caller holds by handle, each with its mark in memory.
enum class HandleTag : std::uint32_t {
  Closed = 0,
  Message = 0x4D534731,      // "MSG1"
  Store = 0x53544F31,        // "STO1"
  Certificate = 0x43525431,  // "CRT1"
  KeyContext = 0x4B455931,   // "KEY1"
  Chain = 0x43484E31,        // "CHN1"
};

/// Tagged is the non-virtual base of every object behind a handle. The tag is wiped when the object
/// dies, so that a stale or foreign handle is refused as far as memory can tell. Where a published
/// record has to stand at the handle's address, Tagged is the second base.
template <HandleTag kTag>
class Tagged {
 public:
  static constexpr HandleTag kHandleTag = kTag;

  Tagged(const Tagged&) = delete;
  Tagged& operator=(const Tagged&) = delete;
  Tagged(Tagged&&) = delete;
  Tagged& operator=(Tagged&&) = delete;

  bool isAlive() const { return tag_ == kTag; }

 protected:
  Tagged() = default;

  // The store must survive the optimiser: the memory may be looked at after the object's end.
  ~Tagged() { *static_cast<volatile HandleTag*>(&tag_) = HandleTag::Closed; }

 private:
  HandleTag tag_ = kTag;
};

/// fromHandle gives the object behind a handle, or null when the handle is NULL, of another kind or
/// closed. The API function then sets its invalid-handle error.
template <class T>
T* fromHandle(void* handle) {
  auto* object = static_cast<T*>(handle);
  return object != nullptr && object->isAlive() ? object : nullptr;
}

/// The same for handles that are integers of pointer size (HCRYPTPROV).
template <class T>
T* fromHandle(std::uintptr_t handle) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the published handle type is an integer.
  return fromHandle<T>(reinterpret_cast<void*>(handle));
}

}  // namespace qx

#endif
