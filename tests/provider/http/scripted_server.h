#ifndef QX_TESTS_PROVIDER_HTTP_SCRIPTED_SERVER_H_
#define QX_TESTS_PROVIDER_HTTP_SCRIPTED_SERVER_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <openssl/ssl.h>

#include "provider/openssl/owned.h"
#include "provider/support/files.h"

namespace qx::test {

/// What one question is answered, word for word, whatever it was.
struct ScriptedAnswer {
  std::string text;
  /// Said again and again behind the text, until the client goes.
  std::string repeated;
  /// Takes another question over the same connection, for the next answer.
  bool keeps = false;
  /// Waits for the client to go, instead of ending the connection.
  bool waits = false;
  /// Does not wait for a request.
  bool speaksFirst = false;
};

using Answers = std::vector<ScriptedAnswer>;

/// okAnswer is an answer with a body and its length.
ScriptedAnswer okAnswer(const std::string& body);

/// Who a server is over TLS.
struct ServerIdentity {
  EVP_PKEY* key = nullptr;
  X509* certificate = nullptr;
  /// When not null, clients must have a certificate of this authority.
  X509* clientAuthority = nullptr;
};

/// ScriptedServer listens on 127.0.0.1 in a thread of its own and takes one connection after the
/// other: the n-th question gets the n-th answer, all later ones the last.
class ScriptedServer {
 public:
  explicit ScriptedServer(Answers answers, const ServerIdentity& identity = {});
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  ScriptedServer(ScriptedServer&&) = delete;
  ScriptedServer& operator=(ScriptedServer&&) = delete;

  std::uint16_t port() const { return port_; }

  /// "http://127.0.0.1:PORT" or https, and `path` behind it.
  std::string url(const std::string& path = "/") const;

  /// What was asked so far, heads with bodies; a connection that asked nothing is an empty text.
  std::vector<std::string> requests() const;

  /// How many connections there were.
  std::size_t connections() const { return connections_; }

 private:
  using SslContextPtr = OpensslOwner<SSL_CTX, SSL_CTX_free>;

  void run();
  void serve(int connection);
  const ScriptedAnswer& nextAnswer();

  Answers answers_;
  SslContextPtr tls_;
  Fd listener_;
  std::uint16_t port_ = 0;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::atomic<std::size_t> connections_{0};
  std::size_t answered_ = 0;
  std::thread thread_;
};

/// unusedPort is a port of 127.0.0.1 where nobody listens.
std::uint16_t unusedPort();

}  // namespace qx::test

#endif
