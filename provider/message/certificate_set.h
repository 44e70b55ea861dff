#ifndef QX_PROVIDER_MESSAGE_CERTIFICATE_SET_H_
#define QX_PROVIDER_MESSAGE_CERTIFICATE_SET_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "provider/der/reader.h"
#include "provider/der/slice.h"
#include "provider/der/writer.h"
#include "provider/result.h"

namespace qx {

/// CertificateSet is the certificates or the CRLs of a signed message, each as it was encoded, in their
/// order. Other forms that stand between them (attribute certificates, OCSP answers) stay where they
/// are and are not counted.
class CertificateSet {
 public:
  enum class Kind : std::uint8_t { Certificates, Crls };

  explicit CertificateSet(Kind kind) : kind_(kind) {}

  /// read takes the content of the [0] or [1] of a message. CRYPT_E_ASN1_... for what is not a
  /// certificate (a CRL), CRYPT_E_ASN1_LARGE above kMaxCertificates.
  Result<void> read(der::Bytes content);

  /// add puts one more behind the others; one that is there already is not added again.
  Result<void> add(der::Slice encoded);

  /// remove takes one out; CRYPT_E_INVALID_INDEX.
  Result<void> remove(std::size_t index);

  std::size_t size() const { return plain_.size(); }

  /// Whether other forms stand between them.
  bool hasOtherForms() const { return plain_.size() != elements_.size(); }

  /// The encoded certificate; CRYPT_E_INVALID_INDEX.
  Result<der::Bytes> at(std::size_t index) const;

  /// Whether two different certificates have one issuer and serial number: looked up by these, either
  /// could be meant. Never so for CRLs.
  bool isAmbiguous() const;

  /// Whether one more certificate would have the issuer and serial number of another one here.
  bool isAmbiguousWith(der::Bytes encoded) const;

  /// The whole field under its tag; nothing when the set is empty.
  der::Encoding encode() const;

 private:
  Result<void> check(der::Bytes encoded) const;

  Kind kind_;
  std::vector<der::Slice> elements_;  // all of them
  std::vector<std::size_t> plain_;    // which of them are certificates (CRLs)
};

}  // namespace qx

#endif
