#ifndef QX_PROVIDER_HTTP_TLS_H_
#define QX_PROVIDER_HTTP_TLS_H_

#include <string>

#include "provider/http/stream.h"
#include "provider/result.h"

namespace qx {

struct TlsOptions {
  /// A name or an address: the server's certificate must be for it.
  std::string host;
  /// PEM certificates of those whom we let certify servers.
  std::string caFile;
  /// Our own certificate with its chain, and its key, PEM; empty: none.
  std::string certificateFile;
  std::string keyFile;
};

/// openTls makes a connection a secure one: TLS 1.2 or newer. libssl empties the error queue of the
/// thread: it must be one in which nobody else has errors. ERROR_WINHTTP_SECURE_FAILURE when the
/// server's certificate is not trusted or of another host, or the two cannot agree;
/// ERROR_WINHTTP_LOGIN_FAILURE when our own certificate or key cannot be used; the stream's errors.
Result<StreamPtr> openTls(StreamPtr connection, const TlsOptions& options);

}  // namespace qx

#endif
