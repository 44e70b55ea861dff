#ifndef QX_PROVIDER_STORE_STORE_SNAPSHOT_H_
#define QX_PROVIDER_STORE_STORE_SNAPSHOT_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"
#include "provider/support/folders.h"

namespace qx {

/// One certificate of a store, and the file that it stands in.
struct StoredCertificate {
  std::shared_ptr<const CertificateData> data;
  Location location = Location::CurrentUser;
  std::string fileName;
};

/// One CRL of a store, and the file that it stands in.
struct StoredCrl {
  std::shared_ptr<const CrlData> data;
  Location location = Location::CurrentUser;
  std::string fileName;
};

/// StoreSnapshot is what stood in a system store at one moment. It never changes and is shared by all
/// who opened the store since.
class StoreSnapshot {
 public:
  /// Puts the certificates in their order: newest NotBefore first, then by the bytes of the file
  /// names, the user's before the machine's.
  StoreSnapshot(std::vector<StoredCertificate> certificates, std::vector<StoredCrl> crls);

  const std::vector<StoredCertificate>& certificates() const { return certificates_; }

  const std::vector<StoredCrl>& crls() const { return crls_; }

  /// A number of this content: another content, of whichever store, has another one.
  std::uint64_t stamp() const { return stamp_; }

  /// The positions in certificates() of those with this thumbprint, in ascending order.
  std::vector<std::size_t> find(const Thumbprint& sha1) const;

 private:
  struct IndexEntry {
    std::uint64_t prefix;  // of the thumbprint
    std::size_t position;
  };

  std::vector<StoredCertificate> certificates_;
  std::vector<StoredCrl> crls_;
  std::vector<IndexEntry> index_;  // in ascending order
  std::uint64_t stamp_;
};

}  // namespace qx

#endif
