#include "provider/message/signed_data.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "provider/message/algorithm.h"
#include "provider/message/limits.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

constexpr std::uint8_t kCertificatesTag = der::contextConstructed(0);
constexpr std::uint8_t kCrlsTag = der::contextConstructed(1);
constexpr std::uint64_t kMaxSignedVersion = 5;

der::Slice copyOf(der::Bytes bytes) {
  return der::Slice::owned({bytes.begin(), bytes.end()});
}

bool namesCertificate(const SignerInfo& signer) {
  return findAttribute(signer.signedAttributes(), oids::kSigningCertificate) != nullptr ||
         findAttribute(signer.signedAttributes(), oids::kSigningCertificateV2) != nullptr;
}

bool haveDistinctIds(const std::vector<SignerInfo>& signers) {
  std::set<std::string_view> seen;
  return std::ranges::all_of(signers, [&seen](const SignerInfo& signer) {
    return seen.insert(der::asKey(signer.id().whole)).second;
  });
}

}  // namespace

Result<SignedData> SignedData::read(der::Bytes encoded) {
  const Result<der::Element> sequence = der::readWhole(encoded, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  SignedData data;
  data.whole_ = encoded;
  der::Reader reader(sequence->content);
  for (const auto step : {&SignedData::readHead, &SignedData::readSets}) {
    if (const Result<void> done = (data.*step)(reader); !done) {
      return done.failure();
    }
  }
  if (const Result<void> good = data.check(); !good) {
    return good.failure();
  }
  return data;
}

Result<void> SignedData::readHead(der::Reader& reader) {
  const Result<der::Element> number = reader.next(der::kInteger);
  if (!number) {
    return number.failure();
  }
  const Result<std::uint64_t> version = der::readUnsigned(*number);
  if (!version) {
    return version.failure();
  }
  const Result<der::Element> algorithms = reader.next(der::kSet);
  if (!algorithms) {
    return algorithms.failure();
  }
  for (der::Reader set(algorithms->content); !set.atEnd();) {
    Result<der::AlgorithmIdentifier> algorithm = readHashAlgorithm(set);
    if (!algorithm) {
      return algorithm.failure();
    }
    hashOids_.push_back(std::move(algorithm->oid));
  }
  Result<ContentInfo> info = readContentInfo(reader);
  if (!info) {
    return info.failure();
  }
  version_ = *version;
  encodedVersion_ = number->whole;
  hashAlgorithms_ = algorithms->content;
  contentInfo_ = *std::move(info);
  return {};
}

Result<void> SignedData::readSets(der::Reader& reader) {
  for (auto [tag, set] :
       {std::pair{kCertificatesTag, &certificates_}, std::pair{kCrlsTag, &crls_}}) {
    const Result<std::optional<der::Element>> found = reader.optional(tag);
    if (!found) {
      return found.failure();
    }
    const std::optional<der::Element> field = *found;
    if (!field) {
      continue;
    }
    if (const Result<void> done = set->read(field->content); !done) {
      return done;
    }
  }
  const Result<der::Element> signers = reader.next(der::kSet);
  if (!signers) {
    return signers.failure();
  }
  if (const Result<void> done = readSigners(signers->content); !done) {
    return done;
  }
  return reader.expectEnd();
}

Result<void> SignedData::readSigners(der::Bytes content) {
  for (der::Reader reader(content); !reader.atEnd();) {
    if (signers_.size() == kMaxSigners) {
      return fail(CRYPT_E_ASN1_LARGE);
    }
    const Result<der::Element> element = reader.next(der::kSequence);
    if (!element) {
      return element.failure();
    }
    Result<SignerInfo> signer = SignerInfo::read(der::Slice::borrowed(element->whole));
    if (!signer) {
      return signer.failure();
    }
    signers_.push_back(*std::move(signer));
  }
  return {};
}

// What is not signed has to be consistent at least, so that a change of it does not go unnoticed.
Result<void> SignedData::check() const {
  const bool listed = std::ranges::all_of(signers_, [this](const SignerInfo& signer) {
    return listsHashAlgorithm(signer.hashAlgorithm().oid);
  });
  if (!listed || !isVersionGood() || isAmbiguous()) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  return {};
}

bool SignedData::isVersionGood() const {
  const std::uint64_t highest = hasOtherForms() ? kMaxSignedVersion : CMSG_SIGNED_DATA_V3;
  return version_ == versionNow() && version_ >= CMSG_SIGNED_DATA_V1 && version_ <= highest;
}

// What is in the message decides its version (RFC 5652, 5.1). Where two are right, it keeps its own:
// PKCS #7 has version 1 for every content, CMS version 3 for all but data.
std::uint64_t SignedData::versionNow() const {
  if (hasOtherForms()) {
    return std::max<std::uint64_t>(version_, CMSG_SIGNED_DATA_V3);
  }
  const bool byKey =
      std::ranges::any_of(signers_, [](const SignerInfo& signer) { return signer.id().isKeyId(); });
  if (byKey) {
    return CMSG_SIGNED_DATA_V3;
  }
  return contentInfo_.type == oids::kData ? CMSG_SIGNED_DATA_V1 : version_;
}

bool SignedData::hasOtherForms() const {
  return certificates_.hasOtherForms() || crls_.hasOtherForms();
}

bool SignedData::isAmbiguous() const {
  return (certificates_.isAmbiguous() || !haveDistinctIds(signers_)) &&
         !std::ranges::all_of(signers_, namesCertificate);
}

// Asked before anything is changed, so that a failure leaves nothing behind.
bool SignedData::isAmbiguousWith(const SignerInfo& joining) const {
  const bool isTaken = std::ranges::any_of(signers_, [&joining](const SignerInfo& signer) {
    return std::ranges::equal(signer.id().whole, joining.id().whole);
  });
  return (isTaken || certificates_.isAmbiguous()) &&
         !(namesCertificate(joining) && std::ranges::all_of(signers_, namesCertificate));
}

bool SignedData::listsHashAlgorithm(std::string_view oid) const {
  return std::ranges::find(hashOids_, oid) != hashOids_.end();
}

Result<const SignerInfo*> SignedData::signer(std::size_t index) const {
  if (index >= signers_.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  return &signers_[index];
}

std::vector<HashAlgorithm> SignedData::hashAlgorithms() const {
  std::vector<HashAlgorithm> algorithms;
  for (const SignerInfo& signer : signers_) {
    const HashInfo* hash = hashByOid(signer.hashAlgorithm().oid);
    const bool isNew =
        hash != nullptr && std::ranges::find(algorithms, hash->algorithm) == algorithms.end();
    if (isNew) {
      algorithms.push_back(hash->algorithm);
    }
  }
  return algorithms;
}

Result<SignerInfo> SignedData::newSigner(const SignerRequest& request,
                                         MessageContent& content) const {
  if (signers_.size() == kMaxSigners) {
    return fail(E_INVALIDARG);
  }
  Result<std::vector<std::uint8_t>> encoded =
      request.sign(contentInfo_.type, content, /*forceAttributes=*/false);
  if (!encoded) {
    return encoded.failure();
  }
  Result<SignerInfo> signer = SignerInfo::read(der::Slice::owned(*std::move(encoded)));
  return signer && isAmbiguousWith(*signer) ? fail(CRYPT_E_EXISTS) : std::move(signer);
}

void SignedData::addSigner(SignerInfo signer) {
  signers_.push_back(std::move(signer));
  changed_ = true;
}

Result<void> SignedData::addSigner(const SignerRequest& request, MessageContent& content) {
  Result<SignerInfo> signer = newSigner(request, content);
  if (!signer) {
    return signer.failure();
  }
  addSigner(*std::move(signer));
  return {};
}

void SignedData::replaceSigner(std::size_t index, SignerInfo signer) {
  signers_[index] = std::move(signer);
  changed_ = true;
}

Result<void> SignedData::removeSigner(std::size_t index) {
  if (index >= signers_.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  signers_.erase(signers_.begin() + static_cast<std::ptrdiff_t>(index));
  changed_ = true;
  return {};
}

Result<void> SignedData::addUnsignedAttribute(std::size_t index, der::Bytes attribute) {
  const Result<const SignerInfo*> found = signer(index);
  if (!found) {
    return found.failure();
  }
  Result<SignerInfo> changed = (*found)->withAdded({attribute});
  if (!changed) {
    return changed.failure();
  }
  replaceSigner(index, *std::move(changed));
  return {};
}

Result<void> SignedData::removeUnsignedAttribute(std::size_t index, std::size_t attribute) {
  const Result<const SignerInfo*> found = signer(index);
  if (!found) {
    return found.failure();
  }
  const Attributes& present = (*found)->unsignedAttributes();
  if (attribute >= present.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  std::vector<der::Bytes> all;
  std::ranges::transform(present, std::back_inserter(all), &Attribute::whole);
  all.erase(all.begin() + static_cast<std::ptrdiff_t>(attribute));
  Result<SignerInfo> changed =
      SignerInfo::read(der::Slice::owned((*found)->withUnsignedAttributes(all).bytes()));
  if (!changed) {
    return changed.failure();
  }
  replaceSigner(index, *std::move(changed));
  return {};
}

Result<void> SignedData::addCertificate(der::Bytes certificate) {
  if (certificates_.isAmbiguousWith(certificate) &&
      !std::ranges::all_of(signers_, namesCertificate)) {
    return fail(CRYPT_E_EXISTS);
  }
  return addTo(certificates_, certificate);
}

Result<void> SignedData::addCrl(der::Bytes crl) {
  return addTo(crls_, crl);
}

// One that was there already is no change.
Result<void> SignedData::addTo(CertificateSet& set, der::Bytes encoded) {
  const std::size_t before = set.size();
  const Result<void> done = set.add(copyOf(encoded));
  changed_ = changed_ || set.size() != before;
  return done;
}

Result<void> SignedData::removeCertificate(std::size_t index) {
  const Result<void> done = certificates_.remove(index);
  changed_ = changed_ || done;
  return done;
}

Result<void> SignedData::removeCrl(std::size_t index) {
  const Result<void> done = crls_.remove(index);
  changed_ = changed_ || done;
  return done;
}

// Those that came, and behind them those of added signers that were not among them.
der::Encoding SignedData::hashAlgorithmSet() const {
  std::set<std::string_view> added;
  der::Encoding set = der::Encoding::borrowed(hashAlgorithms_);
  for (const SignerInfo& signer : signers_) {
    const der::AlgorithmIdentifier& hash = signer.hashAlgorithm();
    if (!listsHashAlgorithm(hash.oid) && added.insert(hash.oid).second) {
      set.append(*der::algorithm(hash.oid, hash.parameters));
    }
  }
  return der::wrap(der::kSet, std::move(set));
}

der::Encoding SignedData::encode() const {
  if (!changed_) {
    return der::Encoding::borrowed(whole_);
  }
  der::Encoding signers;
  for (const SignerInfo& signer : signers_) {
    signers.append(der::Encoding::borrowed(signer.encoded()));
  }
  der::Encoding version = versionNow() == version_ ? der::Encoding::borrowed(encodedVersion_)
                                                   : der::integer(versionNow());
  return der::sequence(std::move(version),
                       hashAlgorithmSet(),
                       der::Encoding::borrowed(contentInfo_.whole),
                       certificates_.encode(),
                       crls_.encode(),
                       der::wrap(der::kSet, std::move(signers)));
}

}  // namespace qx
