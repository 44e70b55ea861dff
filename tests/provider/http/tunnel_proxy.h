#ifndef QX_TESTS_PROVIDER_HTTP_TUNNEL_PROXY_H_
#define QX_TESTS_PROVIDER_HTTP_TUNNEL_PROXY_H_

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "provider/support/files.h"

namespace qx::test {

/// TunnelProxy is an HTTP proxy on 127.0.0.1 that does what CONNECT asks for (RFC 9110, 9.3.6) and nothing
/// else: it hands bytes on to the port that is named, of 127.0.0.1 whatever the host. One connection at a
/// time.
class TunnelProxy {
 public:
  TunnelProxy();
  ~TunnelProxy();
  TunnelProxy(const TunnelProxy&) = delete;
  TunnelProxy& operator=(const TunnelProxy&) = delete;
  TunnelProxy(TunnelProxy&&) = delete;
  TunnelProxy& operator=(TunnelProxy&&) = delete;

  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

  /// The requests for tunnels, as they came.
  std::vector<std::string> requests() const;

  /// All that went through, in both directions.
  std::string carried() const;

 private:
  void run();
  void serve(const Fd& client);
  bool carry(int from, int to);

  Fd listener_;
  std::uint16_t port_ = 0;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::string carried_;
  std::thread thread_;
};

}  // namespace qx::test

#endif
