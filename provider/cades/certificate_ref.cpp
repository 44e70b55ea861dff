#include "provider/cades/certificate_ref.h"

#include <algorithm>
#include <utility>

#include "provider/der/values.h"
#include "provider/message/blob.h"
#include "provider/message/signer_id.h"

namespace qx {
namespace {

constexpr std::uint8_t kDirectoryName = der::contextConstructed(4);

bool namesCertificate(const CertificateRef::IssuerSerial& named, const CERT_INFO& certificate) {
  for (der::Reader names(named.issuer); !names.atEnd();) {
    const Result<der::Element> name = names.next();
    if (!name) {
      return false;
    }
    const SignerId id{.whole = {}, .issuer = name->content, .serial = named.serial, .keyId = {}};
    if (name->is(kDirectoryName) && !id.isKeyId() && namesSigner(certificate, id)) {
      return true;
    }
  }
  return false;
}

}  // namespace

const HashInfo* trustedHash(std::string_view oid) {
  const HashInfo* hash = hashByOid(oid);
  return hash != nullptr && hash->oid == oid && hash->signs ? hash : nullptr;
}

bool HashRef::matches(der::Bytes bytes) const {
  return hash != nullptr && std::ranges::equal(hashOf(hash->algorithm, bytes).bytes(), value);
}

bool CertificateRef::matches(const CertificateData& certificate) const {
  const bool isNamed = !issuerSerial || namesCertificate(*issuerSerial, certificate.info());
  return isNamed && hash.matches(certificate.der());
}

Result<HashRef> readOtherHash(der::Reader& reader) {
  const Result<der::Element> choice = reader.next();
  if (!choice) {
    return choice.failure();
  }
  if (choice->is(der::kOctetString)) {
    return HashRef{.hash = &hashInfo(HashAlgorithm::Sha1), .value = choice->content};
  }
  if (!choice->is(der::kSequence)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  der::Reader fields(choice->content);
  const Result<der::AlgorithmIdentifier> algorithm = der::readAlgorithm(fields);
  if (!algorithm) {
    return algorithm.failure();
  }
  const Result<der::Element> value = fields.next(der::kOctetString);
  if (!value) {
    return value.failure();
  }
  if (const Result<void> end = fields.expectEnd(); !end) {
    return end.failure();
  }
  return HashRef{.hash = trustedHash(algorithm->oid), .value = value->content};
}

der::Encoding otherHash(HashAlgorithm hash, der::Bytes bytes) {
  const HashValue value = hashOf(hash, bytes);
  der::Encoding octets = der::Encoding::owned(der::octetString(value.bytes()).bytes());
  if (hash == HashAlgorithm::Sha1) {
    return octets;
  }
  return der::sequence(*der::algorithm(hashInfo(hash).oid, /*parameters=*/{}), std::move(octets));
}

Result<std::optional<CertificateRef::IssuerSerial>> readIssuerSerial(der::Reader& reader) {
  using Read = std::optional<CertificateRef::IssuerSerial>;
  const Result<std::optional<der::Element>> found = reader.optional(der::kSequence);
  if (!found) {
    return found.failure();
  }
  const std::optional<der::Element> sequence = *found;
  if (!sequence) {
    return Read{};
  }
  der::Reader fields(sequence->content);
  const Result<der::Element> issuer = fields.next(der::kSequence);
  if (!issuer) {
    return issuer.failure();
  }
  const Result<der::Element> serial = fields.next(der::kInteger);
  if (!serial) {
    return serial.failure();
  }
  if (const Result<void> end = fields.expectEnd(); !end) {
    return end.failure();
  }
  return Read({.issuer = issuer->content, .serial = serial->content});
}

der::Encoding issuerSerial(const CertificateData& certificate) {
  const CERT_INFO& info = certificate.info();
  der::Encoding name = der::wrap(kDirectoryName, der::Encoding::borrowed(bytesOf(info.Issuer)));
  return der::sequence(der::wrap(der::kSequence, std::move(name)),
                       der::integerFromLittleEndian(bytesOf(info.SerialNumber)));
}

}  // namespace qx
