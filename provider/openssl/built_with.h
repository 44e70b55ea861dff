#ifndef QX_PROVIDER_OPENSSL_BUILT_WITH_H_
#define QX_PROVIDER_OPENSSL_BUILT_WITH_H_

#include <compare>

#include <openssl/opensslv.h>

namespace qx {

/// A release of OpenSSL, "3.0.15" for instance.
struct OpensslRelease {
  unsigned major = 0;
  unsigned minor = 0;
  unsigned patch = 0;

  auto operator<=>(const OpensslRelease&) const = default;
};

/// The release whose headers were there when all of this was built.
inline constexpr OpensslRelease kBuiltWith{
    .major = OPENSSL_VERSION_MAJOR, .minor = OPENSSL_VERSION_MINOR, .patch = OPENSSL_VERSION_PATCH};

}  // namespace qx

#endif
