#ifndef QX_TESTS_SUPPORT_PROVIDER_FOLDER_H_
#define QX_TESTS_SUPPORT_PROVIDER_FOLDER_H_

#include <optional>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// ProviderFolder is a private folder that the default provider takes for the current user's and the
/// local machine's ("machine" below it); it points the environment there as long as it lives, then
/// back to where it pointed before. Files are written straight to where the provider looks for them.
class ProviderFolder {
 public:
  /// Rounds of the key derivation: few, because tests are many.
  static constexpr int kRounds = 1000;

  ProviderFolder();
  ~ProviderFolder();
  ProviderFolder(const ProviderFolder&) = delete;
  ProviderFolder& operator=(const ProviderFolder&) = delete;
  ProviderFolder(ProviderFolder&&) = delete;
  ProviderFolder& operator=(ProviderFolder&&) = delete;

  const std::string& path() const { return folder_.path(); }

  /// Each of these gives the path of the file that it wrote. The file's name is the certificate's
  /// thumbprint unless one is given.
  std::string addCertificate(const std::string& store,
                             const X509* certificate,
                             const std::string& name = {}) const;
  std::string addCrl(const std::string& store, const X509_CRL* crl, const std::string& name) const;
  /// addKey writes a key under its own name; an empty PIN leaves it in the clear.
  std::string addKey(EVP_PKEY* key, const std::string& pin = {}) const;

 private:
  TempDir folder_;
  std::vector<std::optional<std::string>> before_;  ///< what the variables were
};

/// keyFileName is the hexadecimal SHA-256 of a key's public bits, with ".pem" behind it.
std::string keyFileName(EVP_PKEY* key);

}  // namespace qx::test

#endif
