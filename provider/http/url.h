#ifndef QX_PROVIDER_HTTP_URL_H_
#define QX_PROVIDER_HTTP_URL_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "provider/result.h"

namespace qx {

inline constexpr std::size_t kMaxUrlLength = 2048;

/// Url is an address of http or https (RFC 3986), checked so that its parts can stand in a request as
/// they are.
struct Url {
  bool secure = false;
  std::string host;  ///< lower case; an IPv6 address without its brackets
  std::uint16_t port = 0;
  std::string target;  ///< path and query; begins with a slash

  /// The host as a URL and the field "Host" write it, with the port unless it is the scheme's own.
  std::string authority() const;

  /// The same, with the port in any case.
  std::string hostAndPort() const;

  /// For a trace: without the query, which may hold what is nobody else's business.
  std::string shown() const;

  /// The same scheme, host and port.
  bool isSameServer(const Url& other) const {
    return secure == other.secure && host == other.host && port == other.port;
  }
};

/// parseUrl reads an absolute URL; its fragment is left out. ERROR_WINHTTP_INVALID_URL for another
/// scheme, a user name, a missing host, characters that a URL must not hold (spaces, controls, all
/// beyond ASCII), or more than kMaxUrlLength bytes.
Result<Url> parseUrl(std::string_view text);

/// redirectedUrl is where a server that was asked for `from` sends us. ERROR_WINHTTP_REDIRECT_FAILED
/// when it is another host, no longer https, or not a URL.
Result<Url> redirectedUrl(const Url& from, std::string_view location);

}  // namespace qx

#endif
