#ifndef QX_PROVIDER_CADES_BES_SIGNER_H_
#define QX_PROVIDER_CADES_BES_SIGNER_H_

#include <cstdint>
#include <list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/crypt_msg.h"

#include "provider/chain/name_index.h"
#include "provider/result.h"

namespace qx {

/// BesSigner is a signer's record with the signed attributes of CAdES-BES (RFC 5126, 4.3.1) beside the
/// caller's own: signingTime, now, and the signing certificate under the signer's hash. One that the
/// caller gives himself stands as it is.
class BesSigner {
 public:
  /// make completes a record, short or long by its cbSize. `certificates` are those that go into the
  /// message. Errors: E_INVALIDARG, CRYPT_E_UNKNOWN_ALGO, CRYPT_E_SIGNER_NOT_FOUND when the
  /// certificate is not at hand.
  static Result<BesSigner> make(const CMSG_SIGNER_ENCODE_INFO& record,
                                std::span<const CertificatePtr> certificates);

  ~BesSigner() = default;
  BesSigner(BesSigner&&) noexcept = default;
  BesSigner& operator=(BesSigner&&) noexcept = default;
  BesSigner(const BesSigner&) = delete;
  BesSigner& operator=(const BesSigner&) = delete;

  /// The completed record, of the long form. It borrows from this object and from what the caller's
  /// record points at.
  const CMSG_SIGNER_ENCODE_INFO_LONG& record() const { return record_; }

  /// The signer's certificate; null when the caller named it himself.
  const CertificatePtr& certificate() const { return certificate_; }

 private:
  BesSigner() = default;

  /// An attribute of one value, which its record points into.
  struct Added {
    std::string type;
    std::vector<std::uint8_t> value;
    CRYPT_ATTR_BLOB blob;
  };

  bool has(std::string_view type) const;
  void add(std::string_view type, std::vector<std::uint8_t> value);

  CMSG_SIGNER_ENCODE_INFO_LONG record_{};
  std::vector<CRYPT_ATTRIBUTE> attributes_;
  CertificatePtr certificate_;
  std::list<Added> added_;  // moving the list leaves them where they are
};

}  // namespace qx

#endif
