#ifndef QX_TESTS_SUPPORT_SYSTEM_WORLD_H_
#define QX_TESTS_SUPPORT_SYSTEM_WORLD_H_

#include <string>

#include "tests/support/provider_folder.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// A person with a key and a certificate.
struct Person {
  EvpPkeyPtr key;
  X509Ptr certificate;
  std::string thumbprint;
};

/// SystemWorld is a provider folder with one trusted authority and its revocation list.
class SystemWorld {
 public:
  explicit SystemWorld(lab::KeyKind kind = lab::KeyKind::Gost2012_256);

  /// enrol gives a person a key (with a PIN or without) and a certificate in the store My.
  Person enrol(const std::string& commonName, const std::string& pin = {}) const;
  Person enrol(const lab::CertificateOptions& options, const std::string& pin = {}) const;

  const ProviderFolder& folder() const { return folder_; }

  const lab::Authority& authority() const { return authority_; }

 private:
  ProviderFolder folder_;
  lab::KeyKind kind_;
  lab::Authority authority_;
};

}  // namespace qx::test

#endif
