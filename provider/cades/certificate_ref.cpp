#include "provider/cades/certificate_ref.h"

#include <utility>

#include "provider/der/blob.h"
#include "provider/der/values.h"
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

bool CertificateRef::matches(const CertificateData& certificate) const {
  const bool isNamed = !issuerSerial || namesCertificate(*issuerSerial, certificate.info());
  return isNamed && hash.matches(certificate);
}

HashRef readOtherHash(x509::Fields& fields) {
  if (fields.nextIs(der::kOctetString)) {
    return {.hash = &hashInfo(HashAlgorithm::Sha1),
            .value = fields.next(der::kOctetString).content};
  }
  x509::Fields inside = fields.sequence();
  const HashInfo* hash = trustedHash(x509::readAlgorithm(inside).oid);
  const der::Bytes value = inside.next(der::kOctetString).content;
  inside.end();
  return {.hash = hash, .value = value};
}

der::Encoding otherHash(HashAlgorithm hash, const HashValue& value) {
  der::Encoding octets = der::Encoding::owned(der::octetString(value.bytes()).bytes());
  if (hash == HashAlgorithm::Sha1) {
    return octets;
  }
  return der::sequence(*der::algorithm(hashInfo(hash).oid, /*parameters=*/{}), std::move(octets));
}

std::optional<CertificateRef::IssuerSerial> readIssuerSerial(x509::Fields& fields) {
  const std::optional<der::Element> sequence = fields.optional(der::kSequence);
  if (!sequence) {
    return std::nullopt;
  }
  x509::Fields inside = fields.inside(*sequence);
  const der::Bytes issuer = inside.next(der::kSequence).content;
  const der::Bytes serial = inside.next(der::kInteger).content;
  inside.end();
  return CertificateRef::IssuerSerial{.issuer = issuer, .serial = serial};
}

der::Encoding issuerSerial(const CertificateData& certificate) {
  const CERT_INFO& info = certificate.info();
  der::Encoding name = der::wrap(kDirectoryName, der::Encoding::borrowed(bytesOf(info.Issuer)));
  return der::sequence(der::wrap(der::kSequence, std::move(name)),
                       der::integerFromLittleEndian(bytesOf(info.SerialNumber)));
}

}  // namespace qx
