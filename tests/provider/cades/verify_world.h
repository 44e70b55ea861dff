#ifndef QX_TESTS_PROVIDER_CADES_VERIFY_WORLD_H_
#define QX_TESTS_PROVIDER_CADES_VERIFY_WORLD_H_

#include <chrono>
#include <string>
#include <vector>

#include "provider/chain/verify.h"
#include "tests/provider/chain/lab_data.h"
#include "tests/provider/message/messages.h"
#include "tests/support/provider_folder.h"
#include "tools/lab/pki.h"
#include "tools/lab/time_stamp.h"

namespace qx::test {

struct WorldOptions {
  lab::KeyKind kind = lab::KeyKind::EcP256;
  /// When the signer signed and got his time stamps, from now.
  std::chrono::seconds when{0};
  /// The validity of the signer's certificate, from then.
  std::chrono::seconds signerFrom = -lab::kDay;
  std::chrono::seconds signerUntil = lab::kDay;
};

/// VerifyWorld is a PKI around one signer: a trusted root, which certifies an issuer and two time-stamp
/// authorities; the issuer certifies the signer. The revocation lists were made a minute after the
/// signature and held for a day. The provider trusts the root.
class VerifyWorld {
 public:
  explicit VerifyWorld(const WorldOptions& options = {});

  std::chrono::seconds when() const { return when_; }

  const ProviderFolder& folder() const { return folder_; }

  const lab::Authority& root() const { return root_; }

  const lab::Authority& issuer() const { return issuer_; }

  EVP_PKEY* signerKey() const { return signerKey_.get(); }

  X509* signer() const { return signer_.get(); }

  /// The authority of signature stamps, and the one of CAdES-C stamps.
  const lab::TimeStampAuthority& firstAuthority() const { return firstAuthority_; }

  const lab::TimeStampAuthority& lastAuthority() const { return lastAuthority_; }

  /// A list of the root or the issuer, made a minute after the signature, for a day; from now, so that
  /// it is good for a judgement now, when `isFresh`.
  X509CrlPtr crl(const lab::Authority& authority,
                 std::vector<lab::RevokedEntry> revoked = {},
                 bool isFresh = false) const;

  /// storeCrls puts fresh lists of both into the provider's stores.
  void storeCrls(const std::vector<lab::RevokedEntry>& revokedByIssuer = {},
                 const std::vector<lab::RevokedEntry>& revokedByRoot = {}) const;

 private:
  std::chrono::seconds when_;
  ProviderFolder folder_;
  lab::Authority root_;
  lab::Authority issuer_;
  EvpPkeyPtr signerKey_;
  X509Ptr signer_;
  lab::TimeStampAuthority firstAuthority_;
  lab::TimeStampAuthority lastAuthority_;
};

}  // namespace qx::test

#endif
