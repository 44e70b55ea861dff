#ifndef QX_PROVIDER_MESSAGE_SIGNED_ENCODER_H_
#define QX_PROVIDER_MESSAGE_SIGNED_ENCODER_H_

#include <memory>
#include <string>
#include <vector>

#include "provider/message/certificate_set.h"
#include "provider/message/encoder.h"
#include "provider/message/signer_request.h"

namespace qx {

/// SignedEncoder makes a SignedData (RFC 5652, 5): any number of signers, also none, over one content.
class SignedEncoder final : public Encoder {
 public:
  /// open checks and copies the caller's records. E_INVALIDARG, also for two signers under one
  /// identifier or two certificates with one issuer and serial number; CRYPT_E_UNKNOWN_ALGO,
  /// NTE_BAD_ALGID, CRYPT_E_ASN1_... for what is no certificate or CRL.
  static Result<std::unique_ptr<Message>> open(DWORD flags,
                                               std::string contentType,
                                               const CMSG_SIGNED_ENCODE_INFO* info);

  ~SignedEncoder() override;
  SignedEncoder(const SignedEncoder&) = delete;
  SignedEncoder& operator=(const SignedEncoder&) = delete;
  SignedEncoder(SignedEncoder&&) = delete;
  SignedEncoder& operator=(SignedEncoder&&) = delete;

 protected:
  std::string_view type() const override;
  Result<der::Encoding> bare() override;
  std::vector<HashAlgorithm> hashAlgorithms() const override;
  Result<void> finish() override;
  Result<void> ownParam(DWORD type, DWORD index, ParamOutput& output) override;

 private:
  SignedEncoder(DWORD flags, std::string contentType) : Encoder(flags, std::move(contentType)) {}

  Result<void> copySigners(const CMSG_SIGNED_ENCODE_INFO& info);
  Result<void> copyCertificates(const CMSG_SIGNED_ENCODE_INFO& info);
  bool haveDistinctSigners() const;
  DWORD version() const;
  der::Encoding hashAlgorithmSet() const;
  Result<der::Encoding> signerSet() const;
  Result<void> putEncodedSigner(DWORD index, ParamOutput& output) const;
  Result<void> putHash(DWORD index, ParamOutput& output);
  void releaseProviders();

  std::vector<SignerRequest> requests_;
  std::vector<std::vector<std::uint8_t>> signers_;  // encoded, once they have signed
  CertificateSet certificates_{CertificateSet::Kind::Certificates};
  CertificateSet crls_{CertificateSet::Kind::Crls};
  bool ownsProviders_ = false;
};

}  // namespace qx

#endif
