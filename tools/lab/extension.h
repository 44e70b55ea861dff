#ifndef QX_TOOLS_LAB_EXTENSION_H_
#define QX_TOOLS_LAB_EXTENSION_H_

#include <string>

#include <openssl/x509v3.h>

#include "provider/openssl/owned.h"

namespace qx::lab {

/// ExtensionMaker turns libcrypto's configuration syntax into extensions of one certificate or list.
class ExtensionMaker {
 public:
  /// The certificates whose keys and names the extensions may quote; `subject` or `crl` is null.
  ExtensionMaker(X509* issuer, X509* subject, X509_CRL* crl);

  X509ExtensionPtr make(const std::string& name, const std::string& value);

 private:
  // Some extensions are only made where there is a configuration, though an empty one will do.
  ConfPtr configuration_;
  X509V3_CTX context_{};
};

}  // namespace qx::lab

#endif
