#include "provider/store/certificate_parser.h"

#include <optional>

namespace qx {
namespace {

using der::Bytes;
using der::Element;
using x509::Fields;

DWORD readVersion(Fields& fields) {
  const std::optional<Element> wrapper = fields.optional(der::contextConstructed(0));
  if (!wrapper) {
    return CERT_V1;
  }
  Fields inner = fields.inside(*wrapper);
  const std::uint64_t version = inner.value(der::readUnsigned(inner.next(der::kInteger)));
  inner.end();
  if (version > CERT_V3) {
    fields.failWith(CRYPT_E_ASN1_CORRUPT);
  }
  return static_cast<DWORD>(version);
}

// One number has one encoding, or comparing bytes would not compare numbers.
bool isMinimal(Bytes integer) {
  if (integer.size() < 2) {
    return !integer.empty();
  }
  const bool negative = (integer[1] & 0x80U) != 0;
  return integer[0] != (negative ? 0xFF : 0x00);
}

Bytes readSerialNumber(Fields& fields) {
  const Bytes serial = fields.next(der::kInteger).content;
  if (!isMinimal(serial)) {
    fields.failWith(CRYPT_E_ASN1_CORRUPT);
  }
  return serial;
}

// IssuerUniqueID and SubjectUniqueID are [n] IMPLICIT BIT STRING.
der::BitString readUniqueId(Fields& fields, unsigned tag) {
  std::optional<Element> bits = fields.optional(der::contextTag(tag));
  if (!bits) {
    return {};
  }
  bits->identifier = der::kBitString;
  return fields.value(der::readBitString(*bits));
}

void readKey(Fields& fields, ParsedCertificate& certificate) {
  const Element spki = fields.next(der::kSequence);
  certificate.spki = spki.whole;
  Fields inner = fields.inside(spki);
  certificate.keyAlgorithm = x509::readAlgorithm(inner);
  certificate.key = x509::readBits(inner);
  inner.end();
}

void readTbs(Fields fields, ParsedCertificate& certificate) {
  certificate.version = readVersion(fields);
  certificate.serial = readSerialNumber(fields);
  certificate.signatureAlgorithm = x509::readAlgorithm(fields);
  certificate.issuer = fields.next(der::kSequence).whole;
  Fields validity = fields.sequence();
  certificate.notBefore = x509::readTime(validity);
  certificate.notAfter = x509::readTime(validity);
  validity.end();
  certificate.subject = fields.next(der::kSequence).whole;
  readKey(fields, certificate);
  certificate.issuerUniqueId = readUniqueId(fields, 1);
  certificate.subjectUniqueId = readUniqueId(fields, 2);
  certificate.extensions = x509::readExtensions(fields, 3);
  fields.end();
}

}  // namespace

Result<ParsedCertificate> parseCertificate(der::Bytes certificate) {
  DWORD error = ERROR_SUCCESS;
  ParsedCertificate parsed;
  Fields fields = Fields::outermost(certificate, error);
  const Element tbs = fields.next(der::kSequence);
  parsed.tbs = tbs.whole;
  readTbs(fields.inside(tbs), parsed);
  x509::readAlgorithm(fields);
  x509::readBits(fields);
  fields.end();
  if (error != ERROR_SUCCESS) {
    return fail(error);
  }
  return parsed;
}

}  // namespace qx
