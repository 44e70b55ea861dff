#include "provider/message/decoded_hashed.h"

#include <algorithm>
#include <utility>

#include "platform/crypt_msg.h"

#include "provider/message/algorithm.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

// CMS has version 2 for all content but data, PKCS #7, whose content stands there as it is, always 0.
// The type is not hashed: a version that does not fit it is all that shows a change.
DWORD hashedDataVersion(const ContentInfo& info) {
  const bool pkcs7 = info.type == oids::kData || (info.content && !isString(*info.content));
  return pkcs7 ? CMSG_HASHED_DATA_V0 : CMSG_HASHED_DATA_V2;
}

}  // namespace

Result<std::unique_ptr<Decoded>> DecodedHashed::open(const der::Element& bare, bool detached) {
  if (!bare.is(der::kSequence)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  std::unique_ptr<DecodedHashed> hashed(new DecodedHashed(bare.whole));
  der::Reader reader(bare.content);
  if (const Result<void> done = hashed->readFields(reader); !done) {
    return done.failure();
  }
  if (const Result<void> done = loadContent(hashed->contentInfo_, detached, hashed->content_);
      !done) {
    return done.failure();
  }
  return std::unique_ptr<Decoded>(std::move(hashed));
}

Result<void> DecodedHashed::readFields(der::Reader& reader) {
  const Result<std::uint64_t> version = der::readUnsigned(reader);
  if (!version) {
    return version.failure();
  }
  Result<der::AlgorithmIdentifier> algorithm = readHashAlgorithm(reader);
  if (!algorithm) {
    return algorithm.failure();
  }
  Result<ContentInfo> info = readContentInfo(reader);
  if (!info) {
    return info.failure();
  }
  Result<std::vector<std::uint8_t>> hash = der::readOctets(reader);
  if (!hash) {
    return hash.failure();
  }
  if (*version != hashedDataVersion(*info)) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  version_ = static_cast<DWORD>(*version);
  algorithm_ = *std::move(algorithm);
  contentInfo_ = *std::move(info);
  hash_ = *std::move(hash);
  return reader.expectEnd();
}

std::string_view DecodedHashed::type() const {
  return oids::kDigestedData;
}

Result<HashValue> DecodedHashed::computeHash() {
  const HashInfo* hash = hashByOid(algorithm_.oid);
  return hash == nullptr ? fail(CRYPT_E_UNKNOWN_ALGO) : content_.hash(hash->algorithm);
}

Result<void> DecodedHashed::param(DWORD type, DWORD /*index*/, ParamOutput& output) {
  switch (type) {
    case CMSG_CONTENT_PARAM:
      return putContent(contentInfo_, content_, output);
    case CMSG_INNER_CONTENT_TYPE_PARAM:
      return output.putText(contentInfo_.type);
    case CMSG_VERSION_PARAM:
      return output.putNumber(version_);
    case CMSG_HASH_ALGORITHM_PARAM:
      return putAlgorithm(algorithm_, output);
    case CMSG_HASH_DATA_PARAM:
      return output.putBytes(hash_);
    case CMSG_COMPUTED_HASH_PARAM: {
      const Result<HashValue> hash = computeHash();
      return hash ? output.putBytes(hash->bytes()) : hash.failure();
    }
    default:
      return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
}

Result<void> DecodedHashed::control(DWORD type, const void* /*para*/) {
  if (type != CMSG_CTRL_VERIFY_HASH) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  const Result<HashValue> hash = computeHash();
  if (!hash && hash.error() != NTE_BAD_HASH_STATE) {
    return hash.failure();
  }
  return hash && std::ranges::equal(hash->bytes(), hash_) ? Result<void>{}
                                                          : fail(CRYPT_E_HASH_VALUE);
}

Result<void> DecodedHashed::addContent(der::Bytes part, bool final) {
  const HashInfo* hash = hashByOid(algorithm_.oid);
  if (hash == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  return content_.addPart(part, final, {hash->algorithm});
}

}  // namespace qx
