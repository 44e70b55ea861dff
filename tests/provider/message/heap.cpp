#include "tests/provider/message/heap.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

#include <gtest/gtest.h>

#include "platform/errors.h"

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

void expectEveryFailureToBeTold(const std::function<DWORD()>& work) {
  ASSERT_EQ(work(), ERROR_SUCCESS);
  std::size_t failures = 0;
  for (std::size_t n = 1;; ++n) {
    DWORD error = ERROR_SUCCESS;
    bool happened = false;
    {
      const HeapFailure failure(n);
      error = work();
      happened = failure.hasHappened();
    }
    if (!happened) {
      EXPECT_EQ(error, ERROR_SUCCESS);
      break;
    }
    ++failures;
    EXPECT_EQ(error, E_OUTOFMEMORY) << "allocation " << n;
  }
  EXPECT_GT(failures, 3U);
}

}  // namespace qx::test
