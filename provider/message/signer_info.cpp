#include "provider/message/signer_info.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "provider/der/writer.h"
#include "provider/message/algorithm.h"
#include "provider/message/limits.h"

namespace qx {
namespace {

Result<der::Slice> readOctetSlice(const der::Element& string) {
  if (string.is(der::kOctetString)) {
    return der::Slice::borrowed(string.content);
  }
  Result<std::vector<std::uint8_t>> octets = der::readOctets(string);
  if (!octets) {
    return octets.failure();
  }
  return der::Slice::owned(*std::move(octets));
}

}  // namespace

Result<SignerInfo> SignerInfo::read(der::Slice encoded) {
  const Result<der::Element> sequence = der::readWhole(encoded.bytes(), der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  SignerInfo signer;
  signer.encoded_ = std::move(encoded);
  der::Reader reader(sequence->content);
  if (const Result<void> fields = signer.readFields(reader); !fields) {
    return fields.failure();
  }
  if (signer.signed_.size() + signer.unsigned_.size() > kMaxAttributes) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  return signer;
}

Result<void> SignerInfo::readFields(der::Reader& reader) {
  const der::Bytes all = reader.rest();
  for (const auto step : {&SignerInfo::readIdentifier,
                          &SignerInfo::readSignedAttributes,
                          &SignerInfo::readSignature}) {
    if (const Result<void> done = (this->*step)(reader); !done) {
      return done;
    }
  }
  beforeUnsigned_ = all.first(all.size() - reader.rest().size());
  if (const Result<void> done = readUnsignedAttributes(reader); !done) {
    return done;
  }
  return reader.expectEnd();
}

Result<void> SignerInfo::readIdentifier(der::Reader& reader) {
  const Result<std::uint64_t> version = der::readUnsigned(reader);
  if (!version) {
    return version.failure();
  }
  const Result<der::Element> element = reader.next();
  if (!element) {
    return element.failure();
  }
  const Result<SignerId> id = readSignerId(*element);
  if (!id) {
    return id.failure();
  }
  if (*version != (id->isKeyId() ? CMSG_SIGNER_INFO_V3 : CMSG_SIGNER_INFO_V1)) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  version_ = static_cast<DWORD>(*version);
  id_ = *id;
  Result<der::AlgorithmIdentifier> hash = readHashAlgorithm(reader);
  if (!hash) {
    return hash.failure();
  }
  hashAlgorithm_ = *std::move(hash);
  return {};
}

Result<void> SignerInfo::readSignedAttributes(der::Reader& reader) {
  const Result<std::optional<der::Element>> found = reader.optional(kSignedAttributesTag);
  if (!found) {
    return found.failure();
  }
  const std::optional<der::Element> set = *found;
  if (!set) {
    return {};
  }
  Result<Attributes> attributes = readAttributes(set->content);
  if (!attributes) {
    return attributes.failure();
  }
  if (attributes->empty() || hasRepeatedType(*attributes)) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  signedContent_ = set->content;
  signed_ = *std::move(attributes);
  return {};
}

Result<void> SignerInfo::readSignature(der::Reader& reader) {
  Result<der::AlgorithmIdentifier> algorithm = readSignatureAlgorithm(reader);
  if (!algorithm) {
    return algorithm.failure();
  }
  const Result<der::Element> string = reader.next();
  if (!string) {
    return string.failure();
  }
  Result<der::Slice> signature = readOctetSlice(*string);
  if (!signature) {
    return signature.failure();
  }
  signatureAlgorithm_ = *std::move(algorithm);
  signature_ = *std::move(signature);
  return {};
}

Result<void> SignerInfo::readUnsignedAttributes(der::Reader& reader) {
  const Result<std::optional<der::Element>> found = reader.optional(kUnsignedAttributesTag);
  if (!found) {
    return found.failure();
  }
  const std::optional<der::Element> set = *found;
  if (!set) {
    return {};
  }
  Result<Attributes> attributes = readAttributes(set->content);
  if (!attributes) {
    return attributes.failure();
  }
  unsigned_ = *std::move(attributes);
  return {};
}

der::Encoding SignerInfo::withUnsignedAttributes(const std::vector<der::Bytes>& attributes) const {
  der::Encoding content = der::Encoding::borrowed(beforeUnsigned_);
  if (!attributes.empty()) {
    der::Encoding set;
    for (const der::Bytes attribute : attributes) {
      set.append(der::Encoding::borrowed(attribute));
    }
    content.append(der::wrap(kUnsignedAttributesTag, std::move(set)));
  }
  return der::wrap(der::kSequence, std::move(content));
}

Result<SignerInfo> SignerInfo::withAdded(const std::vector<der::Bytes>& attributes) const {
  std::vector<der::Bytes> all;
  std::ranges::transform(unsigned_, std::back_inserter(all), &Attribute::whole);
  for (const der::Bytes attribute : attributes) {
    if (const Result<Attribute> good = readAttribute(attribute); !good) {
      return good.failure();
    }
    all.push_back(attribute);
  }
  return read(der::Slice::owned(withUnsignedAttributes(all).bytes()));
}

namespace {

// Both records end in the same members.
template <class Record>
void layOutCommon(const SignerInfo& signer, Record& record, OnePiece& piece) {
  record.dwVersion = signer.version();
  record.HashAlgorithm = layOutAlgorithm(signer.hashAlgorithm(), piece);
  record.HashEncryptionAlgorithm = layOutAlgorithm(signer.signatureAlgorithm(), piece);
  record.EncryptedHash = piece.blob(signer.signature());
  record.AuthAttrs = layOutAttributes(signer.signedAttributes(), piece);
  record.UnauthAttrs = layOutAttributes(signer.unsignedAttributes(), piece);
}

}  // namespace

void layOutSigner(const SignerInfo& signer, CMSG_SIGNER_INFO& record, OnePiece& piece) {
  record.Issuer = piece.blob(issuerOf(signer.id()));
  record.SerialNumber = piece.integer(serialOf(signer.id()));
  layOutCommon(signer, record, piece);
}

void layOutSigner(const SignerInfo& signer, CMSG_CMS_SIGNER_INFO& record, OnePiece& piece) {
  record.SignerId = layOutSignerId(signer.id(), piece);
  layOutCommon(signer, record, piece);
}

}  // namespace qx
