#include "provider/message/message.h"

namespace qx {

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
