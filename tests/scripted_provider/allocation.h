#ifndef QX_TESTS_SCRIPTED_PROVIDER_ALLOCATION_H_
#define QX_TESTS_SCRIPTED_PROVIDER_ALLOCATION_H_

// Makes malloc and operator new fail in the code under test. A program that links
// qx_allocation_hook sends its allocations here; those of the scripted provider do not count.

#include <cstddef>
#include <string_view>

namespace qx::scripted {

/// AllocationFailure lets the n-th allocation (from 1) of its lifetime fail, or the n-th and all after
/// it. n 0 only counts. One at a time, on one thread. Keep assertions out of its lifetime: they
/// allocate.
class __attribute__((visibility("default"))) AllocationFailure {
 public:
  enum class Extent { One, AllAfter };

  explicit AllocationFailure(unsigned n, Extent extent = Extent::One);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;

  /// The allocations so far, failed ones included.
  unsigned count() const;
  /// Whether the failure has happened.
  bool hasHappened() const;
};

/// AllocationsPause keeps the allocations of its lifetime out of the count.
class __attribute__((visibility("default"))) AllocationsPause {
 public:
  AllocationsPause();
  ~AllocationsPause();
  AllocationsPause(const AllocationsPause&) = delete;
  AllocationsPause& operator=(const AllocationsPause&) = delete;
};

/// FreeWatch looks at a block of memory in the moment in which it is given back.
class __attribute__((visibility("default"))) FreeWatch {
 public:
  /// At most 256 bytes of the block are kept.
  FreeWatch(const void* block, std::size_t size);
  ~FreeWatch();
  FreeWatch(const FreeWatch&) = delete;
  FreeWatch& operator=(const FreeWatch&) = delete;

  bool wasFreed() const;
  /// What stood in the block when it was freed.
  std::string_view contents() const;
};

/// For the hook: shows a block that is about to be freed to the watch.
__attribute__((visibility("default"))) void aboutToFree(const void* block);

/// For the hook: counts an allocation; true when it has to fail.
__attribute__((visibility("default"))) bool allocationHasToFail();

}  // namespace qx::scripted

#endif
