#ifndef QX_PROVIDER_CADES_CALLER_MEMORY_H_
#define QX_PROVIDER_CADES_CALLER_MEMORY_H_

#include <cstddef>
#include <cstdlib>
#include <new>

namespace qx {

// Records that a caller gets, and gives back, in one piece each. They hold no C++ objects.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)

/// allocateForCaller gives zeroed records; null for none of them. Throws std::bad_alloc.
template <class Record>
Record* allocateForCaller(std::size_t count = 1) {
  if (count == 0) {
    return nullptr;
  }
  void* memory = std::calloc(count, sizeof(Record));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return static_cast<Record*>(memory);
}

/// releaseForCaller takes them back; null is accepted.
inline void releaseForCaller(void* memory) {
  std::free(memory);
}

// NOLINTEND(cppcoreguidelines-no-malloc)

}  // namespace qx

#endif
