#include "provider/key/key_store.h"

#include <openssl/x509.h>

#include "provider/key/key_folder.h"
#include "provider/key/key_rights.h"
#include "provider/key/pbes2.h"
#include "provider/key/pem.h"
#include "provider/key/public_key.h"
#include "provider/key/unlock.h"
#include "provider/support/config.h"
#include "provider/support/files.h"

namespace qx {
namespace {

Result<SecretBytes> encodePlain(PKCS8_PRIV_KEY_INFO* info) {
  const int length = i2d_PKCS8_PRIV_KEY_INFO(info, nullptr);
  if (length <= 0) {
    return fail(NTE_FAIL);
  }
  SecretBytes der(static_cast<std::size_t>(length));
  unsigned char* out = der.data();
  i2d_PKCS8_PRIV_KEY_INFO(info, &out);
  return der;
}

/// The text of a key file; `spki` goes before the key where the name does not tell the id.
Result<SecretBytes> makeText(const PrivateKey& key,
                             std::optional<std::string_view> pin,
                             std::span<const std::uint8_t> spki) {
  if (pin && pin->empty()) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const auto info = key.toPkcs8();
  if (!info) {
    return info.failure();
  }
  const SecretBytes head = spki.empty() ? SecretBytes() : appendPem({}, kPublicKeyLabel, spki);
  if (pin) {
    const auto der = encryptPkcs8(info->get(), *pin, configuration().pin.kdfRounds);
    return der ? Result<SecretBytes>(appendPem(head.bytes(), kEncryptedKeyLabel, *der))
               : der.failure();
  }
  const auto der = encodePlain(info->get());
  return der ? Result<SecretBytes>(appendPem(head.bytes(), kPrivateKeyLabel, der->bytes()))
             : der.failure();
}

/// Kind and size as far as the file tells without its PIN.
void describePublicKey(const KeyFile& file, KeyDescription& description) {
  Result<PublicKey> publicKey = fail(NTE_NO_KEY);
  if (!file.spki().empty()) {
    publicKey = PublicKey::parse(file.spki());
  } else if (!file.hasPin()) {
    const auto key = unlock(file, {});
    publicKey = key ? PublicKey::parse((*key)->spki()) : key.failure();
  }
  if (publicKey) {
    description.type = publicKey->type();
    description.bits = publicKey->bitLength();
  }
}

}  // namespace

Result<KeyFilePtr> findKey(Location location, const std::string& id) {
  const auto folder = KeyFolder::open(location);
  return folder ? (*folder)->find(id) : folder.failure();
}

Result<std::vector<KeyDescription>> listKeys(Location location) {
  const auto folder = KeyFolder::open(location);
  const auto files = folder ? (*folder)->all() : folder.failure();
  if (!files) {
    return files.failure();
  }
  std::vector<KeyDescription> descriptions;
  for (const KeyFilePtr& file : *files) {
    KeyDescription& description = descriptions.emplace_back();
    description.id = file->id();
    description.fileName = file->name();
    description.hasPin = file->hasPin();
    describePublicKey(*file, description);
  }
  return descriptions;
}

Result<std::string> addKey(Location location,
                           const PrivateKey& key,
                           std::optional<std::string_view> pin) {
  const auto keys = KeyFolder::open(location);
  const auto text = makeText(key, pin, {});
  if (!keys || !text) {
    return keys ? text.failure() : keys.failure();
  }
  const auto folder = openKeyFolder(location, (*keys)->path());
  const auto lock = folder ? FolderLock::acquire(folder->get()) : folder.failure();
  if (!lock) {
    return lock.failure();
  }
  const std::string id = keyId(key.publicKeyBits());
  if ((*keys)->find(id)) {
    return fail(NTE_EXISTS);
  }
  const auto written = writeFileIn(folder->get(), id.c_str(), text->bytes(), keyFileMode(location));
  return written ? Result<std::string>(id) : written.failure();
}

Result<void> changePin(Location location,
                       const std::string& id,
                       std::string_view oldPin,
                       std::optional<std::string_view> newPin) {
  const auto keys = KeyFolder::open(location);
  const auto folder = keys ? openFolder((*keys)->path()) : keys.failure();
  const auto lock = folder ? FolderLock::acquire(folder->get()) : folder.failure();
  if (!lock) {
    return lock.failure();
  }
  const auto file = (*keys)->find(id);
  const auto key = file ? unlock(**file, oldPin) : file.failure();
  if (!key) {
    return key.failure();
  }
  const bool namedById = !idFromFileName((*file)->name()).empty();
  const auto text =
      makeText(**key, newPin, namedById ? std::span<const std::uint8_t>() : (*key)->spki());
  return text ? writeFileIn(
                    folder->get(), (*file)->name().c_str(), text->bytes(), keyFileMode(location))
              : text.failure();
}

Result<void> removeKey(Location location, const std::string& id) {
  const auto keys = KeyFolder::open(location);
  const auto folder = keys ? openFolder((*keys)->path()) : keys.failure();
  const auto lock = folder ? FolderLock::acquire(folder->get()) : folder.failure();
  if (!lock) {
    return lock.failure();
  }
  const auto file = (*keys)->find(id);
  return file ? removeFileIn(folder->get(), (*file)->name().c_str()) : file.failure();
}

}  // namespace qx
