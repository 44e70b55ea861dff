#ifndef QX_TESTS_PROVIDER_CHAIN_LISTENING_WORLD_H_
#define QX_TESTS_PROVIDER_CHAIN_LISTENING_WORLD_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/cert_chain.h"

#include "provider/store/certificate_context.h"
#include "provider/store/folder_store.h"
#include "provider/support/files.h"
#include "tests/provider/chain/chain_world.h"
#include "tests/support/provider_folder.h"

namespace qx::test {

/// A server that listens and never answers.
class Listener {
 public:
  Listener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(socket_.get(), generic, length), 0);
    EXPECT_EQ(listen(socket_.get(), 10), 0);
    EXPECT_EQ(getsockname(socket_.get(), generic, &length), 0);
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
  }

  const std::string& url() const { return url_; }

  /// Loopback connections stand in the queue as soon as they are made.
  bool wasContacted() const {
    pollfd entry{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return poll(&entry, 1, 0) != 0;
  }

 private:
  Fd socket_;
  std::string url_;
};

/// errorsFor is what CertGetCertificateChain says about a certificate.
inline DWORD errorsFor(const X509* certificate, DWORD flags, PCERT_CHAIN_PARA para) {
  const PCCERT_CONTEXT context = CertificateContext::createFree(dataOf(certificate));
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  EXPECT_TRUE(CertGetCertificateChain(
      HCCE_CURRENT_USER, context, nullptr, nullptr, para, flags, nullptr, &chain));
  const DWORD errors = chain == nullptr ? ~DWORD{0} : chain->TrustStatus.dwErrorStatus;
  CertFreeCertificateChain(chain);
  CertFreeCertificateContext(context);
  return errors;
}

inline DWORD errorsFor(const X509* certificate, DWORD flags) {
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof para;
  return errorsFor(certificate, flags, &para);
}

/// ListeningWorld is a trusted certificate and one of an unknown issuer, both with every address there
/// is; all lead to a server that only listens.
class ListeningWorld : public ::testing::Test {
 protected:
  static constexpr DWORD kCheck = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;

  ListeningWorld()
      : root(lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Root"))),
        stranger(lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Stranger"))),
        end(root.issue(sampleKey(), everyAddress())),
        orphan(stranger.issue(sampleKey(), everyAddress())) {
    forgetSnapshots();
    folder.addCertificate("Root", root.certificate());
  }

  lab::CertificateOptions everyAddress() const {
    lab::CertificateOptions options = named("End");
    options.crlUrl = server.url() + "crl";
    options.ocspUrl = server.url() + "ocsp";
    options.issuerUrl = server.url() + "ca.cer";
    return options;
  }

  const Listener server;
  const ProviderFolder folder;
  const lab::Authority root;
  const lab::Authority stranger;
  const X509Ptr end;
  const X509Ptr orphan;
};

}  // namespace qx::test

#endif
