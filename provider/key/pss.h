#ifndef QX_PROVIDER_KEY_PSS_H_
#define QX_PROVIDER_KEY_PSS_H_

#include <cstdint>
#include <span>

#include "provider/hash/hash.h"
#include "provider/result.h"

namespace qx {

/// RSASSA-PSS-params (RFC 4055, 3.1) with its defaults filled in.
struct PssParameters {
  HashAlgorithm hash = HashAlgorithm::Sha1;
  HashAlgorithm maskHash = HashAlgorithm::Sha1;
  int saltLength = 20;  ///< in bytes
};

/// readPssParameters reads the DER value. NTE_BAD_ALGID for what is malformed, for a mask function
/// other than MGF1, an unknown hash, a salt above 512 bytes and a trailer other than 1.
Result<PssParameters> readPssParameters(std::span<const std::uint8_t> der);

}  // namespace qx

#endif
