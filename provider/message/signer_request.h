#ifndef QX_PROVIDER_MESSAGE_SIGNER_REQUEST_H_
#define QX_PROVIDER_MESSAGE_SIGNER_REQUEST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/crypt_msg.h"

#include "provider/der/writer.h"
#include "provider/hash/hash.h"
#include "provider/key/private_key.h"
#include "provider/message/content.h"
#include "provider/result.h"

namespace qx {

/// signerRecords are the caller's signers, each short or long. The first one's cbSize tells which form they
/// all have, and so the step from one to the next. None when the caller gave no array.
std::vector<const CMSG_SIGNER_ENCODE_INFO*> signerRecords(const CMSG_SIGNED_ENCODE_INFO& info);

/// SignerRequest is a signer who is still to sign: a deep copy of the caller's record.
class SignerRequest {
 public:
  /// copy checks and copies a record, short or long by its cbSize. E_INVALIDARG for what is missing or
  /// malformed, CRYPT_E_UNKNOWN_ALGO for a hash that we do not know, NTE_BAD_ALGID for one that is
  /// broken. The private key is not looked for yet.
  static Result<SignerRequest> copy(const CMSG_SIGNER_ENCODE_INFO& info);

  /// sign makes the encoded SignerInfo over the content. Attributes are signed when there are any, when
  /// the content is not plain data or could pass for attributes itself, or when `forceAttributes`.
  /// Errors: those of usableKey and PrivateKey::signDigest, of MessageContent::hash.
  Result<std::vector<std::uint8_t>> sign(std::string_view contentType,
                                         MessageContent& content,
                                         bool forceAttributes) const;

  /// unsignedInfo is the SignerInfo before there is content: no attributes, an empty signature.
  Result<der::Encoding> unsignedInfo() const;

  /// The encoded SignerIdentifier.
  der::Bytes identifier() const { return identifier_; }

  HashAlgorithm hash() const { return hash_->algorithm; }

  /// The encoded digestAlgorithm.
  der::Bytes hashAlgorithm() const { return hashAlgorithm_; }

  DWORD version() const { return version_; }

  HCRYPTPROV provider() const { return provider_; }

 private:
  SignerRequest() = default;

  struct SignatureOverride {
    std::string oid;
    std::vector<std::uint8_t> parameters;
  };

  struct Signature {
    der::Encoding algorithm;
    std::vector<std::uint8_t> value;
  };

  Result<void> copyIdentity(const CMSG_SIGNER_ENCODE_INFO& info);
  Result<void> copyAlgorithms(const CMSG_SIGNER_ENCODE_INFO& info);
  Result<void> copyAttributes(const CMSG_SIGNER_ENCODE_INFO& info);
  Result<std::vector<std::uint8_t>> signedAttributes(std::string_view contentType,
                                                     const HashValue& digest) const;
  Result<Signature> makeSignature(const HashValue& digest) const;
  Result<der::Encoding> signatureAlgorithm(const PrivateKey& key,
                                           const HashValue& digest,
                                           der::Bytes signature) const;
  der::Encoding assemble(der::Bytes signedSet, Signature signature) const;

  DWORD version_ = 0;
  HCRYPTPROV provider_ = 0;
  const HashInfo* hash_ = nullptr;
  std::vector<std::uint8_t> identifier_;
  std::vector<std::uint8_t> hashAlgorithm_;
  std::string publicKeyOid_;
  std::optional<SignatureOverride> override_;
  std::vector<std::vector<std::uint8_t>> signed_;
  std::vector<std::vector<std::uint8_t>> unsigned_;
};

}  // namespace qx

#endif
