#include "provider/message/data_encoder.h"

#include <string>

#include "provider/message/oids.h"

namespace qx {

DataEncoder::DataEncoder(DWORD flags)
    : Encoder(flags & ~CMSG_DETACHED_FLAG, std::string(oids::kData)),
      refusal_((flags & CMSG_DETACHED_FLAG) != 0 ? E_INVALIDARG : CRYPT_E_MSG_ERROR) {}

Result<std::unique_ptr<Message>> DataEncoder::open(DWORD flags, const void* info) {
  if (info != nullptr) {
    return fail(E_INVALIDARG);
  }
  return std::unique_ptr<Message>(new DataEncoder(flags));
}

std::string_view DataEncoder::type() const {
  return oids::kData;
}

Result<der::Encoding> DataEncoder::bare() {
  return der::octetString(attached());
}

Result<void> DataEncoder::ownParam(DWORD /*type*/, DWORD /*index*/, ParamOutput& /*output*/) {
  return fail(CRYPT_E_INVALID_MSG_TYPE);
}

}  // namespace qx
