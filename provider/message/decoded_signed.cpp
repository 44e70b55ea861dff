#include "provider/message/decoded_signed.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "provider/message/algorithm.h"
#include "provider/message/oids.h"
#include "provider/message/signed_controls.h"

namespace qx {
namespace {

// The parameters whose index is a signer's.
bool isSignerParam(DWORD type) {
  constexpr DWORD kTypes[] = {CMSG_SIGNER_INFO_PARAM,
                              CMSG_CMS_SIGNER_INFO_PARAM,
                              CMSG_SIGNER_CERT_INFO_PARAM,
                              CMSG_SIGNER_CERT_ID_PARAM,
                              CMSG_SIGNER_HASH_ALGORITHM_PARAM,
                              CMSG_SIGNER_AUTH_ATTR_PARAM,
                              CMSG_SIGNER_UNAUTH_ATTR_PARAM,
                              CMSG_COMPUTED_HASH_PARAM,
                              CMSG_ENCRYPTED_DIGEST,
                              CMSG_ENCODED_SIGNER};
  return std::ranges::find(kTypes, type) != std::end(kTypes);
}

Result<void> putAttributes(const Attributes& attributes, ParamOutput& output) {
  if (attributes.empty()) {
    output.putNothing();
    return fail(CRYPT_E_ATTRIBUTES_MISSING);
  }
  return output.putRecord<CRYPT_ATTRIBUTES>([&](CRYPT_ATTRIBUTES& record, OnePiece& piece) {
    record = layOutAttributes(attributes, piece);
  });
}

Result<void> putElement(const CertificateSet& set, DWORD index, ParamOutput& output) {
  const Result<der::Bytes> encoded = set.at(index);
  return encoded ? output.putBytes(*encoded) : encoded.failure();
}

Result<void> putHash(const SignerInfo& signer, MessageContent& content, ParamOutput& output) {
  const HashInfo* info = hashByOid(signer.hashAlgorithm().oid);
  if (info == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  const Result<HashValue> hash = content.hash(info->algorithm);
  return hash ? output.putBytes(hash->bytes()) : hash.failure();
}

template <class Record>
Result<void> putSigner(const SignerInfo& signer, ParamOutput& output) {
  return output.putRecord<Record>(
      [&](Record& record, OnePiece& piece) { layOutSigner(signer, record, piece); });
}

Result<void> putSignerCertInfo(const SignerId& id, ParamOutput& output) {
  return output.putRecord<CERT_INFO>([&](CERT_INFO& record, OnePiece& piece) {
    record.Issuer = piece.blob(issuerOf(id));
    record.SerialNumber = piece.integer(serialOf(id));
  });
}

Result<void> putSignerId(const SignerId& id, ParamOutput& output) {
  return output.putRecord<CERT_ID>(
      [&](CERT_ID& record, OnePiece& piece) { record = layOutSignerId(id, piece); });
}

}  // namespace

Result<std::unique_ptr<Decoded>> DecodedSigned::open(const der::Element& bare, bool detached) {
  Result<SignedData> data = SignedData::read(bare.whole);
  if (!data) {
    return data.failure();
  }
  std::unique_ptr<DecodedSigned> message(new DecodedSigned(*std::move(data)));
  const ContentInfo& info = message->data_.contentInfo();
  if (const Result<void> done = loadContent(info, detached, message->content_); !done) {
    return done.failure();
  }
  return std::unique_ptr<Decoded>(std::move(message));
}

std::string_view DecodedSigned::type() const {
  return oids::kSignedData;
}

Result<void> DecodedSigned::addContent(der::Bytes part, bool final) {
  return content_.addPart(part, final, data_.hashAlgorithms());
}

Result<void> DecodedSigned::param(DWORD type, DWORD index, ParamOutput& output) {
  if (isSignerParam(type)) {
    const Result<const SignerInfo*> signer = data_.signer(index);
    return signer ? signerParam(type, **signer, output) : signer.failure();
  }
  switch (type) {
    case CMSG_CONTENT_PARAM:
      return putContent(data_.contentInfo(), content_, output);
    case CMSG_INNER_CONTENT_TYPE_PARAM:
      return output.putText(data_.contentInfo().type);
    case CMSG_VERSION_PARAM:
      return output.putNumber(data_.version());
    case CMSG_SIGNER_COUNT_PARAM:
      return output.putNumber(data_.signers().size());
    case CMSG_CERT_COUNT_PARAM:
      return output.putNumber(data_.certificates().size());
    case CMSG_CERT_PARAM:
      return putElement(data_.certificates(), index, output);
    case CMSG_CRL_COUNT_PARAM:
      return output.putNumber(data_.crls().size());
    case CMSG_CRL_PARAM:
      return putElement(data_.crls(), index, output);
    default:
      return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
}

Result<void> DecodedSigned::signerParam(DWORD type, const SignerInfo& signer, ParamOutput& output) {
  switch (type) {
    case CMSG_SIGNER_INFO_PARAM:
      return putSigner<CMSG_SIGNER_INFO>(signer, output);
    case CMSG_CMS_SIGNER_INFO_PARAM:
      return putSigner<CMSG_CMS_SIGNER_INFO>(signer, output);
    case CMSG_SIGNER_CERT_INFO_PARAM:
      return putSignerCertInfo(signer.id(), output);
    case CMSG_SIGNER_CERT_ID_PARAM:
      return putSignerId(signer.id(), output);
    case CMSG_SIGNER_HASH_ALGORITHM_PARAM:
      return putAlgorithm(signer.hashAlgorithm(), output);
    case CMSG_SIGNER_AUTH_ATTR_PARAM:
      return putAttributes(signer.signedAttributes(), output);
    case CMSG_SIGNER_UNAUTH_ATTR_PARAM:
      return putAttributes(signer.unsignedAttributes(), output);
    case CMSG_COMPUTED_HASH_PARAM:
      return putHash(signer, content_, output);
    case CMSG_ENCRYPTED_DIGEST:
      return output.putBytes(signer.signature());
    case CMSG_ENCODED_SIGNER:
      return output.putBytes(signer.encoded());
    default:
      return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
}

Result<void> DecodedSigned::control(DWORD type, const void* para) {
  return controlSigned(*this, type, para);
}

}  // namespace qx
