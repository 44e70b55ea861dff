#ifndef QX_BENCH_WORLD_H_
#define QX_BENCH_WORLD_H_

#include <map>
#include <string>
#include <vector>

#include "provider/openssl/owned.h"
#include "tests/support/provider_folder.h"
#include "tools/lab/pki.h"

namespace qx::bench {

/// A signer as both sides see it: the SSF library finds it in the store, the peer holds it in memory.
struct Signer {
  EvpPkeyPtr key;
  X509Ptr certificate;
  std::string thumbprint;
  X509StorePtr trust;  ///< the signer's root with its revocation list, checked for the whole chain
};

/// World is a private provider folder with a store My of `storeSize` certificates, four signers of the
/// kinds below among them, roots and revocation lists. The signers stand in Addressbook, too, where
/// recipients are looked for. Every key has the PIN kPin.
class World {
 public:
  static constexpr const char* kPin = "12345678";

  explicit World(int storeSize);

  const Signer& signer(lab::KeyKind kind) const { return signers_.at(kind); }

  /// addRecipients makes `count` recipients, who stand in My and Addressbook.
  std::vector<Signer> addRecipients(lab::KeyKind kind, int count) const;

  /// addFillers puts `count` certificates that nobody looks for into a store.
  void addFillers(const std::string& store, int count) const;

 private:
  void addSigner(lab::KeyKind kind);
  Signer newSigner(const lab::Authority& authority,
                   lab::KeyKind kind,
                   const std::string& name) const;

  test::ProviderFolder folder_;
  std::map<lab::KeyKind, Signer> signers_;
};

}  // namespace qx::bench

#endif
