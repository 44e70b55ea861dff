#ifndef QX_PROVIDER_SUPPORT_HUGE_PAGES_H_
#define QX_PROVIDER_SUPPORT_HUGE_PAGES_H_

#include <cstddef>

namespace qx {

/// From this size on malloc maps memory of its own for each request (DEFAULT_MMAP_THRESHOLD_MAX of mallopt(3)), so
/// that advice about it ends with it.
inline constexpr std::size_t kMappedAlone = std::size_t{32} << 20;

/// fillInHugePages advises the kernel to back memory that is about to be filled with huge pages: clearing and mapping
/// 64 MB page by page takes longer than copying them. Does nothing below kMappedAlone, or where the kernel does not
/// take such advice (/sys/kernel/mm/transparent_hugepage/enabled "never"). Keeps the last error and errno.
void fillInHugePages(void* data, std::size_t size);

}  // namespace qx

#endif
