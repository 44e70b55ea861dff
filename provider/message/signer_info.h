#ifndef QX_PROVIDER_MESSAGE_SIGNER_INFO_H_
#define QX_PROVIDER_MESSAGE_SIGNER_INFO_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/crypt_msg.h"

#include "provider/der/slice.h"
#include "provider/der/values.h"
#include "provider/message/attributes.h"
#include "provider/message/signer_id.h"

namespace qx {

/// SignerInfo is one signer of a message (RFC 5652, 5.3) over the bytes it was read from.
class SignerInfo {
 public:
  /// read takes the encoded SignerInfo, borrowed or its own. What the standard forbids is refused with
  /// CRYPT_E_ASN1_CORRUPT: a version that does not fit the identifier, parameters that no algorithm
  /// here has, a signed attribute that is repeated.
  static Result<SignerInfo> read(der::Slice encoded);

  der::Bytes encoded() const { return encoded_.bytes(); }

  DWORD version() const { return version_; }

  const SignerId& id() const { return id_; }

  const der::AlgorithmIdentifier& hashAlgorithm() const { return hashAlgorithm_; }

  const der::AlgorithmIdentifier& signatureAlgorithm() const { return signatureAlgorithm_; }

  der::Bytes signature() const { return signature_.bytes(); }

  bool hasSignedAttributes() const { return signedContent_.has_value(); }

  /// The content octets of the set of signed attributes, as they were signed behind another header.
  der::Bytes signedContent() const { return signedContent_.value_or(der::Bytes{}); }

  const Attributes& signedAttributes() const { return signed_; }

  const Attributes& unsignedAttributes() const { return unsigned_; }

  /// withUnsignedAttributes makes this SignerInfo with other unsigned attributes, each an encoded
  /// attribute; everything before them stays as it is.
  der::Encoding withUnsignedAttributes(const std::vector<der::Bytes>& attributes) const;

  /// withAdded is a copy of this SignerInfo with more attributes, each encoded, behind its unsigned ones.
  /// CRYPT_E_ASN1_...: one is no attribute; CRYPT_E_ASN1_LARGE above kMaxAttributes.
  Result<SignerInfo> withAdded(const std::vector<der::Bytes>& attributes) const;

 private:
  SignerInfo() = default;

  Result<void> readFields(der::Reader& reader);
  Result<void> readIdentifier(der::Reader& reader);
  Result<void> readSignature(der::Reader& reader);
  Result<void> readSignedAttributes(der::Reader& reader);
  Result<void> readUnsignedAttributes(der::Reader& reader);

  der::Slice encoded_;
  DWORD version_ = 0;
  SignerId id_;
  der::AlgorithmIdentifier hashAlgorithm_;
  der::AlgorithmIdentifier signatureAlgorithm_;
  der::Slice signature_;
  std::optional<der::Bytes> signedContent_;
  Attributes signed_;
  Attributes unsigned_;
  der::Bytes beforeUnsigned_;
};

/// layOutSigner fills the record of CMSG_SIGNER_INFO_PARAM.
void layOutSigner(const SignerInfo& signer, CMSG_SIGNER_INFO& record, OnePiece& piece);

/// layOutSigner fills the record of CMSG_CMS_SIGNER_INFO_PARAM.
void layOutSigner(const SignerInfo& signer, CMSG_CMS_SIGNER_INFO& record, OnePiece& piece);

}  // namespace qx

#endif
