#ifndef QX_PROVIDER_CHAIN_DOTTED_H_
#define QX_PROVIDER_CHAIN_DOTTED_H_

#include <array>
#include <string>

#include <openssl/objects.h>

namespace qx {

/// dotted gives an object identifier in dotted form; empty when it is longer than anybody's.
inline std::string dotted(const ASN1_OBJECT* oid) {
  constexpr int kMaxLength = 256;
  std::array<char, kMaxLength> text{};
  const int length = OBJ_obj2txt(text.data(), kMaxLength, oid, /*no_name=*/1);
  return length > 0 && length < kMaxLength ? std::string(text.data()) : std::string();
}

}  // namespace qx

#endif
