#include "provider/message/decoder.h"

#include <utility>

#include "provider/message/content_info.h"
#include "provider/message/decoded_signed.h"
#include "provider/message/limits.h"

namespace qx {
namespace {

bool isControl(DWORD type) {
  return type == CMSG_CTRL_VERIFY_SIGNATURE || type == CMSG_CTRL_DECRYPT ||
         (type >= CMSG_CTRL_VERIFY_HASH && type <= CMSG_CTRL_ENABLE_STRONG_SIGNATURE);
}

}  // namespace

Result<void> Decoder::update(der::Bytes bytes, bool final) {
  if (stage_ == Stage::Done || (stage_ == Stage::Message && !final)) {
    return fail(CRYPT_E_MSG_ERROR);
  }
  if (bytes.size() > kMaxSize) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  if (stage_ == Stage::Content) {
    stage_ = final ? Stage::Done : Stage::Content;
    return decoded_->addContent(bytes, final);
  }
  stage_ = Stage::Done;  // a message that cannot be decoded is not tried again
  const Result<void> done = decodeMessage(bytes);
  if (done && detached_) {
    stage_ = Stage::Content;
  }
  return done;
}

Result<void> Decoder::decodeMessage(der::Bytes bytes) {
  const Result<der::Element> bare = bareElement(bytes);
  if (!bare) {
    return bare.failure();
  }
  Result<std::unique_ptr<Decoded>> decoded = decode(type_, *bare, detached_);
  if (!decoded) {
    return decoded.failure();
  }
  decoded_ = *std::move(decoded);
  return {};
}

// Bytes behind the message are ignored.
Result<der::Element> Decoder::bareElement(der::Bytes bytes) {
  der::Reader reader(bytes);
  if (bareInput_) {
    return reader.next();
  }
  const Result<ContentInfo> info = readContentInfo(reader);
  if (!info) {
    return info.failure();
  }
  const DWORD type = typeByOid(info->type);
  if (type == 0) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  const std::optional<der::Element> bare = info->content;
  if (!bare) {
    return fail(CRYPT_E_ASN1_EOD);
  }
  type_ = type;
  input_ = info->whole;
  return *bare;
}

Result<void> Decoder::param(DWORD type, DWORD index, ParamOutput& output) {
  if (type == CMSG_TYPE_PARAM) {
    return output.putNumber(type_);
  }
  if (decoded_ == nullptr) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  return type == CMSG_ENCODED_MESSAGE ? putMessage(output) : decoded_->param(type, index, output);
}

Result<void> Decoder::putMessage(ParamOutput& output) const {
  if (!decoded_->isChanged() && !input_.empty()) {
    return output.putBytes(input_);
  }
  const Result<der::Encoding> message = encodeContentInfo(decoded_->type(), decoded_->bare());
  return message ? output.putEncoding(*message) : message.failure();
}

Result<void> Decoder::control(DWORD type, const void* para) {
  if (!isControl(type)) {
    return fail(CRYPT_E_CONTROL_TYPE);
  }
  return decoded_ == nullptr ? fail(CRYPT_E_INVALID_MSG_TYPE) : decoded_->control(type, para);
}

Result<DecodedSigned*> decodedSigned(HCRYPTMSG handle) {
  const Result<Message*> message = messageFrom(handle);
  if (!message) {
    return message.failure();
  }
  auto* decoder = dynamic_cast<Decoder*>(*message);
  auto* decoded = decoder == nullptr ? nullptr : dynamic_cast<DecodedSigned*>(decoder->decoded());
  return decoded == nullptr ? Result<DecodedSigned*>(fail(CRYPT_E_INVALID_MSG_TYPE)) : decoded;
}

}  // namespace qx
