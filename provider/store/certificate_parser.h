#ifndef QX_PROVIDER_STORE_CERTIFICATE_PARSER_H_
#define QX_PROVIDER_STORE_CERTIFICATE_PARSER_H_

#include <vector>

#include "platform/cert.h"

#include "provider/result.h"
#include "provider/store/x509_fields.h"

namespace qx {

/// ParsedCertificate is what a certificate says (RFC 5280, section 4.1): spans over its bytes, OIDs as
/// dotted text. Names, keys and extension values are kept as they are encoded.
struct ParsedCertificate {
  der::Bytes tbs;  ///< with its header
  DWORD version = CERT_V1;
  der::Bytes serial;  ///< content octets, big-endian
  der::AlgorithmIdentifier signatureAlgorithm;
  der::Bytes issuer;
  FILETIME notBefore{};
  FILETIME notAfter{};
  der::Bytes subject;
  der::Bytes spki;  ///< with its header
  der::AlgorithmIdentifier keyAlgorithm;
  der::BitString key;
  der::BitString issuerUniqueId;
  der::BitString subjectUniqueId;
  std::vector<x509::ParsedExtension> extensions;
};

/// parseCertificate reads one certificate that fills `certificate`. Structure, definite lengths,
/// minimal integers and times in UTC are insisted on. Errors: CRYPT_E_ASN1_EOD, CRYPT_E_ASN1_BADTAG,
/// CRYPT_E_ASN1_LARGE, CRYPT_E_ASN1_CORRUPT.
Result<ParsedCertificate> parseCertificate(der::Bytes certificate);

}  // namespace qx

#endif
