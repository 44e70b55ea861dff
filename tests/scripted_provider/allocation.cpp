#include "tests/scripted_provider/allocation.h"

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
