#ifndef QX_PROVIDER_STORE_CRL_DATA_H_
#define QX_PROVIDER_STORE_CRL_DATA_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include <openssl/types.h>

#include "platform/types.h"

#include "provider/der/tag.h"
#include "provider/hash/kept_hash.h"
#include "provider/result.h"

namespace qx {

/// CrlData is one certificate revocation list. It never changes and is shared as CertificateData is.
class CrlData {
 public:
  /// parse copies one DER CRL (RFC 5280, section 5.1) and reads its head; bytes behind it are left out.
  /// The list itself and the signature are not looked at. Errors: CRYPT_E_ASN1_...
  static Result<std::shared_ptr<const CrlData>> parse(der::Bytes der);

  ~CrlData();
  CrlData(const CrlData&) = delete;
  CrlData& operator=(const CrlData&) = delete;
  CrlData(CrlData&&) = delete;
  CrlData& operator=(CrlData&&) = delete;

  /// The whole CRL.
  der::Bytes der() const { return der_; }

  /// The hash of the whole CRL; that by one algorithm is kept.
  HashValue hash(HashAlgorithm algorithm) const { return hash_.of(algorithm, der_); }

  /// The name of its issuer, a whole DER Name.
  der::Bytes issuer() const { return issuer_; }

  /// When it was made, in 100 ns since 1601.
  std::uint64_t thisUpdate() const { return thisUpdate_; }

  /// What the CRL is about: SHA-1 over its issuer and over the extensions that name the issuer's key,
  /// the scope (issuing distribution point) and the base of a delta. Of two CRLs with one subject the
  /// newer one takes the older one's place.
  const std::array<std::uint8_t, 20>& subject() const { return subject_; }

  /// The same CRL as libcrypto sees it, decoded at the first call and kept; null when libcrypto cannot
  /// read it. The caller does not free it.
  X509_CRL* crl() const;

 private:
  explicit CrlData(der::Bytes der) : der_(der.begin(), der.end()) {}

  Result<void> readHead();

  std::vector<std::uint8_t> der_;
  der::Bytes issuer_;
  std::array<std::uint8_t, 20> subject_{};
  std::uint64_t thisUpdate_ = 0;
  mutable std::atomic<X509_CRL*> crl_ = nullptr;
  KeptHash hash_;
};

}  // namespace qx

#endif
