#ifndef QX_TOOLS_QXPROVIDER_LAB_WRITER_H_
#define QX_TOOLS_QXPROVIDER_LAB_WRITER_H_

#include <optional>
#include <string>
#include <string_view>

#include <openssl/types.h>

namespace qx::admin {

/// LabWriter lays a lab out in a new folder: "user" (what QXPROVIDER_USER_DIR names), "machine" (an
/// empty one for QXPROVIDER_MACHINE_DIR), "pem" (everything again, as other programs read it), "pins"
/// and "environment". All of it is private to its owner. Throws ToolError.
class LabWriter {
 public:
  /// The folder must not be there, or be empty. From here on the process itself works in this lab.
  explicit LabWriter(const std::string& folder);

  /// The absolute path of the folder.
  const std::string& folder() const { return folder_; }

  /// Each writes into a store of the lab's user, and PEM copies under `name`.
  void addCertificate(const std::string& store, const X509* certificate) const;
  void addCrl(const std::string& store, const std::string& name, const X509_CRL* crl) const;

  /// addKey writes a key among the user's, with a PIN or without, and the PIN's file.
  void addKey(const std::string& name,
              const EVP_PKEY* key,
              std::optional<std::string_view> pin) const;

  /// copy writes PEM copies only.
  void copy(const std::string& name, const EVP_PKEY* key, const X509* certificate) const;

  /// write puts a file of its own into the lab.
  void write(const std::string& name, std::string_view text) const;

 private:
  std::string folder_;
};

}  // namespace qx::admin

#endif
