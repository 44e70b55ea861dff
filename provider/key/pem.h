#ifndef QX_PROVIDER_KEY_PEM_H_
#define QX_PROVIDER_KEY_PEM_H_

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

inline constexpr std::string_view kPublicKeyLabel = "PUBLIC KEY";
inline constexpr std::string_view kPrivateKeyLabel = "PRIVATE KEY";
inline constexpr std::string_view kEncryptedKeyLabel = "ENCRYPTED PRIVATE KEY";

/// More blocks than this are in no key file.
inline constexpr std::size_t kMaxKeyBlocks = 16;

/// One block of a PEM text (RFC 7468). `label` leads into the text that was read.
struct PemBlock {
  std::string_view label;
  SecretBytes der;
};

/// readPem reads the blocks of a text in their order; what stands between them is left out. Blocks with
/// header lines (RFC 1421) are refused, and so are more blocks than `most`. Errors: ERROR_INVALID_DATA,
/// also for a block that does not end, ends under another label, or is no base64.
Result<std::vector<PemBlock>> readPem(std::string_view text, std::size_t most = kMaxKeyBlocks);

/// appendPem puts a block behind a text and gives both as one.
SecretBytes appendPem(std::span<const std::uint8_t> text,
                      std::string_view label,
                      std::span<const std::uint8_t> der);

}  // namespace qx

#endif
