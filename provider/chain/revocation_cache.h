#ifndef QX_PROVIDER_CHAIN_REVOCATION_CACHE_H_
#define QX_PROVIDER_CHAIN_REVOCATION_CACHE_H_

#include <string>

#include "provider/chain/name_index.h"
#include "provider/chain/ocsp_data.h"
#include "provider/support/folders.h"

namespace qx {

/// RevocationCache keeps what was fetched as files of a location's folder "cache": an answer under the
/// SHA-256 of the certificate that it is about, a CRL under that of its address. CRLs are read with the
/// trust stores (trustOf); answers are read here. Whoever reads one checks its signature and dates as
/// if it came from the network. What cannot be read or written is left, with a trace line.
class RevocationCache {
 public:
  /// How many files are kept; the oldest leave.
  static constexpr std::size_t kMaxFiles = 4096;

  explicit RevocationCache(Location location, std::size_t maxFiles = kMaxFiles)
      : location_(location), maxFiles_(maxFiles) {}

  /// The answer about a certificate; null when there is none.
  OcspPtr answerAbout(const CertificateData& certificate) const;

  void keep(const CertificateData& certificate, const OcspData& answer) const;
  void keep(const std::string& address, const CrlData& crl) const;

  /// forget removes the answer about a certificate.
  void forget(const CertificateData& certificate) const;

 private:
  void write(const std::string& name, der::Bytes bytes) const;

  Location location_;
  std::size_t maxFiles_;
};

}  // namespace qx

#endif
