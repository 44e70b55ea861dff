#include "tests/scripted_provider/allocation.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qx::scripted {
namespace {

struct AllocationState {
  bool isArmed = false;
  unsigned failAt = 0;
  AllocationFailure::Extent extent = AllocationFailure::Extent::One;
  unsigned count = 0;
  bool hasHappened = false;
  unsigned pauses = 0;
};

// Per thread, so that a library's own thread in another test program is left alone.
thread_local AllocationState state;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

struct WatchState {
  const void* block = nullptr;
  std::size_t size = 0;
  bool wasFreed = false;
  std::array<char, 256> contents{};
};

thread_local WatchState watch;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

AllocationFailure::AllocationFailure(unsigned n, Extent extent) {
  state = {.isArmed = true, .failAt = n, .extent = extent, .pauses = state.pauses};
}

AllocationFailure::~AllocationFailure() {
  state.isArmed = false;
}

unsigned AllocationFailure::count() const {
  return state.count;
}

bool AllocationFailure::hasHappened() const {
  return state.hasHappened;
}

AllocationsPause::AllocationsPause() {
  ++state.pauses;
}

AllocationsPause::~AllocationsPause() {
  --state.pauses;
}

FreeWatch::FreeWatch(const void* block, std::size_t size) {
  watch = WatchState();
  watch.block = block;
  watch.size = std::min(size, watch.contents.size());
}

FreeWatch::~FreeWatch() {
  watch.block = nullptr;
}

bool FreeWatch::wasFreed() const {
  return watch.wasFreed;
}

std::string_view FreeWatch::contents() const {
  return {watch.contents.data(), watch.size};
}

void aboutToFree(const void* block) {
  if (block != nullptr && block == watch.block) {
    std::memcpy(watch.contents.data(), block, watch.size);
    watch.wasFreed = true;
    watch.block = nullptr;
  }
}

bool allocationHasToFail() {
  if (!state.isArmed || state.pauses != 0) {
    return false;
  }
  ++state.count;
  const bool fails = state.failAt != 0 &&
                     (state.extent == AllocationFailure::Extent::One ? state.count == state.failAt
                                                                     : state.count >= state.failAt);
  state.hasHappened = state.hasHappened || fails;
  return fails;
}

}  // namespace qx::scripted
