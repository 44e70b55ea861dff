#include "provider/key/key_context.h"

#include <mutex>

#include "provider/key/key_store.h"
#include "provider/key/prompt.h"
#include "provider/key/unlock.h"
#include "provider/support/fork.h"
#include "provider/support/trace.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

/// One lock for the state of all contexts: it is held for the copy of a pointer only, never while a
/// key is looked for or opened.
ForkSafeMutex& stateMutex() {
  static ForkSafeMutex& mutex = untilUnload(std::make_unique<ForkSafeMutex>());
  return mutex;
}

void traceNeedlessPin(const KeyFile& file) {
  if (!file.hasPin()) {
    QX_TRACE("a PIN was given for the key %s, which has none", file.id().c_str());
  }
}

}  // namespace

void KeyContext::setPin(std::string_view pin) {
  std::shared_ptr<const PrivateKey> opened;
  if (const auto found = file()) {
    // Where the PIN is known to be right it need not be kept.
    opened = unlockedBefore(**found, pin);
    traceNeedlessPin(**found);
  }
  SecretBytes kept = opened != nullptr ? SecretBytes() : SecretBytes(pin);
  replace(std::move(opened), std::move(kept));
}

void KeyContext::clearPin() {
  replace(nullptr, SecretBytes());
}

/// What was there before ends outside the lock, in the parameters.
void KeyContext::replace(std::shared_ptr<const PrivateKey> opened, SecretBytes pin) {
  const std::scoped_lock lock(stateMutex());
  std::swap(opened_, opened);
  std::swap(pin_, pin);
  ++pinChanges_;
}

Result<std::shared_ptr<const PrivateKey>> KeyContext::usableKey() {
  if (!key_) {
    return fail(NTE_NO_KEY);
  }
  SecretBytes pin;
  unsigned changes = 0;
  {
    const std::scoped_lock lock(stateMutex());
    if (opened_ != nullptr) {
      return opened_;
    }
    pin = pin_.clone();
    changes = pinChanges_;
  }
  const auto found = file();
  if (!found) {
    QX_TRACE("the file of the key %s is not there any more: %08x", key_->id.c_str(), found.error());
    return fail(NTE_BAD_KEYSET);
  }
  auto opened = unlock(**found, pin.text());
  if (!opened) {
    QX_TRACE("the key %s cannot be used: %08x", key_->id.c_str(), opened.error());
    return opened;
  }
  const std::scoped_lock lock(stateMutex());
  // Another PIN that came meanwhile has the last word.
  if (pinChanges_ == changes) {
    opened_ = *opened;
    pin_ = SecretBytes();
  }
  return opened;
}

Result<void> KeyContext::unlockByPrompt(const std::string& what) {
  const auto usable = usableKey();
  if (usable || usable.error() != SCARD_W_WRONG_CHV) {
    return usable ? Result<void>() : usable.failure();
  }
  const auto pin = askPin(what);
  if (!pin) {
    return pin.failure();
  }
  setPin(pin->text());
  const auto opened = usableKey();
  return opened ? Result<void>() : opened.failure();
}

Result<KeyFilePtr> KeyContext::file() const {
  return key_ ? findKey(key_->location, key_->id) : fail(NTE_NO_KEY);
}

Result<std::shared_ptr<const PrivateKey>> usableKey(HCRYPTPROV handle) {
  auto* context = fromHandle<KeyContext>(handle);
  return context != nullptr ? context->usableKey() : fail(ERROR_INVALID_HANDLE);
}

bool isKeyContext(HCRYPTPROV handle) {
  return fromHandle<KeyContext>(handle) != nullptr;
}

}  // namespace qx
