#ifndef QX_PROVIDER_CADES_REFERENCES_H_
#define QX_PROVIDER_CADES_REFERENCES_H_

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/types.h"

#include "provider/cades/certificate_ref.h"
#include "provider/chain/verify.h"
#include "provider/message/attributes.h"

namespace qx {

/// CrlRef names a CRL: CrlValidatedID (RFC 5126, 6.2.2).
struct CrlRef {
  struct Identifier {
    der::Bytes issuer;  ///< Name, whole
    FILETIME issued{};  ///< thisUpdate of the CRL
  };

  HashRef hash;
  std::optional<Identifier> identifier;

  /// Whether the CRL has this hash and, when they are named, issuer and time.
  bool matches(const CrlData& crl) const;
};

/// OcspRef names an OCSP answer: OcspResponsesID (RFC 5126, 6.2.2). The hash is one over the
/// BasicOCSPResponse.
struct OcspRef {
  der::Bytes responder;  ///< ResponderID, whole
  FILETIME producedAt{};
  std::optional<HashRef> hash;

  /// Whether the answer has this responder, this time and, when it is named, this hash.
  bool matches(const OcspData& answer) const;
};

/// RevocationRef names what decided the status of one certificate: CrlOcspRef. Empty for a root.
struct RevocationRef {
  std::vector<CrlRef> crls;
  std::vector<OcspRef> ocsp;
};

/// encodeCertificateRefs makes complete-certificate-references (RFC 5126, 6.2.1).
std::vector<std::uint8_t> encodeCertificateRefs(HashAlgorithm hash,
                                                std::span<const CertificatePtr> certificates);

/// readCertificateRefs reads complete-certificate-references. CRYPT_E_ASN1_... for malformed values,
/// CRYPT_E_ATTRIBUTES_MISSING when there is not exactly one value.
Result<std::vector<CertificateRef>> readCertificateRefs(const Attribute& attribute);

/// encodeRevocationRefs makes complete-revocation-references (RFC 5126, 6.2.2): one reference a
/// certificate, an empty one where there is no evidence.
std::vector<std::uint8_t> encodeRevocationRefs(HashAlgorithm hash,
                                               std::span<const RevocationEvidence> evidence);

/// readRevocationRefs reads complete-revocation-references; other kinds of revocation data are left
/// out. Errors: as readCertificateRefs.
Result<std::vector<RevocationRef>> readRevocationRefs(const Attribute& attribute);

}  // namespace qx

#endif
