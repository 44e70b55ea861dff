#ifndef QX_TESTS_SOAK_MEASURES_H_
#define QX_TESTS_SOAK_MEASURES_H_

#include <span>
#include <string>

namespace qx::soak {

/// What a process holds at a moment.
struct Measure {
  long residentKb = 0;
  long descriptors = 0;
};

/// measureThisProcess looks at the calling process; the descriptor that it reads with is counted, too.
Measure measureThisProcess();

/// Memory may be so many kilobytes and so many percent larger in the last quarter of a run.
constexpr long kMemoryLeewayKb = 4096;
constexpr long kMemoryLeewayPercent = 5;

/// memoryGrowth and descriptorGrowth say what grew after warm-up, empty when nothing did: the median of
/// the last quarter is compared with that of the second one. Memory has to pass both leeways,
/// descriptors have none. At least four measures.
std::string memoryGrowth(std::span<const Measure> measures);
std::string descriptorGrowth(std::span<const Measure> measures);

}  // namespace qx::soak

#endif
