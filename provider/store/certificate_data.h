#ifndef QX_PROVIDER_STORE_CERTIFICATE_DATA_H_
#define QX_PROVIDER_STORE_CERTIFICATE_DATA_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <openssl/types.h>

#include "platform/cert.h"

#include "provider/der/tag.h"
#include "provider/hash/kept_hash.h"
#include "provider/result.h"

namespace qx {

struct ParsedCertificate;

/// SHA-1 of a whole certificate, by which certificates are named.
using Thumbprint = std::array<std::uint8_t, 20>;

/// CertificateData is one decoded certificate. It never changes, so any number of contexts, stores
/// and threads share one. Everything that it gives lives as long as it does.
class CertificateData {
 public:
  /// parse copies and decodes one DER certificate; bytes behind it are left out. The structure is
  /// checked (RFC 5280, section 4.1, definite lengths), the signature and what the names and
  /// extensions hold are not. Errors: CRYPT_E_ASN1_EOD, CRYPT_E_ASN1_BADTAG, CRYPT_E_ASN1_LARGE,
  /// CRYPT_E_ASN1_CORRUPT.
  static Result<std::shared_ptr<const CertificateData>> parse(der::Bytes der);

  ~CertificateData();
  CertificateData(const CertificateData&) = delete;
  CertificateData& operator=(const CertificateData&) = delete;
  CertificateData(CertificateData&&) = delete;
  CertificateData& operator=(CertificateData&&) = delete;

  /// The whole certificate.
  der::Bytes der() const { return der_; }

  /// The signed part: the TBSCertificate with its header.
  der::Bytes tbs() const { return tbs_; }

  /// The SubjectPublicKeyInfo with its header.
  der::Bytes spki() const { return spki_; }

  /// The octets of the subject's public key, without the count of unused bits.
  der::Bytes publicKeyBits() const;

  /// The published form; its pointers lead into this object. Integers are little-endian.
  const CERT_INFO& info() const { return info_; }

  const Thumbprint& sha1() const { return sha1_; }

  /// The hash of the whole certificate; that by one algorithm is kept.
  HashValue hash(HashAlgorithm algorithm) const { return hash_.of(algorithm, der_); }

  /// The value of the extension with this dotted OID, or nothing.
  const CERT_EXTENSION* extension(const char* oid) const;

  /// What names the certificate's key file: lower-case hex SHA-256 of publicKeyBits().
  std::string keyFileName() const;

  /// The same certificate as libcrypto sees it, decoded at the first call and kept; null when
  /// libcrypto cannot read it. The caller does not free it.
  X509* x509() const;

 private:
  explicit CertificateData(der::Bytes der);

  void fill(const ParsedCertificate& parsed);

  std::vector<std::uint8_t> der_;
  der::Bytes tbs_;
  der::Bytes spki_;
  CERT_INFO info_{};
  Thumbprint sha1_{};
  // What the published form needs beside the bytes themselves: extensions, OID texts, the reversed
  // serial number.
  std::vector<CERT_EXTENSION> extensions_;
  std::string texts_;
  std::vector<std::uint8_t> serial_;
  mutable std::atomic<X509*> x509_ = nullptr;
  KeptHash hash_;
};

}  // namespace qx

#endif
