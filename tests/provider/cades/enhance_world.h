#ifndef QX_TESTS_PROVIDER_CADES_ENHANCE_WORLD_H_
#define QX_TESTS_PROVIDER_CADES_ENHANCE_WORLD_H_

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "provider/cades/time_stamp_service.h"
#include "provider/message/decoded_signed.h"
#include "tests/provider/cades/bes.h"
#include "tools/lab/time_stamp.h"

namespace qx::test {

/// LabTimeStamps is a service that stamps with an authority of the lab, and remembers what it was asked.
class LabTimeStamps final : public TimeStampService {
 public:
  explicit LabTimeStamps(const lab::TimeStampAuthority& authority) : authority_(&authority) {}

  Result<TimeStamp> stamp(HashAlgorithm algorithm,
                          der::Bytes imprint,
                          const Meanwhile& work) override;

  /// failFrom lets every request from this one on, counted from 0, fail with the error.
  void failFrom(std::size_t request, DWORD error) { failure_ = {request, error}; }

  /// spoil lets the stamp for this request, counted from 0, have a bad signature.
  void spoil(std::size_t request) { spoiled_ = request; }

  std::size_t requests() const { return imprints_.size(); }

  const std::vector<Octets>& imprints() const { return imprints_; }

  const std::vector<HashAlgorithm>& algorithms() const { return algorithms_; }

 private:
  const lab::TimeStampAuthority* authority_;
  std::vector<Octets> imprints_;
  std::vector<HashAlgorithm> algorithms_;
  std::pair<std::size_t, DWORD> failure_{SIZE_MAX, ERROR_SUCCESS};
  std::size_t spoiled_ = SIZE_MAX;
};

struct EnhanceOptions {
  lab::KeyKind kind = lab::KeyKind::EcP256;
  bool isTrusted = true;
  bool hasCrls = true;
};

/// EnhanceWorld is a PKI in the provider's stores: a root, which certifies an issuer and a time-stamp
/// authority; the issuer certifies the signers.
class EnhanceWorld {
 public:
  explicit EnhanceWorld(const EnhanceOptions& options = {});

  const lab::Authority& root() const { return root_; }

  const lab::Authority& issuer() const { return issuer_; }

  const lab::TimeStampAuthority& authority() const { return *authority_; }

  const std::shared_ptr<const lab::TimeStampAuthority>& sharedAuthority() const {
    return authority_;
  }

  /// A signer of this kind of key, made once; `number` tells several apart.
  Signer& signer(lab::KeyKind kind, int number = 0);

  /// A signer of the world's kind.
  Signer& signer() { return signer(kind_); }

  /// storeCrl puts a CRL of an authority into the provider's stores, instead of the one before.
  void storeCrl(const lab::Authority& authority, std::vector<lab::RevokedEntry> revoked = {}) const;

  /// forgetCrls takes the CRLs of both authorities out of the stores.
  void forgetCrls() const;

  /// The CRL of an authority, as it was stored last.
  const Octets& storedCrl(const lab::Authority& authority) const;

 private:
  std::string name(const std::string& what) const;

  lab::KeyKind kind_;
  int number_;
  lab::Authority root_;
  lab::Authority issuer_;
  std::shared_ptr<const lab::TimeStampAuthority> authority_;
  std::map<std::pair<lab::KeyKind, int>, std::unique_ptr<Signer>> signers_;
  mutable std::map<const X509*, Octets> crls_;
  mutable std::set<std::string> crlFiles_;
};

/// sharedWorld is a world of this kind that all tests of a process may use, but not change.
EnhanceWorld& sharedWorld(lab::KeyKind kind = lab::KeyKind::EcP256);

/// The signed message that a handle has decoded, for functions below the platform's.
SignedData& dataOf(const MessageHandle& message);

}  // namespace qx::test

#endif
