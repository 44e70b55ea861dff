#include "provider/key/key_file.h"

#include <algorithm>
#include <atomic>

#include "provider/hash/hash.h"
#include "provider/key/pbes2.h"
#include "provider/key/pem.h"
#include "provider/key/public_key.h"

namespace qx {
namespace {

constexpr std::size_t kIdLength = 64;
constexpr std::string_view kSuffix = ".pem";

bool isLowerHex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

std::uint64_t nextSerial() {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

PemBlock* findBlock(std::vector<PemBlock>& blocks, std::string_view label) {
  const auto found =
      std::ranges::find_if(blocks, [label](const PemBlock& block) { return block.label == label; });
  return found != blocks.end() ? &*found : nullptr;
}

}  // namespace

std::string keyId(std::span<const std::uint8_t> publicKeyBits) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string id;
  id.reserve(kIdLength);
  const HashValue hash = hashOf(HashAlgorithm::Sha256, publicKeyBits);
  for (const std::uint8_t octet : hash.bytes()) {
    id += kDigits[octet >> 4U];
    id += kDigits[octet & 0x0FU];
  }
  return id;
}

std::string_view idFromFileName(std::string_view name) {
  if (name.ends_with(kSuffix)) {
    name.remove_suffix(kSuffix.size());
  }
  const bool isId = name.size() == kIdLength && std::ranges::all_of(name, isLowerHex);
  return isId ? name : std::string_view();
}

Result<KeyFilePtr> KeyFile::parse(std::string name, SecretBytes text) {
  const std::shared_ptr<KeyFile> file(new KeyFile());
  file->name_ = std::move(name);
  file->text_ = std::move(text);
  file->serial_ = nextSerial();
  const auto taken = file->takeBlocks();
  return taken ? Result<KeyFilePtr>(file) : taken.failure();
}

Result<void> KeyFile::takeBlocks() {
  auto blocks = readPem(text_.text());
  if (!blocks) {
    return fail(NTE_BAD_KEYSET);
  }
  PemBlock* plain = findBlock(*blocks, kPrivateKeyLabel);
  PemBlock* encrypted = findBlock(*blocks, kEncryptedKeyLabel);
  if ((plain == nullptr) == (encrypted == nullptr)) {
    return fail(NTE_BAD_KEYSET);
  }
  hasPin_ = encrypted != nullptr;
  key_ = std::move(hasPin_ ? encrypted->der : plain->der);
  id_ = idFromFileName(name_);
  if (blocks->front().label == kPublicKeyLabel) {
    spki_ = std::move(blocks->front().der);
  }
  if (!id_.empty()) {
    return {};
  }
  const auto publicKey = PublicKey::parse(spki_.bytes());
  if (!publicKey) {
    return fail(NTE_BAD_KEYSET);
  }
  id_ = keyId(publicKey->bits());
  return {};
}

Result<std::shared_ptr<const PrivateKey>> KeyFile::open(std::string_view pin) const {
  Pkcs8Ptr info;
  if (hasPin_) {
    auto decrypted = decryptPkcs8(key_.bytes(), pin);
    if (!decrypted) {
      return decrypted.failure();
    }
    info = std::move(*decrypted);
  } else {
    auto read = readPkcs8(key_.bytes());
    if (!read) {
      return fail(NTE_BAD_KEYSET);
    }
    info = std::move(*read);
  }
  auto key = PrivateKey::fromPkcs8(*info);
  if (!key) {
    return fail(NTE_BAD_KEYSET);
  }
  if (keyId((*key)->publicKeyBits()) != id_) {
    return fail(NTE_BAD_PUBLIC_KEY);
  }
  return key;
}

}  // namespace qx
