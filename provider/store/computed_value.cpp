#include "provider/store/computed_value.h"

#include "provider/der/reader.h"
#include "provider/hash/hash.h"

namespace qx {
namespace {

using Octets = std::vector<std::uint8_t>;

Octets hashedBy(HashAlgorithm algorithm, der::Bytes bytes) {
  const HashValue hash = hashOf(algorithm, bytes);
  return {hash.bytes().begin(), hash.bytes().end()};
}

Result<Octets> signatureHash(const CertificateData& certificate) {
  const HashInfo* hash = hashByOid(certificate.info().SignatureAlgorithm.pszObjId);
  return hash == nullptr ? Result<Octets>(fail(CRYPT_E_NOT_FOUND))
                         : hashedBy(hash->algorithm, certificate.tbs());
}

Result<Octets> keyIdentifier(const CertificateData& certificate) {
  const CERT_EXTENSION* extension = certificate.extension(szOID_SUBJECT_KEY_IDENTIFIER);
  if (extension == nullptr) {
    return hashedBy(HashAlgorithm::Sha1, certificate.spki());
  }
  const Result<der::Element> octets =
      der::readWhole({extension->Value.pbData, extension->Value.cbData}, der::kOctetString);
  if (!octets) {
    return fail(ERROR_INVALID_DATA);
  }
  return Octets(octets->content.begin(), octets->content.end());
}

}  // namespace

Result<Octets> computedValue(const CertificateData& certificate, DWORD propertyId) {
  switch (propertyId) {
    case CERT_SHA1_HASH_PROP_ID:
      return Octets(certificate.sha1().begin(), certificate.sha1().end());
    case CERT_MD5_HASH_PROP_ID:
      return hashedBy(HashAlgorithm::Md5, certificate.der());
    case CERT_SHA256_HASH_PROP_ID:
      return hashedBy(HashAlgorithm::Sha256, certificate.der());
    case CERT_SIGNATURE_HASH_PROP_ID:
      return signatureHash(certificate);
    case CERT_KEY_IDENTIFIER_PROP_ID:
      return keyIdentifier(certificate);
    default:
      return fail(CRYPT_E_NOT_FOUND);
  }
}

}  // namespace qx
