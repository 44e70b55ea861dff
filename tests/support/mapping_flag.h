#ifndef QX_TESTS_SUPPORT_MAPPING_FLAG_H_
#define QX_TESTS_SUPPORT_MAPPING_FLAG_H_

#include <cstdint>
#include <fstream>
#include <ios>
#include <sstream>
#include <string>

namespace qx::test {

/// hasMappingFlag tells whether the mapping that holds an address has a flag of /proc/PID/smaps (proc(5), VmFlags):
/// "dd" for instance.
inline bool hasMappingFlag(const void* address, const std::string& flag) {
  std::ifstream maps("/proc/self/smaps");
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  bool inside = false;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    std::uintptr_t from = 0;
    std::uintptr_t to = 0;
    char dash = 0;
    if (fields >> std::hex >> from >> dash >> to && dash == '-') {
      inside = from <= wanted && wanted < to;
    } else if (inside && line.starts_with("VmFlags:")) {
      return line.find(" " + flag) != std::string::npos;
    }
  }
  return false;
}

}  // namespace qx::test

#endif
