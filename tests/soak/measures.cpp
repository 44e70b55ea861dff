#include "tests/soak/measures.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace qx::soak {
namespace {

// Of a quarter of the measures, the first being 0.
long medianOf(std::span<const Measure> measures, std::size_t quarter, long Measure::* member) {
  const std::size_t size = measures.size() / 4;
  std::vector<long> values;
  for (const Measure& measure : measures.subspan(quarter * size, size)) {
    values.push_back(measure.*member);
  }
  std::ranges::sort(values);
  return values.at(values.size() / 2);
}

std::string inWords(const char* what, long before, long after, const char* unit) {
  return std::string(what) + " grew from " + std::to_string(before) + " to " +
         std::to_string(after) + unit;
}

}  // namespace

Measure measureThisProcess() {
  std::ifstream pages("/proc/self/statm");
  long total = 0;
  long resident = 0;
  pages >> total >> resident;
  pages.close();
  const auto open = std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                  std::filesystem::directory_iterator());
  return {.residentKb = resident * (sysconf(_SC_PAGESIZE) / 1024), .descriptors = open};
}

std::string memoryGrowth(std::span<const Measure> measures) {
  const long before = medianOf(measures, 1, &Measure::residentKb);
  const long after = medianOf(measures, 3, &Measure::residentKb);
  const long leeway = std::max(kMemoryLeewayKb, before * kMemoryLeewayPercent / 100);
  return after - before > leeway ? inWords("resident memory", before, after, " KB") : std::string();
}

std::string descriptorGrowth(std::span<const Measure> measures) {
  const long before = medianOf(measures, 1, &Measure::descriptors);
  const long after = medianOf(measures, 3, &Measure::descriptors);
  return after > before ? inWords("open descriptors", before, after, "") : std::string();
}

}  // namespace qx::soak
