#include "tools/lab/extension.h"

#include <openssl/conf.h>

#include "tools/lab/error.h"

namespace qx::lab {

ExtensionMaker::ExtensionMaker(X509* issuer, X509* subject, X509_CRL* crl)
    : configuration_(owned<ConfPtr>(NCONF_new(nullptr), "configuration")) {
  X509V3_set_ctx(&context_, issuer, subject, /*req=*/nullptr, crl, /*flags=*/0);
  X509V3_set_nconf(&context_, configuration_.get());
}

X509ExtensionPtr ExtensionMaker::make(const std::string& name, const std::string& value) {
  return owned<X509ExtensionPtr>(
      X509V3_EXT_nconf(configuration_.get(), &context_, name.c_str(), value.c_str()),
      ("extension " + name).c_str());
}

}  // namespace qx::lab
