#ifndef QX_PROVIDER_OPENSSL_ENCODED_H_
#define QX_PROVIDER_OPENSSL_ENCODED_H_

#include <cstdint>
#include <vector>

#include "provider/openssl/owned.h"

namespace qx {

/// encodedBy gives what one of libcrypto's i2d functions makes of an object, which holds no secret;
/// empty when it cannot.
template <class T>
std::vector<std::uint8_t> encodedBy(int (*encode)(const T*, unsigned char**), const T* object) {
  unsigned char* bytes = nullptr;
  const int length = encode(object, &bytes);
  const OpensslBytes owner(bytes);
  return length <= 0 ? std::vector<std::uint8_t>()
                     : std::vector<std::uint8_t>(bytes, bytes + length);
}

}  // namespace qx

#endif
