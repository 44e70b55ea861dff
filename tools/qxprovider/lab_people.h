#ifndef QX_TOOLS_QXPROVIDER_LAB_PEOPLE_H_
#define QX_TOOLS_QXPROVIDER_LAB_PEOPLE_H_

#include <cstdint>
#include <span>

#include "tools/lab/pki.h"

namespace qx::admin {

/// An authority of the lab: a root and an intermediate below it, which issues.
struct LabAuthority {
  const char* name;
  const char* title;
  lab::KeyKind kind;
};

/// What a certificate of the lab is for.
enum class LabRole : std::uint8_t { Signer, Recipient, TimeStamps, Ocsp };

/// What is the matter with it.
enum class LabState : std::uint8_t { Good, Expired, Revoked };

/// Someone or something with a certificate.
struct LabPerson {
  const char* name;
  const char* commonName;
  const char* authority;
  lab::KeyKind kind;
  LabRole role;
  /// Null: the key has no PIN.
  const char* pin;
  LabState state;
};

std::span<const LabAuthority> labAuthorities();
std::span<const LabPerson> labPeople();

/// roleName is "signer", "recipient", "time-stamps" or "ocsp"; stateName "good", "expired", "revoked".
const char* roleName(LabRole role);
const char* stateName(LabState state);

}  // namespace qx::admin

#endif
