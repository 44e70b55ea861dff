#ifndef QX_TESTS_SOAK_WORLD_H_
#define QX_TESTS_SOAK_WORLD_H_

#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "tests/soak/service_process.h"
#include "tests/support/provider_folder.h"
#include "tools/lab/pki.h"

namespace qx::soak {

/// Somebody who signs, and to whom others may write.
struct Identity {
  std::string thumbprint;
  std::string name;
  std::string pin;
  bool receives = false;  ///< has a key of a kind that messages are enveloped for
};

/// World is a private provider folder with signers of each kind of key, and with guests: their
/// certificates and keys, which have no PIN, come and go while others work. Of one signer only a service
/// tells that he is not revoked; of the others a revocation list does. Since the provider reads where
/// the services are once, a process has one World, made before its second thread.
class World {
 public:
  static constexpr std::size_t kGuests = 2;
  static constexpr std::size_t kMaterial = 200'000;

  World();

  const std::vector<Identity>& identities() const { return identities_; }

  const std::vector<Identity>& guests() const { return guests_; }

  /// kMaterial bytes of all kinds: whatever is signed is a part of them.
  const std::string& material() const { return material_; }

  /// The digest R 34.11-94, by the engine.
  const EVP_MD* oldGostDigest() const { return oldGostDigest_; }

  /// Held around the test's own calls of libcrypto, which a host has to keep apart from its forks.
  std::mutex& ownLibcrypto() const { return ownLibcrypto_; }

  static constexpr unsigned kChanges = 6;
  static constexpr unsigned kRenews = 2;
  static constexpr unsigned kForgets = 4;

  /// change makes one change after the other for a guest, by their number: the key comes, the
  /// certificate comes, the revocation list is renewed, the certificate goes, what the services
  /// answered is forgotten, the key goes, and so on. One thread a guest.
  void change(std::size_t guest, unsigned number) const;

  /// The signer who is asked about.
  const Identity& askedAbout() const { return identities_.back(); }

  /// The files of answers about him that are kept now.
  std::vector<std::filesystem::path> keptAnswers() const;

 private:
  /// A file that comes and goes.
  struct File {
    std::string name;  ///< below the provider's folder
    std::string content;
  };

  /// Who certifies, and where answers about it are had; empty: in its list.
  struct Issuer {
    const lab::Authority* authority;
    std::string ocspUrl;
  };

  void enrol(lab::KeyKind kind, const std::string& name, const Issuer& issuer);
  void prepareGuest(std::size_t number);
  static Identity certify(EVP_PKEY* key,
                          const std::string& name,
                          const Issuer& issuer,
                          std::vector<File>& certificates);
  void useServices() const;
  void forgetAnswers() const;
  void put(const File& file, std::size_t guest) const;
  void remove(const File& file) const;

  test::ProviderFolder folder_;
  lab::Authority authority_;
  lab::Authority listless_;  ///< has no revocation list
  ServiceProcess services_;
  const EVP_MD* oldGostDigest_ = nullptr;
  mutable std::mutex ownLibcrypto_;
  std::string material_;
  std::vector<Identity> identities_;
  std::vector<Identity> guests_;
  std::vector<File> keys_;                       ///< of each guest
  std::vector<std::vector<File>> certificates_;  ///< of each guest, one a store
  std::vector<File> crls_;
};

}  // namespace qx::soak

#endif
