#include "tests/provider/message/heap.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): operator new takes no argument
std::atomic<std::size_t> held{0};
std::atomic<std::size_t> most{0};
thread_local std::size_t untilFailure = 0;  // 0: none is to come
thread_local bool failed = false;
std::size_t heldAtStart = 0;

// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

bool hasToFail() {
  if (untilFailure == 0) {
    return false;
  }
  --untilFailure;
  failed = failed || untilFailure == 0;
  return untilFailure == 0;
}

void* take(std::size_t size) {
  // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): beneath operator new.
  void* memory = hasToFail() ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  const std::size_t now = held += malloc_usable_size(memory);
  std::size_t before = most;
  while (before < now && !most.compare_exchange_weak(before, now)) {
  }
  return memory;
}

void giveBack(void* memory) noexcept {
  held -= memory == nullptr ? 0 : malloc_usable_size(memory);
  // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): beneath operator delete.
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  return take(size);
}

void* operator new[](std::size_t size) {
  return take(size);
}

void operator delete(void* memory) noexcept {
  giveBack(memory);
}

void operator delete[](void* memory) noexcept {
  giveBack(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  giveBack(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  giveBack(memory);
}

namespace qx::test {

HeapWatch::HeapWatch() {
  heldAtStart = held;
  most = held.load();
}

std::size_t HeapWatch::peak() const {
  return most - heldAtStart;
}

HeapFailure::HeapFailure(std::size_t n) {
  failed = false;
  untilFailure = n;
}

HeapFailure::~HeapFailure() {
  untilFailure = 0;
}

bool HeapFailure::hasHappened() const {
  return failed;
}

}  // namespace qx::test
