#include "provider/cades/time_stamp_info.h"

#include "provider/cades/certificate_ref.h"
#include "provider/chain/time_window.h"
#include "provider/store/x509_fields.h"

namespace qx {
namespace {

constexpr std::uint64_t kTicksASecond = 10'000'000;
constexpr unsigned kAuthorityTag = 0;
constexpr unsigned kExtensionsTag = 1;

HashAlgorithm readImprintHash(x509::Fields& imprint) {
  const HashInfo* hash = trustedHash(x509::readAlgorithm(imprint).oid);
  if (hash == nullptr) {
    imprint.failWith(CRYPT_E_UNKNOWN_ALGO);
    return {};
  }
  return hash->algorithm;
}

// In local time a stamp could be read as one of several moments.
FILETIME readStampTime(x509::Fields& fields) {
  const der::Element time = fields.next(der::kGeneralizedTime);
  if (time.content.empty() || time.content.back() != 'Z') {
    fields.failWith(CRYPT_E_ASN1_CORRUPT);
    return {};
  }
  return fields.value(der::readTime(time));
}

// A part of an accuracy: absent, or a number up to `most`.
std::uint64_t readPart(x509::Fields& parts, std::uint8_t identifier, std::uint64_t most) {
  std::optional<der::Element> part = parts.optional(identifier);
  if (!part) {
    return 0;
  }
  const std::uint64_t value = parts.value(der::readUnsigned(*part));
  if (value > most) {
    parts.failWith(CRYPT_E_ASN1_CORRUPT);
  }
  return value;
}

std::uint64_t readAccuracy(x509::Fields& fields) {
  constexpr std::uint64_t kMostSeconds = 0xFFFF'FFFF;
  constexpr std::uint64_t kMostParts = 999;
  if (!fields.nextIs(der::kSequence)) {
    return 0;
  }
  x509::Fields parts = fields.sequence();
  const std::uint64_t seconds = readPart(parts, der::kInteger, kMostSeconds);
  const std::uint64_t millis = readPart(parts, der::contextTag(0), kMostParts);
  const std::uint64_t micros = readPart(parts, der::contextTag(1), kMostParts);
  parts.end();
  return (seconds * kTicksASecond) + (millis * 10'000) + (micros * 10);
}

// Extensions stand under an IMPLICIT tag: in it there is no SEQUENCE of their own.
void refuseCriticalExtensions(x509::Fields& fields) {
  const std::optional<der::Element> list = fields.optional(der::contextConstructed(kExtensionsTag));
  if (!list) {
    return;
  }
  for (x509::Fields extensions = fields.inside(*list); extensions.more();) {
    x509::Fields extension = extensions.sequence();
    extension.next(der::kOid);
    const std::optional<der::Element> critical = extension.optional(der::kBoolean);
    extension.next(der::kOctetString);
    extension.end();
    if (critical && extension.value(der::readBoolean(*critical))) {
      extension.failWith(CRYPT_E_ASN1_CORRUPT);
    }
  }
}

void readImprint(x509::Fields imprint, TimeStampInfo& info) {
  info.hash = readImprintHash(imprint);
  info.imprint = imprint.next(der::kOctetString).content;
  imprint.end();
  if (!imprint.failed() && info.imprint.size() != hashInfo(info.hash).length) {
    imprint.failWith(CRYPT_E_ASN1_CORRUPT);
  }
}

void readOptionalFields(x509::Fields& fields, TimeStampInfo& info) {
  info.accuracy = readAccuracy(fields);
  fields.optional(der::kBoolean);  // ordering
  if (const auto nonce = fields.optional(der::kInteger)) {
    info.nonce = nonce->content;
  }
  fields.optional(der::contextConstructed(kAuthorityTag));
  refuseCriticalExtensions(fields);
}

}  // namespace

Result<TimeStampInfo> readTimeStampInfo(der::Bytes encoded) {
  DWORD error = ERROR_SUCCESS;
  TimeStampInfo info;
  x509::Fields fields = x509::Fields::outermost(encoded, error);
  if (fields.value(der::readUnsigned(fields.next(der::kInteger))) != 1) {
    fields.failWith(CRYPT_E_ASN1_CORRUPT);
  }
  info.policy = fields.value(der::readOid(fields.next(der::kOid)));
  readImprint(fields.sequence(), info);
  info.serial = fields.next(der::kInteger).content;
  info.time = readStampTime(fields);
  readOptionalFields(fields, info);
  fields.end();
  return error == ERROR_SUCCESS ? Result<TimeStampInfo>(info) : fail(error);
}

bool isFromTheFuture(const TimeStampInfo& info, std::time_t now) {
  const auto accuracy = static_cast<std::time_t>(info.accuracy / kTicksASecond);
  return secondsOf(info.time) > now + kClockSkew + accuracy;
}

}  // namespace qx
