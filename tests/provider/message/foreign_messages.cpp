#include "tests/provider/message/foreign_messages.h"

#include <algorithm>
#include <utility>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "provider/hash/hash.h"
#include "tests/provider/message/signed_parts.h"

namespace qx::test {
namespace {

constexpr std::uint8_t kConstructedString = der::kOctetString | der::kConstructed;

Octets joined(const std::vector<Octets>& parts) {
  Octets all;
  for (const Octets& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

Octets definite(std::uint8_t identifier, const Octets& content) {
  return der::wrap(identifier, der::Encoding::borrowed(content)).bytes();
}

Octets indefinite(std::uint8_t identifier, const Octets& content) {
  return joined({{identifier, 0x80}, content, {0, 0}});
}

Octets segmented(der::Bytes octets, std::size_t size) {
  Octets segments;
  while (!octets.empty()) {
    const der::Bytes one = octets.first(std::min(size, octets.size()));
    segments = joined({segments, der::octetString(one).bytes()});
    octets = octets.subspan(one.size());
  }
  return indefinite(kConstructedString, segments);
}

// The content info inside, with its content in segments.
Octets streamedContent(const Octets& contentInfo, std::size_t segmentSize) {
  der::Reader fields(der::readWhole(contentInfo, der::kSequence)->content);
  const Octets type = copyOf(fields.next()->whole);
  if (fields.atEnd()) {
    return indefinite(der::kSequence, type);
  }
  const der::Element string =
      *der::readWhole(fields.next(der::contextConstructed(0))->content, der::kOctetString);
  const Octets content = segmented(string.content, segmentSize);
  return indefinite(der::kSequence,
                    joined({type, indefinite(der::contextConstructed(0), content)}));
}

Octets streamedSet(std::uint8_t tag, const std::vector<Octets>& elements) {
  return elements.empty() ? Octets{} : indefinite(tag, joined(elements));
}

Octets framed(const Octets& signedData) {
  return indefinite(der::kSequence,
                    joined({der::oid("1.2.840.113549.1.7.2")->bytes(),
                            indefinite(der::contextConstructed(0), signedData)}));
}

// Version, identifier, hash, [0] attributes if any, algorithm, signature.
Octets looseSigner(const Octets& signer) {
  der::Reader fields(der::readWhole(signer, der::kSequence)->content);
  Octets content;
  while (!fields.atEnd()) {
    const der::Element field = *fields.next();
    const Octets inside = copyOf(field.content);
    if (field.is(der::contextConstructed(0))) {
      content = joined({content, indefinite(field.identifier, inside)});
    } else if (field.is(der::kOctetString)) {
      content = joined({content, segmented(inside, (inside.size() + 1) / 2)});
    } else {
      content = joined({content, copyOf(field.whole)});
    }
  }
  return indefinite(der::kSequence, content);
}

// The first signer of a message made by `one`, his attributes turned round and signed anew.
Octets reordered(const Octets& signer, Signer& one) {
  der::Reader fields(der::readWhole(signer, der::kSequence)->content);
  Octets content;
  for (int i = 0; i < 3; ++i) {
    content = joined({content, copyOf(fields.next()->whole)});
  }
  std::vector<Octets> attributes;
  for (der::Reader set(fields.next(der::contextConstructed(0))->content); !set.atEnd();) {
    attributes.insert(attributes.begin(), copyOf(set.next()->whole));
  }
  Octets set = definite(der::kSet, joined(attributes));
  const HashAlgorithm hash = hashByOid(one.hashOid())->algorithm;
  const std::shared_ptr<const PrivateKey> key = *usableKey(one.provider());
  const Octets signature = *key->signDigest(hash, hashOf(hash, set).bytes());
  set.front() = der::contextConstructed(0);
  return definite(
      der::kSequence,
      joined({content, set, copyOf(fields.next()->whole), definite(der::kOctetString, signature)}));
}

Octets assembled(const SignedParts& parts) {
  der::Encoding data = der::sequence(
      der::Encoding::borrowed(parts.version),
      der::Encoding::owned(definite(der::kSet, joined(parts.hashAlgorithms))),
      der::Encoding::borrowed(parts.contentInfo),
      der::Encoding::owned(definite(der::contextConstructed(0), joined(parts.certificates))),
      der::Encoding::owned(definite(der::kSet, joined(parts.signers))));
  return der::sequence(*der::oid("1.2.840.113549.1.7.2"),
                       der::wrap(der::contextConstructed(0), std::move(data)))
      .bytes();
}

}  // namespace

Octets streamed(const Octets& message, std::size_t segmentSize) {
  const SignedParts parts = partsOf(message);
  return framed(indefinite(der::kSequence,
                           joined({parts.version,
                                   definite(der::kSet, joined(parts.hashAlgorithms)),
                                   streamedContent(parts.contentInfo, segmentSize),
                                   streamedSet(der::contextConstructed(0), parts.certificates),
                                   streamedSet(der::contextConstructed(1), parts.crls),
                                   definite(der::kSet, joined(parts.signers))})));
}

Octets loose(const Octets& message) {
  const SignedParts parts = partsOf(message);
  std::vector<Octets> signers;
  std::ranges::transform(parts.signers, std::back_inserter(signers), looseSigner);
  return framed(indefinite(der::kSequence,
                           joined({parts.version,
                                   indefinite(der::kSet, joined(parts.hashAlgorithms)),
                                   streamedContent(parts.contentInfo, 1),
                                   streamedSet(der::contextConstructed(0), parts.certificates),
                                   streamedSet(der::contextConstructed(1), parts.crls),
                                   indefinite(der::kSet, joined(signers))})));
}

Octets badlyOrdered(Signer& one, der::Bytes content, DWORD flags) {
  return badlyOrdered(sign({&one}, content, {.flags = flags | CMSG_AUTHENTICATED_ATTRIBUTES_FLAG}),
                      one);
}

Octets badlyOrdered(const Octets& message, Signer& one) {
  SignedParts parts = partsOf(message);
  parts.signers.front() = reordered(parts.signers.front(), one);
  return assembled(parts);
}

Octets withoutNull(Signer& one, der::Bytes content) {
  SignedParts parts = partsOf(sign({&one}, content));
  const Octets bare = der::algorithm(one.hashOid(), {})->bytes();
  const Octets signer = copyOf(der::readWhole(parts.signers.front(), der::kSequence)->content);
  const auto at = std::ranges::search(signer, parts.hashAlgorithms.front());
  parts.signers.front() = definite(
      der::kSequence, joined({{signer.begin(), at.begin()}, bare, {at.end(), signer.end()}}));
  parts.hashAlgorithms.front() = bare;
  return assembled(parts);
}

}  // namespace qx::test
