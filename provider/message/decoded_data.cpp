#include "provider/message/decoded_data.h"

#include <utility>

#include "platform/crypt_msg.h"

#include "provider/message/content_info.h"
#include "provider/message/oids.h"

namespace qx {

Result<std::unique_ptr<Decoded>> DecodedData::open(const der::Element& bare, bool /*detached*/) {
  if (!isString(bare)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  std::unique_ptr<DecodedData> data(new DecodedData(bare.whole));
  if (const Result<void> done = data->content_.setString(bare); !done) {
    return done.failure();
  }
  return std::unique_ptr<Decoded>(std::move(data));
}

std::string_view DecodedData::type() const {
  return oids::kData;
}

Result<void> DecodedData::param(DWORD type, DWORD /*index*/, ParamOutput& output) {
  if (type != CMSG_CONTENT_PARAM) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  return putContent(content_, output);
}

Result<void> DecodedData::control(DWORD /*type*/, const void* /*para*/) {
  return fail(CRYPT_E_INVALID_MSG_TYPE);
}

Result<void> DecodedData::addContent(der::Bytes /*part*/, bool /*final*/) {
  return fail(CRYPT_E_MSG_ERROR);
}

}  // namespace qx
