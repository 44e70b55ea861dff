#ifndef QX_PROVIDER_CHAIN_CRL_CHOICE_H_
#define QX_PROVIDER_CHAIN_CRL_CHOICE_H_

#include <cstddef>
#include <span>
#include <vector>

#include "provider/chain/path_search.h"
#include "provider/chain/time_window.h"
#include "provider/chain/verify.h"

namespace qx {

/// CrlChooser gives the CRLs that the verifier shall choose among. Of several with an issuer's name
/// those remain that its key signed: libcrypto takes the newest before it looks at the signature, and a
/// forged one must not hide the real one. CRLs signed over MD2, MD4 or MD5 are left out. The number of
/// signatures tried over the chooser's life is limited; what is beyond counts as forged.
class CrlChooser {
 public:
  /// `window` is narrowed by the dates of the CRLs that are looked at.
  CrlChooser(const TrustSource& trust, TimeWindow& window) : trust_(trust), window_(window) {}

  ~CrlChooser() = default;
  CrlChooser(const CrlChooser&) = delete;
  CrlChooser& operator=(const CrlChooser&) = delete;
  CrlChooser(CrlChooser&&) = delete;
  CrlChooser& operator=(CrlChooser&&) = delete;

  /// Those for the first `count` certificates of a path, from the trust source and from `extra`.
  std::vector<CrlPtr> choose(const Path& path, std::size_t count, const CrlIndex& extra);

 private:
  std::vector<CrlPtr> named(const X509_NAME* issuer, const CrlIndex& extra);
  void collect(std::span<const CrlPtr> from, std::vector<CrlPtr>& into);
  void keepSigned(std::vector<CrlPtr>& crls, const CertificateData& issuer);

  const TrustSource& trust_;
  TimeWindow& window_;
  std::size_t signatureChecks_ = 0;
};

}  // namespace qx

#endif
