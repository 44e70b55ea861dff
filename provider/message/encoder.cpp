#include "provider/message/encoder.h"

#include "provider/message/content_info.h"
#include "provider/message/limits.h"
#include "provider/message/oids.h"

namespace qx {

Result<void> Encoder::update(der::Bytes bytes, bool final) {
  if (closed_) {
    return fail(NTE_BAD_HASH_STATE);
  }
  if (finished_) {
    return fail(CRYPT_E_MSG_ERROR);
  }
  if (!final && !isDetached()) {
    return fail(refusalOfParts());
  }
  if (bytes.size() > kMaxSize) {
    return fail(E_INVALIDARG);
  }
  finished_ = final;
  const Result<void> done = take(bytes, final);
  failed_ = !done;
  return done;
}

Result<void> Encoder::take(der::Bytes bytes, bool final) {
  const Result<void> taken =
      isDetached() ? content_.addPart(bytes, final, hashAlgorithms()) : attach(bytes);
  return taken && final ? finish() : taken;
}

Result<void> Encoder::attach(der::Bytes bytes) {
  attached_ = bytes;
  if (contentType_ == oids::kData || isEncapsulated() || bytes.empty()) {
    content_.setOctets(bytes);
    return {};
  }
  // PKCS #7: the content is an element, hashed without its header.
  der::Reader reader(bytes);
  const Result<der::Element> element = reader.next();
  if (!element) {
    return element.failure();
  }
  content_.setOctets(element->content);
  return reader.expectEnd();
}

Result<void> Encoder::closeContent() {
  closed_ = true;
  finished_ = true;
  return content_.addPart({}, /*final=*/true, hashAlgorithms());
}

bool Encoder::isEncapsulated() const {
  return hasFlag(CMSG_CMS_ENCAPSULATED_CONTENT_FLAG) && contentType_ != oids::kData;
}

Result<der::Encoding> Encoder::innerContentInfo() const {
  if (!finished_) {
    return encodeContentInfo({}, {});
  }
  if (isDetached() || attached_.empty()) {
    return encodeContentInfo(contentType_, {});
  }
  const bool string = contentType_ == oids::kData || isEncapsulated();
  return encodeContentInfo(
      contentType_, string ? der::octetString(attached_) : der::Encoding::borrowed(attached_));
}

Result<void> Encoder::param(DWORD type, DWORD index, ParamOutput& output) {
  if (type != CMSG_CONTENT_PARAM && type != CMSG_BARE_CONTENT_PARAM) {
    return ownParam(type, index, output);
  }
  if (failed_) {
    return fail(CRYPT_E_MSG_ERROR);
  }
  Result<der::Encoding> encoding = bare();
  if (encoding && type == CMSG_CONTENT_PARAM) {
    encoding = encodeContentInfo(this->type(), *std::move(encoding));
  }
  return encoding ? output.putEncoding(*encoding) : encoding.failure();
}

Result<void> Encoder::control(DWORD /*type*/, const void* /*para*/) {
  return fail(E_INVALIDARG);
}

}  // namespace qx
