#ifndef QX_PROVIDER_MESSAGE_DECODED_ENVELOPED_H_
#define QX_PROVIDER_MESSAGE_DECODED_ENVELOPED_H_

#include <memory>
#include <optional>

#include "platform/crypt_msg.h"

#include "provider/key/private_key.h"
#include "provider/message/decoded.h"
#include "provider/message/encrypted_content.h"
#include "provider/message/enveloped_data.h"

namespace qx {

/// DecodedEnveloped is an EnvelopedData (RFC 5652, 6). Before CMSG_CTRL_DECRYPT its content is the
/// ciphertext, after it the plain content, which is wiped when the message goes.
class DecodedEnveloped final : public Decoded {
 public:
  static Result<std::unique_ptr<Decoded>> open(const der::Element& bare, bool detached);

  std::string_view type() const override;
  Result<void> param(DWORD type, DWORD index, ParamOutput& output) override;

  /// CMSG_CTRL_DECRYPT. CRYPT_E_ALREADY_DECRYPTED, CRYPT_E_INVALID_INDEX, ERROR_INVALID_PARAMETER
  /// without a provider handle, CRYPT_E_UNKNOWN_ALGO for content that we cannot decrypt, NTE_BAD_DATA
  /// when the key is not this recipient's, or the message was changed, as far as that can be told; else
  /// the errors of usableKey and recoverKey.
  Result<void> control(DWORD type, const void* para) override;

  /// Takes the ciphertext of a detached message, in one part.
  Result<void> addContent(der::Bytes part, bool final) override;

  der::Encoding bare() const override { return der::Encoding::borrowed(whole_); }

 private:
  DecodedEnveloped(der::Bytes whole, EnvelopedData data) : whole_(whole), data_(std::move(data)) {}

  Result<void> decrypt(const CMSG_CTRL_DECRYPT_PARA& para);
  Result<SecretBytes> decryptWith(const Recipient& recipient, const PrivateKey& key) const;
  Result<void> putContent(ParamOutput& output) const;
  Result<void> putRecipient(DWORD index, ParamOutput& output) const;

  der::Bytes whole_;
  EnvelopedData data_;
  EncryptedContent encrypted_;
  std::optional<SecretBytes> content_;
  DWORD decryptedIndex_ = 0;
};

}  // namespace qx

#endif
