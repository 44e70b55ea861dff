#include "provider/cades/references.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "provider/cades/attribute_value.h"
#include "provider/cades/oids.h"
#include "provider/chain/time_window.h"

namespace qx {
namespace {

constexpr std::uint8_t kCrlIds = der::contextConstructed(0);
constexpr std::uint8_t kOcspIds = der::contextConstructed(1);
constexpr std::uint8_t kOtherRefs = der::contextConstructed(2);
constexpr std::uint8_t kResponderByName = der::contextConstructed(1);
constexpr std::uint8_t kResponderByKey = der::contextConstructed(2);

std::chrono::sys_seconds issuedAt(const CrlData& crl) {
  constexpr std::uint64_t kTicksASecond = 10'000'000;
  constexpr std::chrono::seconds kFrom1601To1970{11'644'473'600};
  const std::chrono::seconds since1601{crl.thisUpdate() / kTicksASecond};
  return std::chrono::sys_seconds(since1601 - kFrom1601To1970);
}

// The list of one kind of reference, of which there is one.
der::Encoding listOfOne(std::uint8_t tag, der::Encoding ref) {
  return der::wrap(tag, der::sequence(der::sequence(std::move(ref))));
}

// The time of an identifier is a UTCTime: a CRL of another time is named by its hash alone.
der::Encoding crlIdentifier(const CrlData& crl) {
  const std::vector<std::uint8_t> issued = der::time(issuedAt(crl)).bytes();
  return issued.front() != der::kUtcTime
             ? der::Encoding()
             : der::sequence(der::Encoding::borrowed(crl.issuer()), der::Encoding::owned(issued));
}

der::Encoding crlRef(HashAlgorithm hash, const CrlData& crl) {
  return der::sequence(otherHash(hash, crl.hash(hash)), crlIdentifier(crl));
}

der::Encoding ocspRef(HashAlgorithm hash, const OcspData& answer) {
  der::Encoding identifier = der::sequence(der::Encoding::borrowed(answer.responderId()),
                                           der::Encoding::borrowed(answer.producedAtDer()));
  return der::sequence(std::move(identifier), otherHash(hash, answer.hash(hash)));
}

der::Encoding revocationRef(HashAlgorithm hash, const RevocationEvidence& evidence) {
  if (evidence.crl != nullptr) {
    return der::sequence(listOfOne(kCrlIds, crlRef(hash, *evidence.crl)));
  }
  if (evidence.ocsp != nullptr) {
    return der::sequence(listOfOne(kOcspIds, ocspRef(hash, *evidence.ocsp)));
  }
  return der::sequence();
}

CertificateRef readOtherCertId(x509::Fields fields) {
  const HashRef hash = readOtherHash(fields);
  const auto issuerSerial = readIssuerSerial(fields);
  fields.end();
  return {.hash = hash, .issuerSerial = issuerSerial};
}

std::optional<CrlRef::Identifier> readCrlIdentifier(x509::Fields& fields) {
  const std::optional<der::Element> sequence = fields.optional(der::kSequence);
  if (!sequence) {
    return std::nullopt;
  }
  x509::Fields inside = fields.inside(*sequence);
  const der::Bytes issuer = inside.next(der::kSequence).whole;
  const FILETIME issued = x509::readTime(inside);
  inside.optional(der::kInteger);  // the CRL's number
  inside.end();
  return CrlRef::Identifier{.issuer = issuer, .issued = issued};
}

CrlRef readCrlRef(x509::Fields fields) {
  const HashRef hash = readOtherHash(fields);
  const auto identifier = readCrlIdentifier(fields);
  fields.end();
  return {.hash = hash, .identifier = identifier};
}

OcspRef readOcspRef(x509::Fields fields) {
  OcspRef ref;
  x509::Fields identifier = fields.sequence();
  ref.responder =
      identifier.next(identifier.nextIs(kResponderByName) ? kResponderByName : kResponderByKey)
          .whole;
  ref.producedAt = identifier.value(der::readTime(identifier.next(der::kGeneralizedTime)));
  identifier.end();
  if (fields.more()) {
    ref.hash = readOtherHash(fields);
  }
  fields.end();
  return ref;
}

// The references of one kind, if there are any.
template <class Ref>
std::vector<Ref> readList(x509::Fields& fields, std::uint8_t tag, Ref (*readRef)(x509::Fields)) {
  std::optional<x509::Fields> outer = fields.optionalSequence(tag);
  if (!outer) {
    return {};
  }
  x509::Fields list = outer->sequence();
  outer->end();
  return readEach(list, [&](const der::Element& ref) { return readRef(list.inside(ref)); });
}

RevocationRef readRevocationRef(x509::Fields fields) {
  RevocationRef ref;
  ref.crls = readList(fields, kCrlIds, readCrlRef);
  ref.ocsp = readList(fields, kOcspIds, readOcspRef);
  fields.optional(kOtherRefs);
  fields.end();
  return ref;
}

}  // namespace

bool CrlRef::matches(const CrlData& crl) const {
  const bool isNamed = !identifier || (std::ranges::equal(identifier->issuer, crl.issuer()) &&
                                       std::chrono::sys_seconds(std::chrono::seconds(
                                           secondsOf(identifier->issued))) == issuedAt(crl));
  return isNamed && hash.matches(crl);
}

bool OcspRef::matches(const OcspData& answer) const {
  return std::ranges::equal(responder, answer.responderId()) &&
         secondsOf(producedAt) == answer.producedAt() && (!hash || hash->matches(answer));
}

std::vector<std::uint8_t> encodeCertificateRefs(HashAlgorithm hash,
                                                std::span<const CertificatePtr> certificates) {
  der::Encoding refs;
  for (const CertificatePtr& certificate : certificates) {
    refs.append(
        der::sequence(otherHash(hash, certificate->hash(hash)), issuerSerial(*certificate)));
  }
  return encodeSequence(oids::kCertificateRefs, std::move(refs));
}

Result<std::vector<CertificateRef>> readCertificateRefs(const Attribute& attribute) {
  return readSole(attribute, [](x509::Fields& list) {
    return readEach(list,
                    [&](const der::Element& ref) { return readOtherCertId(list.inside(ref)); });
  });
}

std::vector<std::uint8_t> encodeRevocationRefs(HashAlgorithm hash,
                                               std::span<const RevocationEvidence> evidence) {
  der::Encoding refs;
  for (const RevocationEvidence& one : evidence) {
    refs.append(revocationRef(hash, one));
  }
  return encodeSequence(oids::kRevocationRefs, std::move(refs));
}

Result<std::vector<RevocationRef>> readRevocationRefs(const Attribute& attribute) {
  return readSole(attribute, [](x509::Fields& list) {
    return readEach(list,
                    [&](const der::Element& ref) { return readRevocationRef(list.inside(ref)); });
  });
}

}  // namespace qx
