#include "provider/message/signed_encoder.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/crypt_prov.h"

#include "provider/der/blob.h"
#include "provider/message/content_info.h"
#include "provider/message/limits.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

Result<void> copyAll(const CRYPT_DATA_BLOB* blobs, DWORD count, CertificateSet& set) {
  if (count > kMaxCertificates || (count > 0 && blobs == nullptr)) {
    return fail(E_INVALIDARG);
  }
  for (DWORD i = 0; i < count; ++i) {
    const der::Bytes bytes = bytesOf(blobs[i]);
    Result<void> done = set.add(der::Slice::owned({bytes.begin(), bytes.end()}));
    if (!done) {
      return done;
    }
  }
  return {};
}

}  // namespace

Result<std::unique_ptr<Message>> SignedEncoder::open(DWORD flags,
                                                     std::string contentType,
                                                     const CMSG_SIGNED_ENCODE_INFO* info) {
  if (info == nullptr || info->cbSize < sizeof *info) {
    return fail(E_INVALIDARG);
  }
  std::unique_ptr<SignedEncoder> encoder(new SignedEncoder(flags, std::move(contentType)));
  for (const auto step : {&SignedEncoder::copySigners, &SignedEncoder::copyCertificates}) {
    if (const Result<void> done = (*encoder.*step)(*info); !done) {
      return done.failure();
    }
  }
  // Only a message that was opened owns the handles.
  encoder->ownsProviders_ = encoder->hasFlag(CMSG_CRYPT_RELEASE_CONTEXT_FLAG);
  return std::unique_ptr<Message>(std::move(encoder));
}

SignedEncoder::~SignedEncoder() {
  releaseProviders();
}

Result<void> SignedEncoder::copySigners(const CMSG_SIGNED_ENCODE_INFO& info) {
  if (info.cSigners > kMaxSigners || (info.cSigners > 0 && info.rgSigners == nullptr)) {
    return fail(E_INVALIDARG);
  }
  for (const CMSG_SIGNER_ENCODE_INFO* record : signerRecords(info)) {
    Result<SignerRequest> request = SignerRequest::copy(*record);
    if (!request) {
      return request.failure();
    }
    requests_.push_back(*std::move(request));
  }
  return haveDistinctSigners() ? Result<void>{} : fail(E_INVALIDARG);
}

Result<void> SignedEncoder::copyCertificates(const CMSG_SIGNED_ENCODE_INFO& info) {
  const bool hasMore = info.cbSize >= sizeof(CMSG_SIGNED_ENCODE_INFO_LONG);
  if (hasMore &&
      reinterpret_cast<const CMSG_SIGNED_ENCODE_INFO_LONG&>(info).cAttrCertEncoded != 0) {
    return fail(E_INVALIDARG);  // attribute certificates are not written
  }
  if (Result<void> done = copyAll(info.rgCertEncoded, info.cCertEncoded, certificates_); !done) {
    return done;
  }
  if (certificates_.isAmbiguous()) {
    return fail(E_INVALIDARG);
  }
  return copyAll(info.rgCrlEncoded, info.cCrlEncoded, crls_);
}

bool SignedEncoder::haveDistinctSigners() const {
  std::set<std::string_view> seen;
  return std::ranges::all_of(requests_, [&seen](const SignerRequest& request) {
    return seen.insert(der::asKey(request.identifier())).second;
  });
}

std::string_view SignedEncoder::type() const {
  return oids::kSignedData;
}

DWORD SignedEncoder::version() const {
  const bool third =
      isEncapsulated() || std::ranges::any_of(requests_, [](const SignerRequest& request) {
        return request.version() == CMSG_SIGNER_INFO_V3;
      });
  return third ? CMSG_SIGNED_DATA_V3 : CMSG_SIGNED_DATA_V1;
}

std::vector<HashAlgorithm> SignedEncoder::hashAlgorithms() const {
  std::vector<HashAlgorithm> algorithms;
  for (const SignerRequest& request : requests_) {
    if (std::ranges::find(algorithms, request.hash()) == algorithms.end()) {
      algorithms.push_back(request.hash());
    }
  }
  return algorithms;
}

Result<void> SignedEncoder::finish() {
  const bool force = hasFlag(CMSG_AUTHENTICATED_ATTRIBUTES_FLAG);
  for (const SignerRequest& request : requests_) {
    Result<std::vector<std::uint8_t>> signer = request.sign(contentType(), content(), force);
    if (!signer) {
      return signer.failure();
    }
    signers_.push_back(*std::move(signer));
  }
  releaseProviders();
  return {};
}

void SignedEncoder::releaseProviders() {
  if (!std::exchange(ownsProviders_, false)) {
    return;
  }
  std::set<HCRYPTPROV> providers;
  std::ranges::transform(
      requests_, std::inserter(providers, providers.end()), &SignerRequest::provider);
  for (const HCRYPTPROV provider : providers) {
    const DWORD before = GetLastError();
    if (CryptReleaseContext(provider, 0) == FALSE) {
      SetLastError(before);  // what the caller learns is whether the message was made
    }
  }
}

der::Encoding SignedEncoder::hashAlgorithmSet() const {
  std::set<std::string_view> seen;
  der::Encoding set;
  for (const SignerRequest& request : requests_) {
    const der::Bytes algorithm = request.hashAlgorithm();
    if (seen.insert(der::asKey(algorithm)).second) {
      set.append(der::Encoding::borrowed(algorithm));
    }
  }
  return der::wrap(der::kSet, std::move(set));
}

Result<der::Encoding> SignedEncoder::signerSet() const {
  der::Encoding set;
  for (const std::vector<std::uint8_t>& signer : signers_) {
    set.append(der::Encoding::borrowed(signer));
  }
  for (std::size_t i = signers_.size(); i < requests_.size(); ++i) {
    Result<der::Encoding> signer = requests_[i].unsignedInfo();
    if (!signer) {
      return signer;
    }
    set.append(*std::move(signer));
  }
  return der::wrap(der::kSet, std::move(set));
}

Result<der::Encoding> SignedEncoder::bare() {
  Result<der::Encoding> info = innerContentInfo();
  if (!info) {
    return info;
  }
  Result<der::Encoding> signers = signerSet();
  if (!signers) {
    return signers;
  }
  return der::sequence(der::integer(version()),
                       hashAlgorithmSet(),
                       *std::move(info),
                       certificates_.encode(),
                       crls_.encode(),
                       *std::move(signers));
}

Result<void> SignedEncoder::putEncodedSigner(DWORD index, ParamOutput& output) const {
  if (index >= requests_.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  if (index < signers_.size()) {
    return output.putBytes(signers_[index]);
  }
  const Result<der::Encoding> signer = requests_[index].unsignedInfo();
  return signer ? output.putEncoding(*signer) : signer.failure();
}

Result<void> SignedEncoder::putHash(DWORD index, ParamOutput& output) {
  if (index >= requests_.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  if (!isFinished()) {
    return fail(CRYPT_E_MSG_ERROR);
  }
  const Result<HashValue> hash = content().hash(requests_[index].hash());
  return hash ? output.putBytes(hash->bytes()) : hash.failure();
}

Result<void> SignedEncoder::ownParam(DWORD type, DWORD index, ParamOutput& output) {
  switch (type) {
    case CMSG_VERSION_PARAM:
      return output.putNumber(version());
    case CMSG_ENCODED_SIGNER:
      return putEncodedSigner(index, output);
    case CMSG_COMPUTED_HASH_PARAM:
      return putHash(index, output);
    default:
      return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
}

}  // namespace qx
