#include "provider/message/enveloped_data.h"

#include <utility>

namespace qx {
namespace {

constexpr std::uint8_t kOriginatorInfoTag = der::contextConstructed(0);
constexpr std::uint8_t kUnprotectedTag = der::contextConstructed(1);
constexpr std::uint64_t kMaxEnvelopedVersion = 4;

Result<void> readHead(der::Reader& reader, EnvelopedData& data) {
  const auto version = der::readUnsigned(reader);
  if (!version) {
    return version.failure();
  }
  if (*version > kMaxEnvelopedVersion) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  data.version = static_cast<DWORD>(*version);
  const auto originator = reader.optional(kOriginatorInfoTag);
  const auto set = originator ? reader.next(der::kSet) : originator.failure();
  auto recipients = set ? readRecipients(set->content) : set.failure();
  if (!recipients) {
    return recipients.failure();
  }
  data.recipients = *std::move(recipients);
  return {};
}

Result<std::optional<der::Element>> readEncrypted(der::Reader& reader) {
  if (reader.atEnd()) {
    return std::optional<der::Element>();
  }
  const auto element = reader.next();
  if (!element) {
    return element.failure();
  }
  const bool isIt =
      element->is(kEncryptedContentTag) || element->is(kEncryptedContentTag | der::kConstructed);
  return isIt ? Result<std::optional<der::Element>>(std::optional(*element))
              : fail(CRYPT_E_ASN1_BADTAG);
}

Result<void> readContent(der::Reader& outer, EnvelopedData& data) {
  const auto sequence = outer.next(der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader reader(sequence->content);
  auto type = der::readOid(reader);
  auto algorithm = type ? der::readAlgorithm(reader) : type.failure();
  const auto encrypted = algorithm ? readEncrypted(reader) : algorithm.failure();
  if (!encrypted) {
    return encrypted.failure();
  }
  data.contentType = *std::move(type);
  data.algorithm = *std::move(algorithm);
  data.encrypted = *encrypted;
  return reader.expectEnd();
}

Result<void> readUnprotected(der::Reader& reader, EnvelopedData& data) {
  const auto found = reader.optional(kUnprotectedTag);
  if (!found) {
    return found.failure();
  }
  if (const auto& field = *found; field) {
    auto attributes = readAttributes(field->content);
    if (!attributes) {
      return attributes.failure();
    }
    data.unprotected = *std::move(attributes);
  }
  return reader.expectEnd();
}

}  // namespace

Result<EnvelopedData> readEnvelopedData(const der::Element& bare) {
  if (!bare.is(der::kSequence)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  EnvelopedData data;
  der::Reader reader(bare.content);
  for (const auto step : {readHead, readContent, readUnprotected}) {
    if (const auto done = step(reader, data); !done) {
      return done.failure();
    }
  }
  return data;
}

}  // namespace qx
