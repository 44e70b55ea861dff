#ifndef QX_PROVIDER_CHAIN_SYSTEM_ROOTS_H_
#define QX_PROVIDER_CHAIN_SYSTEM_ROOTS_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "provider/chain/name_index.h"
#include "provider/support/files.h"
#include "provider/support/fork.h"

namespace qx {

/// Where Debian's ca-certificates puts the roots that the machine's administrator chose.
inline constexpr const char* kSystemRootFolder = "/etc/ssl/certs";
inline constexpr const char* kSystemRootFile = "ca-certificates.crt";

using CertificateListPtr = std::shared_ptr<const std::vector<CertificatePtr>>;

/// SystemRoots reads a file of PEM certificates and keeps them until the file changes. Safe from
/// several threads.
class SystemRoots {
 public:
  SystemRoots(std::string folder, std::string file)
      : folder_(std::move(folder)), file_(std::move(file)) {}

  /// The certificates as the file is now, the same list as long as it did not change. Null when the
  /// file cannot be read (a trace line says so); blocks that hold no certificate are stepped over.
  CertificateListPtr get();

 private:
  const std::string folder_;
  const std::string file_;
  ForkSafeMutex mutex_;
  std::optional<FileStamp> stamp_;
  CertificateListPtr certificates_;
};

}  // namespace qx

#endif
