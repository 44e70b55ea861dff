#include "provider/message/signer_request.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "provider/der/blob.h"
#include "provider/key/key_context.h"
#include "provider/key/public_key.h"
#include "provider/message/algorithm.h"
#include "provider/message/attributes.h"
#include "provider/message/limits.h"
#include "provider/message/oids.h"
#include "provider/message/signer_id.h"

namespace qx {
namespace {

// The long form when the caller has it, else null: only then may its members be read.
const CMSG_SIGNER_ENCODE_INFO_LONG* longForm(const CMSG_SIGNER_ENCODE_INFO& info) {
  return info.cbSize < sizeof(CMSG_SIGNER_ENCODE_INFO_LONG)
             ? nullptr
             : reinterpret_cast<const CMSG_SIGNER_ENCODE_INFO_LONG*>(&info);
}

bool isAddedByUs(std::string_view oid) {
  return oid == oids::kContentType || oid == oids::kMessageDigest;
}

Result<std::vector<std::vector<std::uint8_t>>> copyRecords(const CRYPT_ATTRIBUTE* records,
                                                           DWORD count) {
  if (count > kMaxAttributes || (count > 0 && records == nullptr)) {
    return fail(E_INVALIDARG);
  }
  std::vector<std::vector<std::uint8_t>> copies;
  for (DWORD i = 0; i < count; ++i) {
    Result<std::vector<std::uint8_t>> copy = encodeAttribute(records[i]);
    if (!copy) {
      return copy.failure();
    }
    copies.push_back(*std::move(copy));
  }
  return copies;
}

bool haveDistinctTypes(const CRYPT_ATTRIBUTE* records, DWORD count) {
  std::vector<std::string_view> types;
  types.reserve(count);
  for (DWORD i = 0; i < count; ++i) {
    types.emplace_back(records[i].pszObjId);
  }
  std::ranges::sort(types);
  return std::ranges::none_of(types, isAddedByUs) &&
         std::ranges::adjacent_find(types) == types.end();
}

}  // namespace

std::vector<const CMSG_SIGNER_ENCODE_INFO*> signerRecords(const CMSG_SIGNED_ENCODE_INFO& info) {
  if (info.rgSigners == nullptr || info.cSigners == 0) {
    return {};
  }
  const bool isLong = longForm(*info.rgSigners) != nullptr;
  const std::size_t step =
      isLong ? sizeof(CMSG_SIGNER_ENCODE_INFO_LONG) : sizeof(CMSG_SIGNER_ENCODE_INFO);
  const auto* next = reinterpret_cast<const BYTE*>(info.rgSigners);
  std::vector<const CMSG_SIGNER_ENCODE_INFO*> records;
  for (DWORD i = 0; i < info.cSigners; ++i, next += step) {
    records.push_back(reinterpret_cast<const CMSG_SIGNER_ENCODE_INFO*>(next));
  }
  return records;
}

Result<SignerRequest> SignerRequest::copy(const CMSG_SIGNER_ENCODE_INFO& info) {
  if (info.cbSize < sizeof(CMSG_SIGNER_ENCODE_INFO) || info.pCertInfo == nullptr) {
    return fail(E_INVALIDARG);
  }
  SignerRequest request;
  for (const auto step : {&SignerRequest::copyIdentity,
                          &SignerRequest::copyAlgorithms,
                          &SignerRequest::copyAttributes}) {
    if (const Result<void> done = (request.*step)(info); !done) {
      return done.failure();
    }
  }
  return request;
}

Result<void> SignerRequest::copyIdentity(const CMSG_SIGNER_ENCODE_INFO& info) {
  const CMSG_SIGNER_ENCODE_INFO_LONG* form = longForm(info);
  const bool hasId = form != nullptr && form->SignerId.dwIdChoice != 0;
  const CERT_INFO& certificate = *info.pCertInfo;
  Result<std::vector<std::uint8_t>> identifier =
      hasId ? encodeSignerId(form->SignerId)
            : encodeIssuerAndSerial(bytesOf(certificate.Issuer), bytesOf(certificate.SerialNumber));
  if (!identifier) {
    return identifier.failure();
  }
  if (info.hCryptProv == 0) {
    return fail(E_INVALIDARG);
  }
  const bool byKey = hasId && form->SignerId.dwIdChoice == CERT_ID_KEY_IDENTIFIER;
  version_ = byKey ? CMSG_SIGNER_INFO_V3 : CMSG_SIGNER_INFO_V1;
  identifier_ = *std::move(identifier);
  provider_ = info.hCryptProv;
  return {};
}

Result<void> SignerRequest::copyAlgorithms(const CMSG_SIGNER_ENCODE_INFO& info) {
  const CRYPT_ALGORITHM_IDENTIFIER& hash = info.HashAlgorithm;
  hash_ = hash.pszObjId == nullptr ? nullptr : hashByOid(hash.pszObjId);
  if (hash_ == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  if (!hash_->signs) {
    return fail(NTE_BAD_ALGID);
  }
  if (!areParameters(bytesOf(hash.Parameters))) {
    return fail(E_INVALIDARG);
  }
  const Result<der::Encoding> algorithm = encodeAlgorithm(hash_->oid, bytesOf(hash.Parameters));
  if (!algorithm) {
    return algorithm.failure();
  }
  hashAlgorithm_ = algorithm->bytes();
  const char* keyOid = info.pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
  publicKeyOid_ = keyOid == nullptr ? "" : keyOid;
  const CMSG_SIGNER_ENCODE_INFO_LONG* form = longForm(info);
  if (form != nullptr && form->HashEncryptionAlgorithm.pszObjId != nullptr) {
    const der::Bytes parameters = bytesOf(form->HashEncryptionAlgorithm.Parameters);
    if (!areParameters(parameters)) {
      return fail(E_INVALIDARG);
    }
    override_ = {.oid = form->HashEncryptionAlgorithm.pszObjId,
                 .parameters = {parameters.begin(), parameters.end()}};
  }
  return {};
}

Result<void> SignerRequest::copyAttributes(const CMSG_SIGNER_ENCODE_INFO& info) {
  auto toSign = copyRecords(info.rgAuthAttr, info.cAuthAttr);
  if (!toSign) {
    return toSign.failure();
  }
  auto notToSign = copyRecords(info.rgUnauthAttr, info.cUnauthAttr);
  if (!notToSign) {
    return notToSign.failure();
  }
  constexpr std::size_t kAddedByUs = 2;
  const bool tooMany = toSign->size() + notToSign->size() + kAddedByUs > kMaxAttributes;
  if (tooMany || !haveDistinctTypes(info.rgAuthAttr, info.cAuthAttr)) {
    return fail(E_INVALIDARG);
  }
  signed_ = *std::move(toSign);
  unsigned_ = *std::move(notToSign);
  return {};
}

Result<std::vector<std::uint8_t>> SignerRequest::sign(std::string_view contentType,
                                                      MessageContent& content,
                                                      bool forceAttributes) const {
  Result<HashValue> digest = content.hash(hash());
  if (!digest) {
    return digest.failure();
  }
  std::vector<std::uint8_t> signedSet;
  if (forceAttributes || !signed_.empty() || contentType != oids::kData ||
      content.mayBeAttributes()) {
    Result<std::vector<std::uint8_t>> set = signedAttributes(contentType, *digest);
    if (!set) {
      return set;
    }
    signedSet = *std::move(set);
    digest = hashOf(hash(), signedSet);
    // Signed as a SET, written under the field's tag (RFC 5652, 5.4).
    signedSet.front() = kSignedAttributesTag;
  }
  Result<Signature> signature = makeSignature(*digest);
  if (!signature) {
    return signature.failure();
  }
  return assemble(signedSet, *std::move(signature)).bytes();
}

Result<der::Encoding> SignerRequest::unsignedInfo() const {
  Result<der::Encoding> algorithm = encodeSignatureAlgorithm(publicKeyOid_, hash());
  if (!algorithm) {
    return algorithm;
  }
  return assemble({}, {.algorithm = *std::move(algorithm), .value = {}});
}

// The SET OF signed attributes, sorted as DER has it.
Result<std::vector<std::uint8_t>> SignerRequest::signedAttributes(std::string_view contentType,
                                                                  const HashValue& digest) const {
  Result<der::Encoding> typeValue = der::oid(contentType);
  if (!typeValue) {
    return typeValue.failure();
  }
  const std::vector<std::uint8_t> type = typeValue->bytes();
  const std::vector<std::uint8_t> value = der::octetString(digest.bytes()).bytes();
  Result<std::vector<std::uint8_t>> typeAttribute = encodeAttribute(oids::kContentType, {type});
  Result<std::vector<std::uint8_t>> digestAttribute =
      encodeAttribute(oids::kMessageDigest, {value});
  std::vector<der::Encoding> all;
  all.push_back(der::Encoding::owned(*std::move(typeAttribute)));
  all.push_back(der::Encoding::owned(*std::move(digestAttribute)));
  for (const std::vector<std::uint8_t>& attribute : signed_) {
    all.push_back(der::Encoding::borrowed(attribute));
  }
  return der::setOf(all).bytes();
}

Result<SignerRequest::Signature> SignerRequest::makeSignature(const HashValue& digest) const {
  if (override_ && override_->oid == oids::kNoSignature) {
    Result<der::Encoding> algorithm = der::algorithm(override_->oid, der::kNullParameters);
    const der::Bytes value = digest.bytes();
    return Signature{.algorithm = *std::move(algorithm), .value = {value.begin(), value.end()}};
  }
  const Result<std::shared_ptr<const PrivateKey>> key = usableKey(provider_);
  if (!key) {
    return key.failure();
  }
  Result<std::vector<std::uint8_t>> value = (*key)->signDigest(hash(), digest.bytes());
  if (!value) {
    return value.failure();
  }
  Result<der::Encoding> algorithm = signatureAlgorithm(**key, digest, *value);
  if (!algorithm) {
    return algorithm.failure();
  }
  return Signature{.algorithm = *std::move(algorithm), .value = *std::move(value)};
}

// The key says what algorithm it is; a name that the caller gives instead must fit the signature.
Result<der::Encoding> SignerRequest::signatureAlgorithm(const PrivateKey& key,
                                                        const HashValue& digest,
                                                        der::Bytes signature) const {
  if (!override_) {
    return encodeSignatureAlgorithm(keyTypeInfo(key.type()).oid, hash());
  }
  const Result<PublicKey> publicKey = PublicKey::parse(key.spki());
  if (!publicKey) {
    return publicKey.failure();
  }
  const SignatureAlgorithm named{.oid = override_->oid, .parameters = override_->parameters};
  if (!publicKey->verifyDigest(named, hash(), digest.bytes(), signature)) {
    return fail(NTE_BAD_ALGID);
  }
  return encodeAlgorithm(named.oid, named.parameters);
}

der::Encoding SignerRequest::assemble(der::Bytes signedSet, Signature signature) const {
  der::Encoding unsignedSet;
  for (const std::vector<std::uint8_t>& attribute : unsigned_) {
    unsignedSet.append(der::Encoding::borrowed(attribute));
  }
  if (!unsignedSet.empty()) {
    unsignedSet = der::wrap(kUnsignedAttributesTag, std::move(unsignedSet));
  }
  return der::sequence(
      der::integer(version_),
      der::Encoding::borrowed(identifier_),
      der::Encoding::borrowed(hashAlgorithm_),
      der::Encoding::borrowed(signedSet),
      std::move(signature.algorithm),
      der::wrap(der::kOctetString, der::Encoding::owned(std::move(signature.value))),
      std::move(unsignedSet));
}

}  // namespace qx
