#ifndef QX_PROVIDER_MESSAGE_SIGNED_DATA_H_
#define QX_PROVIDER_MESSAGE_SIGNED_DATA_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "provider/message/certificate_set.h"
#include "provider/message/content_info.h"
#include "provider/message/signer_info.h"
#include "provider/message/signer_request.h"

namespace qx {

/// SignedData (RFC 5652, 5.1) as it was received, with what was added since. Nothing that was received
/// is encoded anew: the parts are slices of the caller's bytes, only the lengths around them change.
class SignedData {
 public:
  /// read takes the encoded SignedData, borrowed. CRYPT_E_ASN1_... for malformed input,
  /// CRYPT_E_ASN1_LARGE above a limit. Two signers under one identifier, or two certificates with one
  /// issuer and serial number, are refused (CRYPT_E_ASN1_CORRUPT) unless every signer says by a signed
  /// signing-certificate attribute which certificate is his.
  static Result<SignedData> read(der::Bytes encoded);

  /// The version, as the message says.
  std::uint64_t version() const { return version_; }

  const ContentInfo& contentInfo() const { return contentInfo_; }

  const std::vector<SignerInfo>& signers() const { return signers_; }

  /// The signer with this index; CRYPT_E_INVALID_INDEX.
  Result<const SignerInfo*> signer(std::size_t index) const;

  const CertificateSet& certificates() const { return certificates_; }

  const CertificateSet& crls() const { return crls_; }

  /// The hash algorithms of the signers that we know, each once.
  std::vector<HashAlgorithm> hashAlgorithms() const;

  /// newSigner signs the content for one who may join. CRYPT_E_EXISTS when there is a signer under this
  /// identifier already, unless both have a signing-certificate attribute.
  Result<SignerInfo> newSigner(const SignerRequest& request, MessageContent& content) const;

  /// addSigner puts one who may join behind the others.
  void addSigner(SignerInfo signer);

  /// addSigner does both.
  Result<void> addSigner(const SignerRequest& request, MessageContent& content);

  /// replaceSigner puts a signer with other unsigned attributes in his own place; `index` is good.
  void replaceSigner(std::size_t index, SignerInfo signer);

  Result<void> removeSigner(std::size_t index);

  /// addUnsignedAttribute puts an encoded attribute behind the unsigned ones of signer `index`.
  Result<void> addUnsignedAttribute(std::size_t index, der::Bytes attribute);

  Result<void> removeUnsignedAttribute(std::size_t index, std::size_t attribute);

  /// addCertificate copies a certificate in; CRYPT_E_EXISTS when another one has its issuer and serial
  /// number.
  Result<void> addCertificate(der::Bytes certificate);

  Result<void> removeCertificate(std::size_t index);

  Result<void> addCrl(der::Bytes crl);

  Result<void> removeCrl(std::size_t index);

  bool isChanged() const { return changed_; }

  /// The SignedData as it is now. It borrows from this object.
  der::Encoding encode() const;

 private:
  SignedData() = default;

  Result<void> readHead(der::Reader& reader);
  Result<void> readSets(der::Reader& reader);
  Result<void> readSigners(der::Bytes content);
  Result<void> check() const;
  bool isVersionGood() const;
  std::uint64_t versionNow() const;
  bool hasOtherForms() const;
  bool isAmbiguous() const;
  bool isAmbiguousWith(const SignerInfo& joining) const;
  bool listsHashAlgorithm(std::string_view oid) const;
  der::Encoding hashAlgorithmSet() const;
  Result<void> addTo(CertificateSet& set, der::Bytes encoded);

  der::Bytes whole_;
  std::uint64_t version_ = 0;
  der::Bytes encodedVersion_;
  der::Bytes hashAlgorithms_;  // the content of the set
  std::vector<std::string> hashOids_;
  ContentInfo contentInfo_;
  CertificateSet certificates_{CertificateSet::Kind::Certificates};
  CertificateSet crls_{CertificateSet::Kind::Crls};
  std::vector<SignerInfo> signers_;
  bool changed_ = false;
};

}  // namespace qx

#endif
