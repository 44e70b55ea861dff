#ifndef QX_TESTS_PROVIDER_HTTP_TLS_WORLD_H_
#define QX_TESTS_PROVIDER_HTTP_TLS_WORLD_H_

#include "provider/http/client.h"
#include "tests/provider/http/scripted_server.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// TlsWorld is a server's certificate for 127.0.0.1, and the settings of a client that trusts its authority.
class TlsWorld {
 public:
  ServerIdentity identity() const { return {.key = key_.get(), .certificate = certificate_.get()}; }

  const HttpSettings& settings() const { return settings_; }

 private:
  TempDir folder_;
  lab::Authority root_ = lab::Authority::selfSigned(lab::KeyKind::EcP256,
                                                    {.subject = {{.type = "CN", .value = "Root"}}});
  EvpPkeyPtr key_ = lab::generateKey(lab::KeyKind::EcP256);
  X509Ptr certificate_ = root_.issue(
      key_.get(),
      {.subject = {{.type = "CN", .value = "localhost"}}, .subjectAltName = "IP:127.0.0.1"});
  HttpSettings settings_{.proxy = {},
                         .caFile = folder_.write("ca.pem", lab::toPem(root_.certificate()))};
};

}  // namespace qx::test

#endif
