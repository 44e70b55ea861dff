#include "provider/cades/ess.h"

#include <utility>

#include "provider/der/values.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

Result<HashRef> readHash(der::Reader& reader, bool isSecond) {
  const HashInfo* hash = &hashInfo(isSecond ? HashAlgorithm::Sha256 : HashAlgorithm::Sha1);
  if (isSecond && reader.peek() == der::kSequence) {
    const Result<der::AlgorithmIdentifier> algorithm = der::readAlgorithm(reader);
    if (!algorithm) {
      return algorithm.failure();
    }
    hash = trustedHash(algorithm->oid);
  }
  const Result<der::Element> value = reader.next(der::kOctetString);
  return value ? Result<HashRef>({.hash = hash, .value = value->content}) : value.failure();
}

Result<CertificateRef> readCertId(der::Bytes content, bool isSecond) {
  der::Reader reader(content);
  const Result<HashRef> hash = readHash(reader, isSecond);
  if (!hash) {
    return hash.failure();
  }
  const auto issuerSerial = readIssuerSerial(reader);
  if (!issuerSerial) {
    return issuerSerial.failure();
  }
  if (const Result<void> end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return CertificateRef{.hash = *hash, .issuerSerial = *issuerSerial};
}

Result<std::vector<CertificateRef>> readCertIds(der::Bytes content, bool isSecond) {
  std::vector<CertificateRef> refs;
  for (der::Reader reader(content); !reader.atEnd();) {
    const Result<der::Element> id = reader.next(der::kSequence);
    if (!id) {
      return id.failure();
    }
    const Result<CertificateRef> ref = readCertId(id->content, isSecond);
    if (!ref) {
      return ref.failure();
    }
    refs.push_back(*ref);
  }
  return refs.empty() ? Result<std::vector<CertificateRef>>(fail(CRYPT_E_ASN1_CORRUPT)) : refs;
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
  const HashValue value = hashOf(hash, certificate.der());
  der::Encoding certId = der::sequence(
      hashAlgorithm(hash), der::octetString(value.bytes()), issuerSerial(certificate));
  return der::sequence(der::wrap(der::kSequence, std::move(certId))).bytes();
}

Result<std::vector<CertificateRef>> readSigningCertificate(const Attribute& attribute) {
  const bool isSecond = attribute.oid == oids::kSigningCertificateV2;
  const bool isKnown = isSecond || attribute.oid == oids::kSigningCertificate;
  if (!isKnown || attribute.values.size() != 1) {
    return fail(CRYPT_E_ATTRIBUTES_MISSING);
  }
  const Result<der::Element> sequence = der::readWhole(attribute.values.front(), der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader fields(sequence->content);
  const Result<der::Element> certificates = fields.next(der::kSequence);
  if (!certificates) {
    return certificates.failure();
  }
  if (const auto policies = fields.optional(der::kSequence); !policies) {
    return policies.failure();
  }
  if (const Result<void> end = fields.expectEnd(); !end) {
    return end.failure();
  }
  return readCertIds(certificates->content, isSecond);
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
