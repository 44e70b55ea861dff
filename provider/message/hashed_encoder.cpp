#include "provider/message/hashed_encoder.h"

#include <utility>

#include "provider/der/blob.h"
#include "provider/message/algorithm.h"
#include "provider/message/content_info.h"
#include "provider/message/oids.h"

namespace qx {

HashedEncoder::HashedEncoder(DWORD flags,
                             std::string contentType,
                             const HashInfo& hash,
                             std::vector<std::uint8_t> algorithm)
    : Encoder(flags, std::move(contentType)), hash_(hash), algorithm_(std::move(algorithm)) {}

Result<std::unique_ptr<Message>> HashedEncoder::open(DWORD flags,
                                                     std::string contentType,
                                                     const CMSG_HASHED_ENCODE_INFO* info) {
  if (info == nullptr || info->cbSize < sizeof *info) {
    return fail(E_INVALIDARG);
  }
  const CRYPT_ALGORITHM_IDENTIFIER& named = info->HashAlgorithm;
  const HashInfo* hash = named.pszObjId == nullptr ? nullptr : hashByOid(named.pszObjId);
  if (hash == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  const der::Bytes parameters = bytesOf(named.Parameters);
  if (!areParameters(parameters)) {
    return fail(E_INVALIDARG);
  }
  const Result<der::Encoding> algorithm = encodeAlgorithm(hash->oid, parameters);
  if (!algorithm) {
    return algorithm.failure();
  }
  return std::unique_ptr<Message>(
      new HashedEncoder(flags, std::move(contentType), *hash, algorithm->bytes()));
}

std::string_view HashedEncoder::type() const {
  return oids::kDigestedData;
}

DWORD HashedEncoder::version() const {
  const bool pkcs7 = contentType() == oids::kData || (!isEncapsulated() && !isDetached());
  return pkcs7 ? CMSG_HASHED_DATA_V0 : CMSG_HASHED_DATA_V2;
}

Result<void> HashedEncoder::finish() {
  const Result<HashValue> hash = content().hash(hash_.algorithm);
  return hash ? Result<void>{} : hash.failure();
}

Result<der::Encoding> HashedEncoder::bare() {
  Result<der::Encoding> info = innerContentInfo();
  if (!info) {
    return info;
  }
  std::vector<std::uint8_t> value;
  if (isFinished()) {
    const Result<HashValue> hash = content().hash(hash_.algorithm);
    if (!hash) {
      return hash.failure();
    }
    value.assign(hash->bytes().begin(), hash->bytes().end());
  }
  return der::sequence(der::integer(version()),
                       der::Encoding::borrowed(algorithm_),
                       *std::move(info),
                       der::wrap(der::kOctetString, der::Encoding::owned(std::move(value))));
}

Result<void> HashedEncoder::ownParam(DWORD type, DWORD /*index*/, ParamOutput& output) {
  if (type == CMSG_VERSION_PARAM) {
    return output.putNumber(version());
  }
  if (type != CMSG_COMPUTED_HASH_PARAM) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  // The hash so far: reading it ends the content.
  if (!isFinished()) {
    if (const Result<void> closed = closeContent(); !closed) {
      return closed;
    }
  }
  const Result<HashValue> hash = content().hash(hash_.algorithm);
  return hash ? output.putBytes(hash->bytes()) : hash.failure();
}

}  // namespace qx
