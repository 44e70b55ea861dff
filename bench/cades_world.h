#ifndef QX_BENCH_CADES_WORLD_H_
#define QX_BENCH_CADES_WORLD_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/provider_folder.h"
#include "tools/lab/ocsp.h"
#include "tools/lab/pki.h"
#include "tools/lab/services.h"
#include "tools/lab/time_stamp.h"

namespace qx::bench {

/// What tells that nobody of a branch is revoked: a list in the store, or answers that a service gives
/// and the provider keeps.
enum class Evidence : std::uint8_t { RevocationList, OcspAnswers };

/// Branch is a trusted root with those it certifies: a time-stamp authority and signers (by their
/// thumbprints), all of one kind of key. The signers share one key: making 500 of RSA takes longer than
/// everything that is measured.
struct Branch {
  lab::KeyKind kind;
  lab::Authority root;
  std::shared_ptr<const lab::TimeStampAuthority> stamps;
  std::vector<std::string> signers;
};

/// CadesWorld is a private provider folder and, in a thread of their own, the services on loopback that
/// the provider is configured to ask. It has to be made before the provider is used. Every key has the
/// PIN kPin.
class CadesWorld {
 public:
  static constexpr const char* kPin = "12345678";

  CadesWorld();

  Branch addBranch(lab::KeyKind kind, Evidence evidence, int signers);

  /// stampBy lets the time-stamp server answer with the authority of a branch.
  void stampBy(const Branch& branch) { services_.offerTimeStamps(kStampPath, branch.stamps); }

  std::string stampUrl() const { return services_.url(kStampPath); }

 private:
  static constexpr const char* kStampPath = "/stamps";

  std::string addEvidence(const lab::Authority& root, lab::KeyKind kind, Evidence evidence);
  std::string addSigner(const Branch& branch,
                        EVP_PKEY* key,
                        const std::string& ocspUrl,
                        int number) const;

  test::ProviderFolder folder_;
  lab::Services services_;
  int branches_ = 0;
};

}  // namespace qx::bench

#endif
