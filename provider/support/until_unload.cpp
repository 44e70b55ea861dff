#include "provider/support/until_unload.h"

#include <atomic>

namespace qx {
namespace {

struct Kept {
  void* object;
  void (*end)(void*);
  Kept* earlier;
};

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): a destructor function takes no argument
constinit std::atomic<Kept*> lastKept = nullptr;
constinit std::atomic<bool> processEnds = false;

// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

/// Static objects that were made after main() had begun are destroyed before any library's destructor
/// functions when the process ends, and after this library's when it is unloaded.
struct ProcessEnd {
  ProcessEnd() = default;
  ProcessEnd(const ProcessEnd&) = delete;
  ProcessEnd& operator=(const ProcessEnd&) = delete;
  ProcessEnd(ProcessEnd&&) = delete;
  ProcessEnd& operator=(ProcessEnd&&) = delete;

  ~ProcessEnd() { processEnds = true; }
};

__attribute__((destructor)) void atUnload() {
  if (processEnds) {
    return;
  }
  while (Kept* const kept = lastKept) {
    lastKept = kept->earlier;
    kept->end(kept->object);
    delete kept;
  }
}

}  // namespace

void endAtUnload(void* object, void (*end)(void*)) {
  static const ProcessEnd notice;
  auto* const kept = new Kept{.object = object, .end = end, .earlier = lastKept};
  while (!lastKept.compare_exchange_weak(kept->earlier, kept)) {
  }
}

}  // namespace qx
