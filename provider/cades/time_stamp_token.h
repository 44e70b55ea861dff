#ifndef QX_PROVIDER_CADES_TIME_STAMP_TOKEN_H_
#define QX_PROVIDER_CADES_TIME_STAMP_TOKEN_H_

#include <ctime>
#include <span>
#include <vector>

#include "provider/cades/time_stamp_info.h"
#include "provider/chain/name_index.h"
#include "provider/der/slice.h"
#include "provider/message/signed_data.h"
#include "provider/result.h"

namespace qx {

/// TimeStampToken is a time stamp (RFC 3161, 2.4.2): a signed message over a TSTInfo. What it says
/// counts for nothing before verifySignature and the check of its authority (time_stamp_authority.h).
class TimeStampToken {
 public:
  /// read takes the encoded token, borrowed. CRYPT_E_ASN1_... for malformed input,
  /// CRYPT_E_INVALID_MSG_TYPE for a message that is no token, CRYPT_E_UNKNOWN_ALGO for an imprint by a
  /// hash that we do not know or do not sign with.
  static Result<TimeStampToken> read(der::Bytes encoded);

  der::Bytes encoded() const { return encoded_; }

  const TimeStampInfo& info() const { return info_; }

  /// The stamp's time in seconds since 1970, rounded down.
  std::time_t seconds() const;

  /// The message inside.
  const SignedData& signedData() const { return data_; }

  /// The certificates inside; what we cannot read is left out.
  const std::vector<CertificatePtr>& certificates() const { return certificates_; }

  /// findAuthority gives the certificate of who says to have signed this, inside or in `others`. There must
  /// be exactly one signer, who names his certificate in a signed signing-certificate attribute.
  /// CRYPT_E_SIGNER_NOT_FOUND: there is no such certificate; CRYPT_E_ATTRIBUTES_MISSING: no such attribute;
  /// CRYPT_E_NO_SIGNER: not exactly one signer.
  Result<CertificatePtr> findAuthority(std::span<const CertificatePtr> others = {}) const;

  /// verifySignatureOf proves that the authority that was found has signed this. CRYPT_E_AUTH_ATTR_MISSING: no
  /// contentType; else as verifySigner.
  Result<void> verifySignatureOf(const CertificateData& authority) const;

  /// verifySignature does both.
  Result<CertificatePtr> verifySignature(std::span<const CertificatePtr> others = {}) const;

 private:
  TimeStampToken(der::Bytes encoded, SignedData data, der::Slice content)
      : encoded_(encoded), data_(std::move(data)), content_(std::move(content)) {}

  der::Bytes encoded_;
  SignedData data_;
  der::Slice content_;  // the TSTInfo
  TimeStampInfo info_;
  std::vector<CertificatePtr> certificates_;
};

}  // namespace qx

#endif
