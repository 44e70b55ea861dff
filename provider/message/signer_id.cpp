#include "provider/message/signer_id.h"

#include <algorithm>

#include "provider/der/blob.h"
#include "provider/der/writer.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

constexpr std::uint8_t kKeyIdTag = der::contextTag(0);
constexpr std::uint8_t kNoSerial[] = {0};

// What stands above the highest octet of a number in two's complement.
std::uint8_t signOf(der::Bytes number, std::size_t highest) {
  return !number.empty() && (number[highest] & 0x80U) != 0 ? 0xFF : 0;
}

// Octet by octet from the lowest on, by which two numbers differ nearly always: a whole store is walked
// over with this. Octets that only repeat the sign do not count.
bool isSameInteger(der::Bytes content, der::Bytes littleEndian) {
  const std::size_t length = std::max(content.size(), littleEndian.size());
  for (std::size_t i = 0; i < length; ++i) {
    const std::uint8_t left =
        i < content.size() ? content[content.size() - 1 - i] : signOf(content, 0);
    const std::uint8_t right =
        i < littleEndian.size() ? littleEndian[i] : signOf(littleEndian, littleEndian.size() - 1);
    if (left != right) {
      return false;
    }
  }
  return true;
}

}  // namespace

Result<SignerId> readSignerId(const der::Element& element) {
  if (element.is(kKeyIdTag)) {
    return SignerId{.whole = element.whole, .issuer = {}, .serial = {}, .keyId = element.content};
  }
  if (!element.is(der::kSequence)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  der::Reader reader(element.content);
  const Result<der::Element> issuer = reader.next(der::kSequence);
  if (!issuer) {
    return issuer.failure();
  }
  const Result<der::Element> serial = reader.next(der::kInteger);
  if (!serial) {
    return serial.failure();
  }
  if (serial->content.empty() || !reader.atEnd()) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  return SignerId{
      .whole = element.whole, .issuer = issuer->whole, .serial = serial->content, .keyId = {}};
}

Result<std::vector<std::uint8_t>> encodeIssuerAndSerial(der::Bytes issuer, der::Bytes serial) {
  if (serial.empty() || !der::readWhole(issuer, der::kSequence)) {
    return fail(E_INVALIDARG);
  }
  return der::sequence(der::Encoding::borrowed(issuer), der::integerFromLittleEndian(serial))
      .bytes();
}

Result<std::vector<std::uint8_t>> encodeSignerId(const CERT_ID& id) {
  if (id.dwIdChoice == CERT_ID_ISSUER_SERIAL_NUMBER) {
    return encodeIssuerAndSerial(bytesOf(id.IssuerSerialNumber.Issuer),
                                 bytesOf(id.IssuerSerialNumber.SerialNumber));
  }
  if (id.dwIdChoice != CERT_ID_KEY_IDENTIFIER || bytesOf(id.KeyId).empty()) {
    return fail(E_INVALIDARG);
  }
  return der::wrap(kKeyIdTag, der::Encoding::borrowed(bytesOf(id.KeyId))).bytes();
}

std::vector<std::uint8_t> issuerOf(const SignerId& id) {
  if (!id.isKeyId()) {
    return {id.issuer.begin(), id.issuer.end()};
  }
  Result<der::Encoding> type = der::oid(oids::kKeyIdRdn);
  der::Encoding attribute = der::sequence(*std::move(type), der::octetString(id.keyId));
  return der::sequence(der::wrap(der::kSet, std::move(attribute))).bytes();
}

der::Bytes serialOf(const SignerId& id) {
  return id.isKeyId() ? der::Bytes(kNoSerial) : id.serial;
}

bool namesSigner(const CERT_INFO& certificate, const SignerId& id) {
  if (!isSameInteger(serialOf(id), bytesOf(certificate.SerialNumber))) {
    return false;
  }
  const der::Bytes issuer = bytesOf(certificate.Issuer);
  return id.isKeyId() ? std::ranges::equal(issuer, issuerOf(id))
                      : std::ranges::equal(issuer, id.issuer);
}

CERT_ID layOutSignerId(const SignerId& id, OnePiece& piece) {
  CERT_ID record{};
  if (id.isKeyId()) {
    record.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
    record.KeyId = piece.blob(id.keyId);
  } else {
    record.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
    record.IssuerSerialNumber = {.Issuer = piece.blob(id.issuer),
                                 .SerialNumber = piece.integer(id.serial)};
  }
  return record;
}

}  // namespace qx
