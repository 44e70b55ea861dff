#ifndef QX_QXSAPSSF_IDENTITY_PROFILE_H_
#define QX_QXSAPSSF_IDENTITY_PROFILE_H_

#include <string_view>

#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"

namespace qx {

/// The stores of an empty profile: of signers, and of the address books.
inline constexpr const char* StoreMy = "My";
inline constexpr const char* StoreAB = "Addressbook";

/// SystemStore names a certificate store of the system. The name points into the profile.
struct SystemStore {
  DWORD location;
  const char* name;
};

/// viewOf is a counted string of a caller. NULL and lengths below 1 are the empty string.
inline std::string_view viewOf(const SAP_B8* bytes, SsfOctetlen length) noexcept {
  return bytes == nullptr || length < 1 ? std::string_view()
                                        : std::string_view(reinterpret_cast<const char*>(bytes),
                                                           static_cast<std::size_t>(length));
}

/// storeOfProfile reads a profile that is not empty: a leading "m" (local machine) or "u" (current
/// user), else "<TIME>" or 14 digits before more text, which are skipped; the rest is the store's
/// name. The user's stores are meant unless it says otherwise.
SystemStore storeOfProfile(const char* profile) noexcept;

/// openProfileStore opens the store that a profile names, the current user's `defaultName` when it is
/// empty. No store is ever created; empty when there is none. A NUL ends the profile early.
Store openProfileStore(std::string_view profile, const char* defaultName);

}  // namespace qx

#endif
