// Linked into a test program (with -Wl,--wrap for malloc, calloc and free): sends the allocations of the code that is linked
// with it, and every operator new of the process, past AllocationFailure.
#include <cstdlib>
#include <new>

#include "tests/scripted_provider/allocation.h"

// NOLINTBEGIN(cppcoreguidelines-no-malloc,bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size) {
  return qx::scripted::allocationHasToFail() ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return qx::scripted::allocationHasToFail() ? nullptr : __real_calloc(count, size);
}

void __wrap_free(void* memory) {
  qx::scripted::aboutToFree(memory);
  __real_free(memory);
}
}

namespace {

void* allocateOrNull(std::size_t size) noexcept {
  return qx::scripted::allocationHasToFail() ? nullptr : __real_malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
  void* memory = allocateOrNull(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}

void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size);
}

void operator delete(void* memory) noexcept {
  __wrap_free(memory);
}

void operator delete[](void* memory) noexcept {
  __wrap_free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  __wrap_free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  __wrap_free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
  __wrap_free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
  __wrap_free(memory);
}

// NOLINTEND(cppcoreguidelines-no-malloc,bugprone-reserved-identifier,readability-identifier-naming)
