#include "qxsapssf/message_params.h"

#include <cstdint>

#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/trace.h"

namespace qx {

SAPRETURN readParam(const char* function,
                    HCRYPTMSG message,
                    DWORD param,
                    DWORD index,
                    SAPRETURN failure,
                    OwnedBytes& bytes,
                    std::source_location where) noexcept {
  bytes = OwnedBytes();
  DWORD size = 0;
  if (CryptMsgGetParam(message, param, index, nullptr, &size) == FALSE) {
    return failedCall(function, failure, where);
  }
  return readSizedParam(function, message, param, index, size, failure, bytes, where);
}

SAPRETURN readSizedParam(const char* function,
                         HCRYPTMSG message,
                         DWORD param,
                         DWORD index,
                         DWORD size,
                         SAPRETURN failure,
                         OwnedBytes& bytes,
                         std::source_location where) noexcept {
  bytes = OwnedBytes();
  if (size > INT32_MAX) {
    QX_TRACE_AT(static_cast<int>(where.line()),
                function,
                "#error#: %u bytes are more than a length can tell\n",
                size);
    return failure;
  }
  OwnedBytes buffer = OwnedBytes::allocate(size);
  if (!buffer) {
    return failedCall(function, SSF_API_NO_MEMORY, where);
  }
  DWORD read = size;
  if (CryptMsgGetParam(message, param, index, buffer.data(), &read) == FALSE || read > size) {
    return failedCall(function, failure, where);
  }
  buffer.shrinkTo(read);
  bytes = std::move(buffer);
  return SSF_API_OK;
}

bool fetchParam(HCRYPTMSG message, DWORD param, DWORD index, OwnedBytes& bytes) noexcept {
  bytes = OwnedBytes();
  DWORD size = 0;
  if (CryptMsgGetParam(message, param, index, nullptr, &size) == FALSE || size > INT32_MAX) {
    return false;
  }
  OwnedBytes buffer = OwnedBytes::allocate(size);
  DWORD read = size;
  if (!buffer || CryptMsgGetParam(message, param, index, buffer.data(), &read) == FALSE ||
      read > size) {
    return false;
  }
  buffer.shrinkTo(read);
  bytes = std::move(buffer);
  return true;
}

}  // namespace qx
