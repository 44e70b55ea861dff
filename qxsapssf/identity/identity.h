#ifndef QX_QXSAPSSF_IDENTITY_IDENTITY_H_
#define QX_QXSAPSSF_IDENTITY_IDENTITY_H_

#include <cstdint>
#include <string_view>

#include "platform/cert.h"

#include "qxsapssf/identity/dn.h"
#include "qxsapssf/owned_bytes.h"

namespace qx {

/// Identity is what an identity string names: the certificate of a thumbprint, or every certificate
/// whose subject holds all attributes of a distinguished name.
class Identity {
 public:
  enum class Match : std::uint8_t { Matches, Differs, Unreadable };

  /// read takes the string in, once. False when it is no distinguished name, or when there is no memory
  /// for a thumbprint.
  bool read(std::string_view text);

  /// What CertFindCertificateInStore looks for. The parameter lives as long as the object stays in its
  /// place.
  DWORD findType() const noexcept;
  const void* findParameter() const noexcept;

  /// match judges a certificate that was found so. Unreadable: its subject does not parse.
  Match match(const CERT_INFO& certificate) const;

 private:
  bool isThumbprint_ = false;
  OwnedBytes thumbprintBytes_;
  CRYPT_HASH_BLOB thumbprint_{};
  DnEntries wanted_;
};

}  // namespace qx

#endif
