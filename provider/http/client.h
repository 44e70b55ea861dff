#ifndef QX_PROVIDER_HTTP_CLIENT_H_
#define QX_PROVIDER_HTTP_CLIENT_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "provider/http/stream.h"
#include "provider/result.h"

namespace qx {

/// HttpCredentials is how a client proves to one server who it is. What is empty is not used.
struct HttpCredentials {
  /// A URL: only its scheme, host and port ever see the credentials.
  std::string server;
  /// Basic authentication (RFC 7617); the password is the first line of a file.
  std::string user;
  std::string passwordFile;
  /// Client authentication of TLS: PEM, the certificate with its chain and the key without a PIN.
  std::string certificateFile;
  std::string keyFile;
};

/// KeptConnection is what one exchange leaves open for the next one with the same server, which is spared
/// the handshakes. For one thread at a time; the connection ends with it.
struct KeptConnection {
  /// Scheme, host and port. Credentials and proxy are the same for all exchanges.
  std::string server;
  StreamPtr stream;
};

/// Meanwhile is work for the time in which an answer is on its way.
using Meanwhile = std::function<Result<void>()>;

/// HttpRequest is a GET, or with a content type a POST of the body.
struct HttpRequest {
  /// http or https, without user and password.
  std::string url;
  std::string contentType;
  std::string accept;
  std::vector<std::uint8_t> body;
  /// Borrowed; null: none.
  const HttpCredentials* credentials = nullptr;
  /// Borrowed; null: a connection for this exchange alone. With one the request must be such that a server may
  /// be asked twice: it is asked again when a connection that was kept turns out to have ended.
  KeptConnection* kept = nullptr;
  /// Done once the request has been sent, by the thread that asks, which is another one for https; a failure
  /// ends the exchange. Not done when nothing could be sent.
  Meanwhile meanwhile;
};

/// HttpLimits bound the whole exchange, redirection included, and the body of the answer.
struct HttpLimits {
  std::chrono::milliseconds time;
  std::size_t bytes;
};

/// HttpSettings is what the configuration says about every exchange.
struct HttpSettings {
  /// "http://host:port", for http and https alike; empty: none, whatever the environment says.
  std::string proxy;
  /// PEM certificates of the authorities that certify https servers.
  std::string caFile;
};

/// exchange asks and gives the body of the answer, which has the status 200. HTTP/1.1; at most one
/// redirection, to the same host and not from https to http.
///
/// Errors: those of request.meanwhile; ERROR_TIMEOUT; ERROR_WINHTTP_INVALID_URL (other schemes than http
/// and https, user names, control characters); ERROR_WINHTTP_NAME_NOT_RESOLVED;
/// ERROR_CONNECTION_REFUSED, at once;
/// ERROR_HOST_UNREACHABLE for every other reason not to get a connection;
/// ERROR_WINHTTP_SECURE_FAILURE (TLS, a certificate that is not trusted or of another host);
/// ERROR_WINHTTP_LOGIN_FAILURE (status 401 or 407, or credentials that cannot be read);
/// ERROR_WINHTTP_REDIRECT_FAILED; ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW for a body or headers that
/// are too large; ERROR_WINHTTP_CONNECTION_ERROR when the connection ends in the middle;
/// ERROR_WINHTTP_INVALID_SERVER_RESPONSE for every other status and what is no HTTP.
/// Neither credentials nor the query of a URL are traced.
Result<std::vector<std::uint8_t>> exchange(const HttpRequest& request, const HttpLimits& limits);

/// The same with other settings than the configuration's.
Result<std::vector<std::uint8_t>> exchange(const HttpRequest& request,
                                           const HttpLimits& limits,
                                           const HttpSettings& settings);

}  // namespace qx

#endif
