#include "tools/man/code_number.h"

#include <array>
#include <cstdio>

namespace qx::manual {

std::string numberOf(std::uint32_t code) {
  constexpr std::uint32_t kLargestSmall = 0xFF;
  std::array<char, sizeof("0x00000000")> digits{};
  const int length =
      std::snprintf(digits.data(), digits.size(), code > kLargestSmall ? "0x%08X" : "%u", code);
  return {digits.data(), static_cast<std::size_t>(length)};
}

}  // namespace qx::manual
