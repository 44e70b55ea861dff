#ifndef QX_PROVIDER_SUPPORT_TWO_PASS_H_
#define QX_PROVIDER_SUPPORT_TWO_PASS_H_

#include <cstddef>
#include <cstdint>

#include "platform/errors.h"
#include "platform/types.h"

#include "provider/result.h"

namespace qx {

/// twoPass is the protocol by which callers learn a size first and get the value then: `*size` becomes
/// what is needed in any case, and what it was before counts only with a buffer. Gives where to write
/// exactly that many bytes, null when no buffer asks for the size alone. Errors: ERROR_MORE_DATA when
/// the buffer is too small; CRYPT_E_ASN1_LARGE above 2 147 483 647 bytes, `*size` then stays.
inline Result<std::uint8_t*> twoPass(void* data, DWORD* size, std::size_t needed) {
  constexpr std::size_t kMaxSize = 2'147'483'647;
  if (needed > kMaxSize) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  const DWORD capacity = *size;
  *size = static_cast<DWORD>(needed);
  if (data != nullptr && capacity < needed) {
    return fail(ERROR_MORE_DATA);
  }
  return static_cast<std::uint8_t*>(data);
}

}  // namespace qx

#endif
