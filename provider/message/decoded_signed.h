#ifndef QX_PROVIDER_MESSAGE_DECODED_SIGNED_H_
#define QX_PROVIDER_MESSAGE_DECODED_SIGNED_H_

#include <memory>

#include "provider/message/decoded.h"
#include "provider/message/message.h"
#include "provider/message/signed_data.h"

namespace qx {

/// DecodedSigned is a SignedData with its content: what parameters and controls of signed messages
/// work on.
class DecodedSigned final : public Decoded {
 public:
  static Result<std::unique_ptr<Decoded>> open(const der::Element& bare, bool detached);

  std::string_view type() const override;
  Result<void> param(DWORD type, DWORD index, ParamOutput& output) override;
  Result<void> control(DWORD type, const void* para) override;
  Result<void> addContent(der::Bytes part, bool final) override;

  bool isChanged() const override { return data_.isChanged(); }

  der::Encoding bare() const override { return data_.encode(); }

  /// The message and its content, for whoever adds signers and attributes.
  SignedData& data() { return data_; }

  MessageContent& content() { return content_; }

 private:
  explicit DecodedSigned(SignedData data) : data_(std::move(data)) {}

  Result<void> signerParam(DWORD type, const SignerInfo& signer, ParamOutput& output);

  SignedData data_;
  MessageContent content_;
};

/// decodedSigned gives the signed message that a handle has decoded. ERROR_INVALID_HANDLE,
/// CRYPT_E_INVALID_MSG_TYPE.
Result<DecodedSigned*> decodedSigned(HCRYPTMSG handle);

}  // namespace qx

#endif
