#include "qxsapssf/identity/profile.h"

#include <cstring>
#include <string>

#include "qxsapssf/identity/cert_id.h"
#include "qxsapssf/qxsapssf_snap.h"

namespace qx {
namespace {

constexpr std::string_view kTimePlaceholder = "<TIME>";
constexpr std::size_t kTimeDigits = 14;

Store openStore(const SystemStore& store) {
  const auto wideName = snapUnicode(store.name);
  return Store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W,
                             /*dwEncodingType=*/0,
                             /*hCryptProv=*/0,
                             store.location | CERT_STORE_OPEN_EXISTING_FLAG,
                             wideName->data()));
}

}  // namespace

SystemStore storeOfProfile(const char* profile) noexcept {
  if (profile[0] == 'm') {
    return {.location = CERT_SYSTEM_STORE_LOCAL_MACHINE, .name = profile + 1};
  }
  if (profile[0] == 'u') {
    return {.location = CERT_SYSTEM_STORE_CURRENT_USER, .name = profile + 1};
  }
  std::size_t skipped = 0;
  if (std::string_view(profile).starts_with(kTimePlaceholder)) {
    skipped = kTimePlaceholder.size();
  } else if (std::strlen(profile) > kTimeDigits && isTime(profile)) {
    skipped = kTimeDigits;
  }
  return {.location = CERT_SYSTEM_STORE_CURRENT_USER, .name = profile + skipped};
}

Store openProfileStore(std::string_view profile, const char* defaultName) {
  if (profile.empty()) {
    return openStore({.location = CERT_SYSTEM_STORE_CURRENT_USER, .name = defaultName});
  }
  return openStore(storeOfProfile(std::string(profile).c_str()));
}

}  // namespace qx
