#ifndef QX_TESTS_PROVIDER_MESSAGE_HEAP_H_
#define QX_TESTS_PROVIDER_MESSAGE_HEAP_H_

#include <cstddef>
#include <functional>

#include "platform/types.h"

namespace qx::test {

/// HeapWatch counts what operator new gives, in a program that links heap.cpp. One at a time.
class HeapWatch {
 public:
  HeapWatch();
  ~HeapWatch() = default;
  HeapWatch(const HeapWatch&) = delete;
  HeapWatch& operator=(const HeapWatch&) = delete;
  HeapWatch(HeapWatch&&) = delete;
  HeapWatch& operator=(HeapWatch&&) = delete;

  /// The most that was held at a time since this was made, above what was held then; in bytes.
  std::size_t peak() const;
};

/// HeapFailure lets the n-th operator new of this thread (from 1) since it was made throw
/// std::bad_alloc.
class HeapFailure {
 public:
  explicit HeapFailure(std::size_t n);
  ~HeapFailure();
  HeapFailure(const HeapFailure&) = delete;
  HeapFailure& operator=(const HeapFailure&) = delete;
  HeapFailure(HeapFailure&&) = delete;
  HeapFailure& operator=(HeapFailure&&) = delete;

  bool hasHappened() const;
};

/// expectEveryFailureToBeTold lets every single allocation of some work fail in turn: the work then
/// fails with E_OUTOFMEMORY, or does without, but it never ends otherwise and leaves nothing behind (the
/// sanitizers see to that). The work gives its error.
void expectEveryFailureToBeTold(const std::function<DWORD()>& work);

}  // namespace qx::test

#endif
