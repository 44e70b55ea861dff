#include "provider/key/unlock.h"

#include <ctime>

#include "provider/key/unlocked_keys.h"
#include "provider/support/config.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

UnlockedKeys::Time bootTime() {
  timespec now{};
  static_cast<void>(clock_gettime(CLOCK_BOOTTIME, &now));
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

UnlockedKeys& unlockedKeys() {
  static UnlockedKeys& keys = untilUnload(std::make_unique<UnlockedKeys>(
      UnlockedKeys::Limits{.unused = std::chrono::seconds(configuration().pin.cacheSeconds),
                           .most = std::chrono::seconds(configuration().pin.cacheMaxSeconds)},
      bootTime));
  return keys;
}

/// A key without PIN is remembered under none, whatever the caller's is.
std::string_view effectivePin(const KeyFile& file, std::string_view pin) {
  return file.hasPin() ? pin : std::string_view();
}

}  // namespace

std::shared_ptr<const PrivateKey> unlockedBefore(const KeyFile& file, std::string_view pin) {
  return unlockedKeys().find(file.serial(), effectivePin(file, pin));
}

Result<std::shared_ptr<const PrivateKey>> unlock(const KeyFile& file, std::string_view pin) {
  if (file.hasPin() && pin.empty()) {
    return fail(SCARD_W_WRONG_CHV);
  }
  if (auto key = unlockedBefore(file, pin)) {
    return key;
  }
  auto key = file.open(pin);
  if (key) {
    unlockedKeys().add(file.serial(), effectivePin(file, pin), *key);
  }
  return key;
}

void forgetUnlocked(const KeyFile& file) {
  unlockedKeys().forget(file.serial());
}

}  // namespace qx
