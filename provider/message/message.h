#ifndef QX_PROVIDER_MESSAGE_MESSAGE_H_
#define QX_PROVIDER_MESSAGE_MESSAGE_H_

#include <atomic>

#include "platform/crypt_msg.h"
#include "platform/crypt_prov.h"

#include "provider/der/tag.h"
#include "provider/handle.h"
#include "provider/message/param_output.h"
#include "provider/result.h"

namespace qx {

/// Message is the object behind HCRYPTMSG: an encoder or a decoder. Counted references; one thread at
/// a time may use a message, several may hold it.
class Message : public Tagged<HandleTag::Message> {
 public:
  Message() = default;
  virtual ~Message();
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  Message(Message&&) = delete;
  Message& operator=(Message&&) = delete;

  void retain() { references_.fetch_add(1, std::memory_order_relaxed); }

  /// Gives one reference back; the last one deletes the message.
  void release();

  /// CryptMsgUpdate. The bytes are borrowed until the message is gone.
  virtual Result<void> update(der::Bytes bytes, bool final) = 0;

  /// CryptMsgGetParam. CRYPT_E_INVALID_MSG_TYPE for a parameter that does not fit.
  virtual Result<void> param(DWORD type, DWORD index, ParamOutput& output) = 0;

  /// CryptMsgControl; `para` may be null.
  virtual Result<void> control(DWORD type, const void* para) = 0;

  /// Makes the message the owner of a provider handle: it is released with the message.
  void own(HCRYPTPROV provider) { provider_ = provider; }

 private:
  std::atomic<unsigned> references_{1};
  HCRYPTPROV provider_ = 0;
};

/// messageFrom gives the message behind a handle; ERROR_INVALID_HANDLE.
Result<Message*> messageFrom(HCRYPTMSG handle);

}  // namespace qx

#endif
