#include "provider/support/huge_pages.h"

#include <sys/mman.h>

#include <cerrno>
#include <memory>

namespace qx {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

}  // namespace

void fillInHugePages(void* data, std::size_t size) {
  if (size < kMappedAlone || std::align(kHugePage, kHugePage, data, size) == nullptr) {
    return;
  }
  const int before = errno;
  static_cast<void>(madvise(data, size / kHugePage * kHugePage, MADV_HUGEPAGE));
  errno = before;
}

}  // namespace qx
