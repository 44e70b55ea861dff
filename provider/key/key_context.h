#ifndef QX_PROVIDER_KEY_KEY_CONTEXT_H_
#define QX_PROVIDER_KEY_KEY_CONTEXT_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/crypt_prov.h"

#include "provider/handle.h"
#include "provider/key/key_file.h"
#include "provider/key/private_key.h"
#include "provider/result.h"
#include "provider/store/certificate_data.h"
#include "provider/support/folders.h"
#include "provider/support/wipe.h"

namespace qx {

/// Which private key a context stands for.
struct KeyReference {
  Location location;
  std::string id;  ///< see keyId
};

/// KeyContext is the object behind a HCRYPTPROV: a provider without a key, or one private key, locked
/// until its PIN is known to this very handle.
class KeyContext : public Tagged<HandleTag::KeyContext> {
 public:
  /// A context that hashes and enumerates but has no key.
  explicit KeyContext(DWORD providerType) : providerType_(providerType) {}

  KeyContext(DWORD providerType, KeyReference key)
      : providerType_(providerType), key_(std::move(key)) {}

  HCRYPTPROV handle() { return reinterpret_cast<HCRYPTPROV>(this); }

  DWORD providerType() const { return providerType_; }

  /// key is null for a context without key.
  const KeyReference* key() const { return key_ ? &*key_ : nullptr; }

  /// certificate is the one that the handle was acquired for; null when there was none.
  const std::shared_ptr<const CertificateData>& certificate() const { return certificate_; }

  void setCertificate(std::shared_ptr<const CertificateData> certificate) {
    certificate_ = std::move(certificate);
  }

  /// setPin takes a PIN in the place of an earlier one. Whether it is right shows at usableKey.
  void setPin(std::string_view pin);

  /// clearPin forgets the PIN and the opened key.
  void clearPin();

  /// usableKey is the unlocked key, opened now if a PIN was set and not tried yet. Errors: NTE_NO_KEY,
  /// SCARD_W_WRONG_CHV, NTE_BAD_KEYSET when the key's file is gone or no key file any more,
  /// NTE_BAD_PUBLIC_KEY when it holds another key.
  Result<std::shared_ptr<const PrivateKey>> usableKey();

  /// unlockByPrompt asks the user for the PIN, once, if the key is locked. `what` names the key to the
  /// user. Errors: as usableKey and askPin.
  Result<void> unlockByPrompt(const std::string& what);

  /// The place of PP_ENUMALGS in the list of algorithms.
  std::size_t nextAlgorithm() const { return nextAlgorithm_; }

  void setNextAlgorithm(std::size_t place) { nextAlgorithm_ = place; }

 private:
  Result<KeyFilePtr> file() const;
  void replace(std::shared_ptr<const PrivateKey> opened, SecretBytes pin);

  DWORD providerType_;
  std::optional<KeyReference> key_;
  std::shared_ptr<const CertificateData> certificate_;
  std::shared_ptr<const PrivateKey> opened_;
  SecretBytes pin_;
  unsigned pinChanges_ = 0;
  std::size_t nextAlgorithm_ = 0;
};

/// usableKey gives the unlocked key behind a handle; it stays valid when the handle is released.
/// Errors: ERROR_INVALID_HANDLE, and what KeyContext::usableKey says.
Result<std::shared_ptr<const PrivateKey>> usableKey(HCRYPTPROV handle);

/// isKeyContext tells whether a handle is one of ours and still open.
bool isKeyContext(HCRYPTPROV handle);

}  // namespace qx

#endif
