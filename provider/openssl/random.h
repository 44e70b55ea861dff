#ifndef QX_PROVIDER_OPENSSL_RANDOM_H_
#define QX_PROVIDER_OPENSSL_RANDOM_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// fillRandom writes what nobody can foretell, and may be shown (initial values); at most 256 octets. NTE_FAIL.
Result<void> fillRandom(std::span<std::uint8_t> out);

/// randomKey makes a secret of the length. NTE_FAIL.
Result<SecretBytes> randomKey(std::size_t length);

}  // namespace qx

#endif
