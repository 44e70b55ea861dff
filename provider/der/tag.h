#ifndef QX_PROVIDER_DER_TAG_H_
#define QX_PROVIDER_DER_TAG_H_

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace qx::der {

/// Bytes are somebody else's: whoever holds a Bytes keeps the memory behind it alive and unchanged.
using Bytes = std::span<const std::uint8_t>;

/// asKey gives bytes the order and equality of strings, for containers that need them.
inline std::string_view asKey(Bytes bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// copyTo writes the bytes to `out` and returns the place behind them. Messages are large, and of
/// std::ranges::copy g++ 12 makes, at -O2, a loop that moves one octet at a time.
inline std::uint8_t* copyTo(std::uint8_t* out, Bytes bytes) {
  if (!bytes.empty()) {
    std::memcpy(out, bytes.data(), bytes.size());
  }
  return out + bytes.size();
}

/// Identifier octets (X.690, 8.1.2) that our structures use.
inline constexpr std::uint8_t kBoolean = 0x01;
inline constexpr std::uint8_t kInteger = 0x02;
inline constexpr std::uint8_t kBitString = 0x03;
inline constexpr std::uint8_t kOctetString = 0x04;
inline constexpr std::uint8_t kNull = 0x05;
inline constexpr std::uint8_t kOid = 0x06;
inline constexpr std::uint8_t kEnumerated = 0x0A;
inline constexpr std::uint8_t kUtf8String = 0x0C;
inline constexpr std::uint8_t kPrintableString = 0x13;
inline constexpr std::uint8_t kIa5String = 0x16;
inline constexpr std::uint8_t kUtcTime = 0x17;
inline constexpr std::uint8_t kGeneralizedTime = 0x18;
inline constexpr std::uint8_t kSequence = 0x30;
inline constexpr std::uint8_t kSet = 0x31;

inline constexpr std::uint8_t kConstructed = 0x20;
inline constexpr std::uint8_t kClassMask = 0xC0;
inline constexpr std::uint8_t kContextClass = 0x80;
inline constexpr std::uint8_t kTagNumberMask = 0x1F;

/// contextTag is [n] with primitive content, contextConstructed is [n] with elements inside (n < 31).
constexpr std::uint8_t contextTag(unsigned n) {
  return static_cast<std::uint8_t>(0x80U | n);
}

constexpr std::uint8_t contextConstructed(unsigned n) {
  return static_cast<std::uint8_t>(0xA0U | n);
}

}  // namespace qx::der

#endif
