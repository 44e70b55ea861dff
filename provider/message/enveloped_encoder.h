#ifndef QX_PROVIDER_MESSAGE_ENVELOPED_ENCODER_H_
#define QX_PROVIDER_MESSAGE_ENVELOPED_ENCODER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "provider/cipher/content_cipher.h"
#include "provider/key/shared_keys.h"
#include "provider/message/encoder.h"
#include "provider/support/wipe.h"

namespace qx {

/// EnvelopedEncoder makes an EnvelopedData (RFC 5652, 6) of GOST 28147-89 content for any number of
/// recipients, also none, by key transport.
class EnvelopedEncoder final : public Encoder {
 public:
  /// open checks and copies the caller's records. Without parameters the content's cipher takes the
  /// configured set and a random initial value. E_INVALIDARG, CRYPT_E_UNKNOWN_ALGO for another cipher,
  /// NTE_BAD_ALGID for an unknown set or a key that cannot be a recipient's, CRYPT_E_ASN1_... for
  /// parameters or keys that are none.
  static Result<std::unique_ptr<Message>> open(DWORD flags,
                                               std::string contentType,
                                               const CMSG_ENVELOPED_ENCODE_INFO* info);

 protected:
  std::string_view type() const override;
  Result<der::Encoding> bare() override;

  std::vector<HashAlgorithm> hashAlgorithms() const override { return {}; }

  Result<void> finish() override;

  DWORD refusalOfParts() const override { return refusal_; }

  Result<void> ownParam(DWORD type, DWORD index, ParamOutput& output) override;

 private:
  struct Recipient {
    std::vector<std::uint8_t> id;         ///< IssuerAndSerialNumber
    std::vector<std::uint8_t> algorithm;  ///< AlgorithmIdentifier of the key
    PublicKeyPtr key;
  };

  EnvelopedEncoder(DWORD flags, std::string contentType);

  Result<void> chooseCipher(const CRYPT_ALGORITHM_IDENTIFIER& algorithm);
  Result<void> copyRecipients(const CMSG_ENVELOPED_ENCODE_INFO& info);
  Result<void> encryptContent(der::Bytes session);
  Result<void> encryptKeys(der::Bytes session);
  static Result<Recipient> copyRecipient(const CERT_INFO* info);

  DWORD refusal_;
  Gost28147Parameters parameters_;
  std::vector<Recipient> recipients_;
  std::vector<std::vector<std::uint8_t>> encryptedKeys_;  // a RecipientInfo each
  SecretBytes encrypted_;                                 // the plain content at first
};

}  // namespace qx

#endif
