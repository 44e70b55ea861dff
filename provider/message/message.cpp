#include "provider/message/message.h"

#include "platform/errors.h"

namespace qx {

Message::~Message() {
  if (provider_ == 0) {
    return;
  }
  const DWORD before = GetLastError();
  if (CryptReleaseContext(provider_, 0) == FALSE) {
    SetLastError(before);  // closing a message succeeds, and leaves the last error alone
  }
}

void Message::release() {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
  }
}

Result<Message*> messageFrom(HCRYPTMSG handle) {
  auto* message = fromHandle<Message>(handle);
  return message == nullptr ? Result<Message*>(fail(ERROR_INVALID_HANDLE)) : message;
}

}  // namespace qx
