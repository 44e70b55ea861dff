#ifndef QX_TOOLS_QXPROVIDER_KEY_IMPORT_H_
#define QX_TOOLS_QXPROVIDER_KEY_IMPORT_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "provider/key/private_key.h"
#include "provider/store/certificate_data.h"
#include "tools/common/secret.h"

namespace qx::admin {

/// What a key file of somebody else holds.
struct ImportedKey {
  std::shared_ptr<const PrivateKey> key;
  /// PKCS#12 only: the key's own certificate (or null), and the others.
  std::shared_ptr<const CertificateData> certificate;
  std::vector<std::shared_ptr<const CertificateData>> others;
};

/// readKeyFile reads a private key: PKCS#8 in the clear or encrypted, PEM or DER, or PKCS#12.
/// `password` is asked for once, and only when the file needs one. Throws ToolError: Input for what is
/// no key, Key for a wrong password.
ImportedKey readKeyFile(const std::string& path, const std::function<tools::Secret()>& password);

}  // namespace qx::admin

#endif
