#include "provider/cades/time_stamp_token.h"

#include <optional>
#include <utility>

#include "provider/cades/material.h"
#include "provider/cades/named_signer.h"
#include "provider/cades/oids.h"
#include "provider/chain/time_window.h"
#include "provider/message/oids.h"
#include "provider/message/verify.h"

namespace qx {
namespace {

Result<SignedData> readMessage(der::Bytes encoded) {
  der::Reader reader(encoded);
  const Result<ContentInfo> info = readContentInfo(reader);
  if (!info) {
    return info.failure();
  }
  if (const Result<void> end = reader.expectEnd(); !end) {
    return end.failure();
  }
  const std::optional<der::Element> content = info->content;
  if (info->type != oids::kSignedData || !content) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  return SignedData::read(content->whole);
}

// The octets of the content: in place, or in one piece of their own when they came in several.
Result<der::Slice> readContent(const ContentInfo& info) {
  if (info.type != oids::kTstInfo || !info.content || !isString(*info.content)) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  if (info.content->is(der::kOctetString)) {
    return der::Slice::borrowed(info.content->content);
  }
  Result<std::vector<std::uint8_t>> octets = der::readOctets(*info.content);
  if (!octets) {
    return octets.failure();
  }
  return der::Slice::owned(*std::move(octets));
}

}  // namespace

Result<TimeStampToken> TimeStampToken::read(der::Bytes encoded) {
  Result<SignedData> data = readMessage(encoded);
  if (!data) {
    return data.failure();
  }
  Result<der::Slice> content = readContent(data->contentInfo());
  if (!content) {
    return content.failure();
  }
  TimeStampToken token(encoded, *std::move(data), *std::move(content));
  Result<TimeStampInfo> info = readTimeStampInfo(token.content_.bytes());
  if (!info) {
    return info.failure();
  }
  token.info_ = *std::move(info);
  token.certificates_ = certificatesOf(token.data_.certificates());
  return token;
}

std::time_t TimeStampToken::seconds() const {
  return secondsOf(info_.time);
}

Result<CertificatePtr> TimeStampToken::findAuthority(std::span<const CertificatePtr> others) const {
  if (data_.signers().size() != 1) {
    return fail(CRYPT_E_NO_SIGNER);
  }
  // What others have comes first: there it is one object for all stamps, which is decoded once.
  std::vector<CertificatePtr> candidates(others.begin(), others.end());
  candidates.insert(candidates.end(), certificates_.begin(), certificates_.end());
  return findNamedSigner(data_.signers().front(), candidates);
}

Result<void> TimeStampToken::verifySignatureOf(const CertificateData& authority) const {
  const SignerInfo& signer = data_.signers().front();
  if (const Result<void> type = checkContentType(signer, oids::kTstInfo); !type) {
    return type;
  }
  MessageContent content;
  content.setOctets(content_.bytes());
  return verifyByCertificate(signer, oids::kTstInfo, content, authority);
}

Result<CertificatePtr> TimeStampToken::verifySignature(
    std::span<const CertificatePtr> others) const {
  Result<CertificatePtr> authority = findAuthority(others);
  if (!authority) {
    return authority;
  }
  const Result<void> good = verifySignatureOf(**authority);
  return good ? std::move(authority) : good.failure();
}

}  // namespace qx
