#ifndef QX_PROVIDER_KEY_KEY_FILE_H_
#define QX_PROVIDER_KEY_KEY_FILE_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "provider/key/private_key.h"
#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// keyId names a key: lower-case hex SHA-256 of the public key's bits.
std::string keyId(std::span<const std::uint8_t> publicKeyBits);

/// idFromFileName gives the id that a file's name states ("<id>" or "<id>.pem"), or an empty text.
std::string_view idFromFileName(std::string_view name);

/// One private key as it lies on disk: PEM, a PRIVATE KEY or ENCRYPTED PRIVATE KEY block, before it a
/// PUBLIC KEY block where the file's name does not state the key's id. Immutable.
class KeyFile {
 public:
  /// parse reads the text of the file `name`. NTE_BAD_KEYSET for what is no key file.
  static Result<std::shared_ptr<const KeyFile>> parse(std::string name, SecretBytes text);

  const std::string& name() const { return name_; }

  const std::string& id() const { return id_; }

  /// hasPin tells whether the key opens under a PIN only.
  bool hasPin() const { return hasPin_; }

  /// spki is the PUBLIC KEY block; empty where the file has none.
  std::span<const std::uint8_t> spki() const { return spki_.bytes(); }

  std::string_view text() const { return text_.text(); }

  /// serial is another number for each file that was read, changed files included.
  std::uint64_t serial() const { return serial_; }

  /// open decrypts the key, which takes as long as its derivation is made to take; a key without PIN
  /// opens under any. Errors: SCARD_W_WRONG_CHV, NTE_BAD_KEYSET when the file holds no key that we can
  /// use, NTE_BAD_PUBLIC_KEY when it is another key than the one that the file was found for.
  Result<std::shared_ptr<const PrivateKey>> open(std::string_view pin) const;

 private:
  KeyFile() = default;

  Result<void> takeBlocks();

  std::string name_;
  std::string id_;
  bool hasPin_ = false;
  std::uint64_t serial_ = 0;
  SecretBytes text_;
  SecretBytes spki_;
  SecretBytes key_;
};

using KeyFilePtr = std::shared_ptr<const KeyFile>;

}  // namespace qx

#endif
