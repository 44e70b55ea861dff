#ifndef QX_PROVIDER_MESSAGE_DECODER_H_
#define QX_PROVIDER_MESSAGE_DECODER_H_

#include <memory>

#include "provider/message/decoded.h"
#include "provider/message/message.h"

namespace qx {

/// Decoder is a message that is read: first the message, in one update, then, when it is detached, the
/// content, in any number of updates.
class Decoder final : public Message {
 public:
  /// `type` 0: the input is a ContentInfo, which tells its type; else the bare content of that type.
  Decoder(DWORD flags, DWORD type)
      : type_(type), bareInput_(type != 0), detached_((flags & CMSG_DETACHED_FLAG) != 0) {}

  Result<void> update(der::Bytes bytes, bool final) override;
  Result<void> param(DWORD type, DWORD index, ParamOutput& output) override;
  Result<void> control(DWORD type, const void* para) override;

  /// What was decoded; null before that.
  Decoded* decoded() { return decoded_.get(); }

 private:
  enum class Stage : std::uint8_t { Message, Content, Done };

  Result<void> decodeMessage(der::Bytes bytes);
  Result<der::Element> bareElement(der::Bytes bytes);
  Result<void> putMessage(ParamOutput& output) const;

  DWORD type_;
  bool bareInput_;
  bool detached_;
  Stage stage_ = Stage::Message;
  der::Bytes input_;  // the ContentInfo, without what follows it
  std::unique_ptr<Decoded> decoded_;
};

}  // namespace qx

#endif
