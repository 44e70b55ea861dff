#include "provider/message/recipient.h"

#include <utility>

#include "provider/message/limits.h"

namespace qx {
namespace {

constexpr std::uint8_t kAgreementTag = der::contextConstructed(1);
constexpr std::uint8_t kOriginatorTag = der::contextConstructed(0);
constexpr std::uint8_t kOriginatorKeyTag = der::contextConstructed(1);
constexpr std::uint8_t kUkmTag = der::contextConstructed(1);
constexpr std::uint8_t kKeyIdTag = der::contextConstructed(0);
constexpr std::uint8_t kFirstOtherTag = der::contextConstructed(2);
constexpr std::uint8_t kLastOtherTag = der::contextConstructed(4);

Result<Recipient> readTransport(const der::Element& element) {
  der::Reader reader(element.content);
  const auto version = der::readUnsigned(reader);
  const auto name = version ? reader.next() : version.failure();
  const auto id = name ? readSignerId(*name) : name.failure();
  auto algorithm = id ? der::readAlgorithm(reader) : id.failure();
  auto key = algorithm ? der::readOctets(reader) : algorithm.failure();
  if (!key) {
    return key.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return Recipient{.id = *id,
                   .algorithm = *std::move(algorithm),
                   .encryptedKey = *std::move(key),
                   .agreement = std::nullopt};
}

// RecipientKeyIdentifier says more than the identifier: a date, and what is to come.
Result<SignerId> readAgreementId(const der::Element& element) {
  if (!element.is(kKeyIdTag)) {
    return readSignerId(element);
  }
  der::Reader reader(element.content);
  const auto id = reader.next(der::kOctetString);
  if (!id) {
    return id.failure();
  }
  return SignerId{.whole = element.whole, .issuer = {}, .serial = {}, .keyId = id->content};
}

Result<Recipient> readAgreed(const der::Element& element,
                             const KeyAgreement& agreement,
                             const der::AlgorithmIdentifier& algorithm) {
  der::Reader reader(element.content);
  const auto name = reader.next();
  const auto id = name ? readAgreementId(*name) : name.failure();
  auto key = id ? der::readOctets(reader) : id.failure();
  if (!key) {
    return key.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return Recipient{
      .id = *id, .algorithm = algorithm, .encryptedKey = *std::move(key), .agreement = agreement};
}

Result<KeyAgreement> readAgreement(der::Reader& reader) {
  const auto originator = reader.next(kOriginatorTag);
  if (!originator) {
    return originator.failure();
  }
  der::Reader choice(originator->content);
  const auto key = choice.next();
  if (!key) {
    return key.failure();
  }
  KeyAgreement agreement;
  if (key->is(kOriginatorKeyTag)) {
    agreement.originatorKey = key->content;
  } else {
    const auto id = readSignerId(*key);
    if (!id) {
      return id.failure();
    }
    agreement.originator = *id;
  }
  const auto tagged = reader.optional(kUkmTag);
  if (!tagged) {
    return tagged.failure();
  }
  if (const auto& field = *tagged; field) {
    der::Reader inside(field->content);
    const auto ukm = inside.next();
    if (!ukm) {
      return ukm.failure();
    }
    agreement.ukm = *ukm;
  }
  return agreement;
}

Result<void> append(Result<Recipient> recipient, std::vector<Recipient>& recipients) {
  if (!recipient) {
    return recipient.failure();
  }
  if (recipients.size() == kMaxRecipients) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  recipients.push_back(*std::move(recipient));
  return {};
}

Result<void> appendAgreed(const der::Element& element, std::vector<Recipient>& recipients) {
  der::Reader reader(element.content);
  const auto version = der::readUnsigned(reader);
  const auto agreement = version ? readAgreement(reader) : version.failure();
  const auto algorithm = agreement ? der::readAlgorithm(reader) : agreement.failure();
  const auto keys = algorithm ? reader.next(der::kSequence) : algorithm.failure();
  if (!keys) {
    return keys.failure();
  }
  for (der::Reader list(keys->content); !list.atEnd();) {
    const auto key = list.next(der::kSequence);
    if (!key) {
      return key.failure();
    }
    if (auto done = append(readAgreed(*key, *agreement, *algorithm), recipients); !done) {
      return done;
    }
  }
  return reader.expectEnd();
}

Result<void> appendNext(der::Reader& reader, std::vector<Recipient>& recipients) {
  const auto element = reader.next();
  if (!element) {
    return element.failure();
  }
  if (element->is(der::kSequence)) {
    return append(readTransport(*element), recipients);
  }
  if (element->is(kAgreementTag)) {
    return appendAgreed(*element, recipients);
  }
  const bool isOther =
      element->identifier >= kFirstOtherTag && element->identifier <= kLastOtherTag;
  return isOther ? Result<void>{} : fail(CRYPT_E_ASN1_BADTAG);
}

}  // namespace

Result<std::vector<Recipient>> readRecipients(der::Bytes content) {
  std::vector<Recipient> recipients;
  for (der::Reader reader(content); !reader.atEnd();) {
    if (const auto done = appendNext(reader, recipients); !done) {
      return done.failure();
    }
  }
  return recipients;
}

}  // namespace qx
