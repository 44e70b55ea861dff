#include "provider/store/properties.h"

#include <mutex>
#include <utility>

#include "platform/cert_store.h"
#include "platform/crypt_prov.h"

#include "provider/support/fork.h"

namespace qx {
namespace {

constexpr DWORD kMaxPropertyId = 0xFFFF;

// One lock for the properties of all contexts: they are seldom set, and a lock in every context would
// make each step through a store dearer. Handles are released outside of it.
ForkSafeMutex& propertiesMutex() {
  static ForkSafeMutex mutex;
  return mutex;
}

}  // namespace

Properties::KeySlot::~KeySlot() {
  if (owned_ && provider_ != 0) {
    CryptReleaseContext(provider_, 0);
  }
}

CERT_KEY_CONTEXT Properties::KeySlot::published() const {
  CERT_KEY_CONTEXT context{};
  context.cbSize = sizeof context;
  context.hCryptProv = provider_;
  context.dwKeySpec = keySpec_;
  return context;
}

void Properties::KeySlot::swap(KeySlot& other) noexcept {
  std::swap(provider_, other.provider_);
  std::swap(keySpec_, other.keySpec_);
  std::swap(owned_, other.owned_);
}

Result<void> Properties::set(DWORD id, DWORD flags, const void* value) {
  if (id == 0 || id > kMaxPropertyId || id == CERT_ACCESS_STATE_PROP_ID) {
    return fail(E_INVALIDARG);
  }
  const bool owned = (flags & CERT_STORE_NO_CRYPT_RELEASE_FLAG) == 0;
  switch (id) {
    case CERT_KEY_CONTEXT_PROP_ID:
      return setKeyContext(static_cast<const CERT_KEY_CONTEXT*>(value), owned);
    case CERT_KEY_PROV_HANDLE_PROP_ID:
      setKeyProvHandle(static_cast<const HCRYPTPROV*>(value), owned);
      return {};
    case CERT_KEY_SPEC_PROP_ID:
      setKeySpec(static_cast<const DWORD*>(value));
      return {};
    case CERT_KEY_PROV_INFO_PROP_ID:
      setKeyProvInfo(static_cast<const CRYPT_KEY_PROV_INFO*>(value));
      return {};
    default:
      setBlob(id, static_cast<const CRYPT_DATA_BLOB*>(value));
      return {};
  }
}

bool Properties::has(DWORD id) const {
  switch (id) {
    case CERT_KEY_CONTEXT_PROP_ID:
      return keyContext().has_value();
    case CERT_KEY_PROV_HANDLE_PROP_ID:
      return keyContext().value_or(CERT_KEY_CONTEXT{}).hCryptProv != 0;
    case CERT_KEY_SPEC_PROP_ID:
      return keySpec().has_value();
    case CERT_KEY_PROV_INFO_PROP_ID:
      return keyProvInfo().has_value();
    default:
      return blob(id).has_value();
  }
}

std::optional<std::vector<std::uint8_t>> Properties::blob(DWORD id) const {
  if (untouched()) {
    return std::nullopt;
  }
  const std::scoped_lock lock(propertiesMutex());
  const auto found = values_.blobs.find(id);
  return found == values_.blobs.end() ? std::nullopt : std::optional(found->second);
}

std::optional<KeyProvInfo> Properties::keyProvInfo() const {
  if (untouched()) {
    return std::nullopt;
  }
  const std::scoped_lock lock(propertiesMutex());
  return values_.keyProvInfo;
}

std::optional<CERT_KEY_CONTEXT> Properties::keyContext() const {
  if (untouched()) {
    return std::nullopt;
  }
  const std::scoped_lock lock(propertiesMutex());
  return values_.key ? std::optional(values_.key->published()) : std::nullopt;
}

std::optional<DWORD> Properties::keySpec() const {
  if (const std::optional<CERT_KEY_CONTEXT> key = keyContext()) {
    return key->dwKeySpec;
  }
  const std::optional<KeyProvInfo> info = keyProvInfo();
  return info ? std::optional(info->keySpec()) : std::nullopt;
}

void Properties::setKeyContext(HCRYPTPROV provider, DWORD keySpec, bool releaseWithContext) {
  replaceKey(KeySlot(provider, keySpec, releaseWithContext));
}

void Properties::inherit(const Properties& other) {
  if (other.untouched()) {
    return;
  }
  const std::scoped_lock lock(propertiesMutex());
  values_.blobs.insert(other.values_.blobs.begin(), other.values_.blobs.end());
  if (!values_.keyProvInfo) {
    values_.keyProvInfo = other.values_.keyProvInfo;
  }
  used_ = true;
}

void Properties::setBlob(DWORD id, const CRYPT_DATA_BLOB* blob) {
  std::vector<std::uint8_t> bytes;
  if (blob != nullptr && blob->pbData != nullptr) {
    bytes.assign(blob->pbData, blob->pbData + blob->cbData);
  }
  const std::scoped_lock lock(propertiesMutex());
  if (blob == nullptr) {
    values_.blobs.erase(id);
    return;
  }
  values_.blobs.insert_or_assign(id, std::move(bytes));
  used_ = true;
}

void Properties::setKeyProvInfo(const CRYPT_KEY_PROV_INFO* info) {
  std::optional<KeyProvInfo> copy;
  if (info != nullptr) {
    copy.emplace(*info);
  }
  const std::scoped_lock lock(propertiesMutex());
  values_.keyProvInfo.swap(copy);
  used_ = true;
}

Result<void> Properties::setKeyContext(const CERT_KEY_CONTEXT* context, bool owned) {
  if (context == nullptr) {
    replaceKey(std::nullopt);
    return {};
  }
  if (context->cbSize != sizeof(CERT_KEY_CONTEXT)) {
    return fail(E_INVALIDARG);
  }
  replaceKey(KeySlot(context->hCryptProv, context->dwKeySpec, owned));
  return {};
}

// Deleting the handle leaves the rest of the key context; setting one makes it.
void Properties::setKeyProvHandle(const HCRYPTPROV* provider, bool owned) {
  const bool deleteNothing = provider == nullptr && !keyContext();
  if (!deleteNothing) {
    replaceKey(KeySlot(provider == nullptr ? 0 : *provider, keySpec().value_or(0), owned));
  }
}

void Properties::setKeySpec(const DWORD* keySpec) {
  const std::scoped_lock lock(propertiesMutex());
  if (!values_.key) {
    if (keySpec == nullptr) {
      return;
    }
    values_.key = KeySlot(0, 0, /*owned=*/false);
  }
  values_.key->setKeySpec(keySpec == nullptr ? 0 : *keySpec);
  used_ = true;
}

void Properties::replaceKey(std::optional<KeySlot> key) {
  const std::scoped_lock lock(propertiesMutex());
  values_.key.swap(key);
  used_ = true;
}

}  // namespace qx
