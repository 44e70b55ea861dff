#ifndef QX_PROVIDER_MESSAGE_ENCODER_H_
#define QX_PROVIDER_MESSAGE_ENCODER_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/message/content.h"
#include "provider/message/message.h"

namespace qx {

/// Encoder is what messages that are being made have in common: the order of their updates, their
/// content, and how it is read out.
class Encoder : public Message {
 public:
  Result<void> update(der::Bytes bytes, bool final) override;
  Result<void> param(DWORD type, DWORD index, ParamOutput& output) override;
  Result<void> control(DWORD type, const void* para) override;

 protected:
  /// `contentType` is the dotted type of the content.
  Encoder(DWORD flags, std::string contentType)
      : flags_(flags), contentType_(std::move(contentType)) {}

  bool isDetached() const { return (flags_ & CMSG_DETACHED_FLAG) != 0; }

  bool hasFlag(DWORD flag) const { return (flags_ & flag) != 0; }

  /// All content is there.
  bool isFinished() const { return finished_; }

  const std::string& contentType() const { return contentType_; }

  MessageContent& content() { return content_; }

  /// The bytes that stand in the message; none when it is detached.
  der::Bytes attached() const { return attached_; }

  /// Content that is not plain data and stands in an OCTET STRING, as CMS has it.
  bool isEncapsulated() const;

  /// The ContentInfo inside the message; of an empty type until the content is there.
  Result<der::Encoding> innerContentInfo() const;

  /// Takes the content as it is now for the whole of it.
  Result<void> closeContent();

  /// The type of the message, dotted.
  virtual std::string_view type() const = 0;

  /// The message without the ContentInfo around it.
  virtual Result<der::Encoding> bare() = 0;

  /// What content in several parts is hashed with as it comes.
  virtual std::vector<HashAlgorithm> hashAlgorithms() const = 0;

  /// Works on the whole content: hashes, signs.
  virtual Result<void> finish() = 0;

  /// The answer to an update that is not final where the content has to come in one piece.
  virtual DWORD refusalOfParts() const { return CRYPT_E_MSG_ERROR; }

  /// A parameter other than CONTENT and BARE_CONTENT.
  virtual Result<void> ownParam(DWORD type, DWORD index, ParamOutput& output) = 0;

 private:
  Result<void> take(der::Bytes bytes, bool final);
  Result<void> attach(der::Bytes bytes);

  DWORD flags_;
  std::string contentType_;
  MessageContent content_;
  der::Bytes attached_;
  bool finished_ = false;
  bool failed_ = false;
  bool closed_ = false;  // the hash was taken before the content was complete
};

}  // namespace qx

#endif
