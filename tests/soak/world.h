#ifndef QX_TESTS_SOAK_WORLD_H_
#define QX_TESTS_SOAK_WORLD_H_

#include <mutex>
#include <string>
#include <vector>

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
/// certificates and keys, which have no PIN, come and go while others work.
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

  /// change makes one change after the other for a guest, by their number: the key comes, the
  /// certificate comes, the revocation list is renewed, the certificate goes, the key goes, and so on.
  /// One thread a guest.
  void change(std::size_t guest, unsigned number) const;

 private:
  /// A file that comes and goes.
  struct File {
    std::string name;  ///< below the provider's folder
    std::string content;
  };

  void enrol(lab::KeyKind kind);
  void prepareGuest(std::size_t number);
  Identity certify(EVP_PKEY* key, const std::string& name, std::vector<File>& certificates) const;
  void put(const File& file, std::size_t guest) const;
  void remove(const File& file) const;

  test::ProviderFolder folder_;
  lab::Authority authority_;
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
