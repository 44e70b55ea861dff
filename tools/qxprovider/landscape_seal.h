#ifndef QX_TOOLS_QXPROVIDER_LANDSCAPE_SEAL_H_
#define QX_TOOLS_QXPROVIDER_LANDSCAPE_SEAL_H_

#include <cstdint>
#include <span>
#include <vector>

#include "provider/support/wipe.h"
#include "tools/common/secret.h"

namespace qx::admin {

/// seal encrypts bytes under a password: CMS AuthEnvelopedData (RFC 5083) with AES-256-GCM for a
/// PasswordRecipientInfo (RFC 3211) with PBKDF2, DER. `openssl cms -decrypt -inform DER -pwri_password`
/// opens it. Throws ToolError (Internal).
std::vector<std::uint8_t> seal(std::span<const std::uint8_t> bytes, const tools::Secret& password);

/// unseal opens what seal made; `most` is the largest content. Throws ToolError: Input for what is no
/// such file, was changed or holds too much, Key for another password.
SecretBytes unseal(std::span<const std::uint8_t> sealed,
                   const tools::Secret& password,
                   std::size_t most);

}  // namespace qx::admin

#endif
