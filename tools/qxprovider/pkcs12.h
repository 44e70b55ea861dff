#ifndef QX_TOOLS_QXPROVIDER_PKCS12_H_
#define QX_TOOLS_QXPROVIDER_PKCS12_H_

#include <cstdint>
#include <vector>

#include "provider/chain/name_index.h"
#include "provider/key/private_key.h"
#include "tools/common/secret.h"

namespace qx::admin {

/// What goes into a PKCS#12 file: a key, its certificate, and the chain above that.
struct Pkcs12Parts {
  std::shared_ptr<const PrivateKey> key;
  CertificatePtr certificate;
  std::vector<CertificatePtr> chain;
};

/// packPkcs12 makes the file (RFC 7292): PBES2 with AES-256-CBC and PBKDF2 with HMAC-SHA-256 for keys
/// and certificates, a MAC with SHA-256. Throws ToolError: Key when key and certificate do not belong
/// together, Internal.
std::vector<std::uint8_t> packPkcs12(const Pkcs12Parts& parts, const tools::Secret& password);

}  // namespace qx::admin

#endif
