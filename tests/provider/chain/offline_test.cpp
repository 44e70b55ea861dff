// A process that may not go online sends not one packet.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/cert_chain.h"

#include "provider/chain/evaluate.h"
#include "provider/store/certificate_context.h"
#include "provider/store/folder_store.h"
#include "provider/support/config.h"
#include "provider/support/files.h"
#include "tests/provider/chain/ocsp_world.h"
#include "tests/support/provider_folder.h"

namespace qx::test {
namespace {

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

/// The configuration is read once a process, so each test must be the first to look at it: as they are
/// when each runs in a process of its own.
class Offline : public ::testing::Test {
 protected:
  Offline()
      : root(lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Root"))),
        stranger(lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Stranger"))),
        end(root.issue(sampleKey(), everyAddress())),
        orphan(stranger.issue(sampleKey(), everyAddress())) {
    forgetSnapshots();
    folder.addCertificate("Root", root.certificate());
    setenv("QXPROVIDER_REVOCATION_TIMEOUT_MS", "50", 1);
  }

  lab::CertificateOptions everyAddress() const {
    lab::CertificateOptions options = named("End");
    options.crlUrl = server.url() + "crl";
    options.ocspUrl = server.url() + "ocsp";
    options.issuerUrl = server.url() + "ca.cer";
    return options;
  }

  static void setOnline(bool online) {
    setenv("QXPROVIDER_REVOCATION_ONLINE", online ? "yes" : "no", 1);
    setenv("QXPROVIDER_REVOCATION_ISSUERS", "yes", 1);
  }

  /// False when another test of this process came first.
  static bool isOnline() { return configuration().revocation.online; }

  void judge(const X509* certificate, DWORD flags) const {
    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof para;
    const PCCERT_CONTEXT context = CertificateContext::createFree(dataOf(certificate));
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    EXPECT_TRUE(CertGetCertificateChain(
        HCCE_CURRENT_USER, context, nullptr, nullptr, &para, flags, nullptr, &chain));
    CertFreeCertificateChain(chain);
    CertFreeCertificateContext(context);
  }

  const Listener server;
  const ProviderFolder folder;
  const lab::Authority root;
  const lab::Authority stranger;
  const X509Ptr end;
  const X509Ptr orphan;
};

constexpr DWORD kCheck = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;

TEST_F(Offline, NothingIsSentWhenTheConfigurationForbidsIt) {
  setOnline(false);
  judge(end.get(), kCheck);
  judge(orphan.get(), kCheck);
  EXPECT_TRUE(evaluateNow({.certificate = dataOf(end.get())}));
  EXPECT_FALSE(server.wasContacted());
}

TEST_F(Offline, NothingIsSentWhenTheCallerForbidsIt) {
  setOnline(true);
  if (!isOnline()) {
    GTEST_SKIP() << "another configuration was read before";
  }
  judge(end.get(), 0);
  judge(end.get(), kCheck | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY);
  judge(orphan.get(),
        kCheck | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY | CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL);
  judge(orphan.get(), kCheck | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY | CERT_CHAIN_DISABLE_AIA);
  EXPECT_TRUE(evaluateNow({.certificate = dataOf(end.get()), .online = false}));
  EXPECT_TRUE(evaluateAsOf({.certificate = dataOf(end.get())}, std::time(nullptr) - 60));
  EXPECT_FALSE(server.wasContacted());
}

TEST_F(Offline, TheListenerWouldNoticeWhenSomethingWereSent) {
  setOnline(true);
  if (!isOnline()) {
    GTEST_SKIP() << "another configuration was read before";
  }
  judge(end.get(), kCheck);
  EXPECT_TRUE(server.wasContacted());
}

}  // namespace
}  // namespace qx::test
