#ifndef QX_PROVIDER_CHAIN_TRUST_SOURCE_H_
#define QX_PROVIDER_CHAIN_TRUST_SOURCE_H_

#include <span>

#include "provider/chain/name_index.h"

namespace qx {

/// TrustSource is what chains are built from: whom we trust, who may stand between, and the CRLs at
/// hand. It never changes; any number of threads share one.
class TrustSource {
 public:
  /// `roots` are trusted as far as they are self-signed, and building material otherwise, as
  /// `intermediates` are.
  TrustSource(std::span<const CertificatePtr> roots,
              std::span<const CertificatePtr> intermediates,
              std::span<const CrlPtr> crls);

  /// isRoot tells whether this very certificate is one of the roots.
  bool isRoot(const CertificateData& certificate) const;

  /// The certificates with this subject, roots first.
  std::span<const CertificatePtr> withSubject(const X509_NAME* name) const {
    return certificates_.find(name);
  }

  /// The CRLs with this issuer.
  std::span<const CrlPtr> crlsOf(const X509_NAME* issuer) const { return crls_.find(issuer); }

 private:
  CertificateIndex roots_;
  CertificateIndex certificates_;
  CrlIndex crls_;
};

/// sameCertificate compares all bytes.
bool sameCertificate(const CertificateData& left, const CertificateData& right);

}  // namespace qx

#endif
