#include "provider/cades/ess.h"

#include <utility>

#include "provider/cades/attribute_value.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

HashRef readHash(x509::Fields& fields, bool isSecond) {
  const HashInfo* hash = &hashInfo(isSecond ? HashAlgorithm::Sha256 : HashAlgorithm::Sha1);
  if (isSecond && fields.nextIs(der::kSequence)) {
    hash = trustedHash(x509::readAlgorithm(fields).oid);
  }
  return {.hash = hash, .value = fields.next(der::kOctetString).content};
}

CertificateRef readCertId(x509::Fields fields, bool isSecond) {
  const HashRef hash = readHash(fields, isSecond);
  const auto issuerSerial = readIssuerSerial(fields);
  fields.end();
  return {.hash = hash, .issuerSerial = issuerSerial};
}

// The algorithm is left out when it is the default one, as DER wants.
der::Encoding hashAlgorithm(HashAlgorithm hash) {
  const bool isImplied = hash == HashAlgorithm::Sha1 || hash == HashAlgorithm::Sha256;
  return isImplied ? der::Encoding() : *der::algorithm(hashInfo(hash).oid, /*parameters=*/{});
}

}  // namespace

std::string_view signingCertificateType(HashAlgorithm hash) {
  return hash == HashAlgorithm::Sha1 ? oids::kSigningCertificate : oids::kSigningCertificateV2;
}

std::vector<std::uint8_t> signingCertificateValue(HashAlgorithm hash,
                                                  const CertificateData& certificate) {
  const HashValue value = certificate.hash(hash);
  der::Encoding certId = der::sequence(
      hashAlgorithm(hash), der::octetString(value.bytes()), issuerSerial(certificate));
  return der::sequence(der::wrap(der::kSequence, std::move(certId))).bytes();
}

Result<std::vector<CertificateRef>> readSigningCertificate(const Attribute& attribute) {
  const bool isSecond = attribute.oid == oids::kSigningCertificateV2;
  if (!isSecond && attribute.oid != oids::kSigningCertificate) {
    return fail(CRYPT_E_ATTRIBUTES_MISSING);
  }
  return readSole(attribute, [isSecond](x509::Fields& fields) {
    x509::Fields certIds = fields.sequence();
    if (!certIds.more()) {
      certIds.failWith(CRYPT_E_ASN1_CORRUPT);
    }
    std::vector<CertificateRef> refs = readEach(certIds, [&](const der::Element& certId) {
      return readCertId(certIds.inside(certId), isSecond);
    });
    fields.optional(der::kSequence);  // policies
    return refs;
  });
}

Result<std::vector<CertificateRef>> signerCertificateRefs(const Attributes& signedAttributes) {
  std::vector<CertificateRef> refs;
  for (const std::string_view oid : {oids::kSigningCertificate, oids::kSigningCertificateV2}) {
    const Attribute* attribute = findAttribute(signedAttributes, oid);
    if (attribute == nullptr) {
      continue;
    }
    const Result<std::vector<CertificateRef>> named = readSigningCertificate(*attribute);
    if (!named) {
      return named;
    }
    refs.push_back(named->front());
  }
  return refs.empty() ? Result<std::vector<CertificateRef>>(fail(CRYPT_E_ATTRIBUTES_MISSING))
                      : refs;
}

}  // namespace qx
