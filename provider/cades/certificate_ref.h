#ifndef QX_PROVIDER_CADES_CERTIFICATE_REF_H_
#define QX_PROVIDER_CADES_CERTIFICATE_REF_H_

#include <algorithm>
#include <optional>
#include <string_view>

#include "provider/der/writer.h"
#include "provider/hash/hash.h"
#include "provider/store/certificate_data.h"
#include "provider/store/x509_fields.h"

namespace qx {

/// trustedHash finds the hash algorithm with this OID; null when we do not know it or it is broken.
const HashInfo* trustedHash(std::string_view oid);

/// HashRef names an object by its hash, itself over the bytes it was read from.
struct HashRef {
  const HashInfo* hash = nullptr;  ///< of trustedHash; null: nothing matches
  der::Bytes value;

  /// Whether the object (CertificateData, CrlData, OcspData) has this hash; never so under an unknown
  /// algorithm.
  template <class Object>
  bool matches(const Object& object) const {
    return hash != nullptr && std::ranges::equal(object.hash(hash->algorithm).bytes(), value);
  }
};

/// CertificateRef names a certificate by its hash and, when it says more, by issuer and serial number:
/// ESSCertID, ESSCertIDv2 (RFC 5035, 4 and 5) and OtherCertID (RFC 5126, 6.2.1).
struct CertificateRef {
  struct IssuerSerial {
    der::Bytes issuer;  ///< GeneralNames, content octets
    der::Bytes serial;  ///< INTEGER, content octets
  };

  HashRef hash;
  std::optional<IssuerSerial> issuerSerial;

  /// Whether the certificate has this hash and, when they are named, issuer and serial number.
  bool matches(const CertificateData& certificate) const;
};

/// readOtherHash reads OtherHash (RFC 5126, 6.2.1): the value alone for SHA-1, else with its algorithm.
HashRef readOtherHash(x509::Fields& fields);

/// otherHash makes the OtherHash of something with this hash.
der::Encoding otherHash(HashAlgorithm hash, const HashValue& value);

/// readIssuerSerial reads an optional IssuerSerial.
std::optional<CertificateRef::IssuerSerial> readIssuerSerial(x509::Fields& fields);

/// issuerSerial makes the IssuerSerial of a certificate: its issuer as the one directoryName.
der::Encoding issuerSerial(const CertificateData& certificate);

}  // namespace qx

#endif
