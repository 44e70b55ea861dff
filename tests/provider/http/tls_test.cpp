#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include "tests/provider/http/http_calls.h"
#include "tests/provider/http/scripted_server.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::test::tls_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::KeyKind;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

lab::Name named(const std::string& commonName) {
  return {{.type = "CN", .value = commonName}};
}

// A server with a certificate of an authority that the client trusts.
class HttpsTest : public ::testing::Test {
 protected:
  X509Ptr certify(const Authority& authority, CertificateOptions options) const {
    options.subject = named("localhost");
    return authority.issue(key_.get(), options);
  }

  ServerIdentity serverWith(X509* certificate) const {
    return {.key = key_.get(), .certificate = certificate};
  }

  std::string ask(const std::string& url, const HttpCredentials* credentials = nullptr) const {
    return test::ask({.url = url, .credentials = credentials}, kAmple, settings_);
  }

  // An https server of this certificate, asked by its address.
  std::string answerOf(X509* certificate) const {
    const ScriptedServer server({okAnswer("hello")}, serverWith(certificate));
    const std::string answer = ask(server.url());
    if (answer != "hello") {
      EXPECT_THAT(server.requests(), ::testing::Each(std::string()));
    }
    return answer;
  }

  TempDir folder_;
  Authority root_ = Authority::selfSigned(KeyKind::EcP256, {.subject = named("Root")});
  EvpPkeyPtr key_ = lab::generateKey(KeyKind::EcP256);
  X509Ptr good_ = certify(root_, {.subjectAltName = "IP:127.0.0.1,DNS:localhost"});
  HttpSettings settings_{.proxy = {},
                         .caFile = folder_.write("ca.pem", lab::toPem(root_.certificate()))};
};

TEST_F(HttpsTest, TrustsACertificateOfTheRightHost) {
  const ScriptedServer server({okAnswer("hello")}, serverWith(good_.get()));
  EXPECT_EQ(ask(server.url("/x")), "hello");
  EXPECT_EQ(ask("https://localhost:" + std::to_string(server.port()) + "/y"), "hello");
  EXPECT_THAT(server.requests(), ElementsAre(StartsWith("GET /x "), StartsWith("GET /y ")));
}

TEST_F(HttpsTest, TakesLargeAnswers) {
  const std::string large(900'000, 'x');
  const ScriptedServer server({okAnswer(large)}, serverWith(good_.get()));
  EXPECT_EQ(ask(server.url()), large);
}

TEST_F(HttpsTest, RefusesACertificateOfAnotherHost) {
  const DWORD error = ERROR_WINHTTP_SECURE_FAILURE;
  EXPECT_EQ(answerOf(certify(root_, {.subjectAltName = "DNS:localhost"}).get()), failed(error));
  EXPECT_EQ(answerOf(certify(root_, {.subjectAltName = "IP:127.0.0.2"}).get()), failed(error));
  EXPECT_EQ(answerOf(certify(root_, {.subjectAltName = "DNS:127.0.0.1"}).get()), failed(error));
  const X509Ptr address = certify(root_, {.subjectAltName = "IP:127.0.0.1"});
  const ScriptedServer server({okAnswer("hello")}, serverWith(address.get()));
  EXPECT_EQ(ask("https://localhost:" + std::to_string(server.port())), failed(error));
}

TEST_F(HttpsTest, RefusesACertificateOfAnAuthorityThatIsNotTrusted) {
  const Authority other = Authority::selfSigned(KeyKind::EcP256, {.subject = named("Root")});
  EXPECT_EQ(answerOf(certify(other, {.subjectAltName = "IP:127.0.0.1"}).get()),
            failed(ERROR_WINHTTP_SECURE_FAILURE));
}

TEST_F(HttpsTest, RefusesACertificateThatIsOver) {
  EXPECT_EQ(answerOf(certify(root_,
                             {.notAfter = -std::chrono::hours(1), .subjectAltName = "IP:127.0.0.1"})
                         .get()),
            failed(ERROR_WINHTTP_SECURE_FAILURE));
}

TEST_F(HttpsTest, RefusesACertificateForOtherUses) {
  EXPECT_EQ(answerOf(certify(root_,
                             {.extendedKeyUsage = "timeStamping", .subjectAltName = "IP:127.0.0.1"})
                         .get()),
            failed(ERROR_WINHTTP_SECURE_FAILURE));
}

TEST_F(HttpsTest, TrustsNobodyWithoutAuthorities) {
  settings_.caFile = folder_.write("empty.pem", "");
  EXPECT_EQ(answerOf(good_.get()), failed(ERROR_WINHTTP_SECURE_FAILURE));
  settings_.caFile = folder_.file("missing.pem");
  EXPECT_EQ(answerOf(good_.get()), failed(ERROR_WINHTTP_SECURE_FAILURE));
}

TEST_F(HttpsTest, RefusesAServerWithoutTls) {
  const ScriptedServer server(
      Answers{{.text = "HTTP/1.1 400 Bad Request\r\n\r\n", .waits = true, .speaksFirst = true}});
  EXPECT_EQ(ask("https" + server.url().substr(4)), failed(ERROR_WINHTTP_SECURE_FAILURE));
}

TEST_F(HttpsTest, EndsWithItsDeadline) {
  const ScriptedServer plain(Answers{{.text = "", .waits = true}});
  const std::string url = "https" + plain.url().substr(4);
  EXPECT_EQ(test::ask({.url = url}, kShortly, settings_), failed(ERROR_TIMEOUT));
  const ScriptedServer server(Answers{{.text = "HTTP/1.1", .waits = true}},
                              serverWith(good_.get()));
  EXPECT_EQ(test::ask({.url = server.url()}, kShortly, settings_), failed(ERROR_TIMEOUT));
}

TEST_F(HttpsTest, TakesTheFarewellForTheEnd) {
  const ScriptedServer server(Answers{{.text = "HTTP/1.1 200 OK\r\n\r\nhello"}},
                              serverWith(good_.get()));
  EXPECT_EQ(ask(server.url()), "hello");
}

TEST_F(HttpsTest, OldErrorsOfTheHostAreNotItsOwn) {
  const ScriptedServer server({okAnswer("hello")}, serverWith(good_.get()));
  ERR_clear_error();
  ERR_raise(ERR_LIB_USER, 77);
  EXPECT_EQ(ask(server.url()), "hello");
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 77);
  EXPECT_EQ(ERR_get_error(), 0U);
}

TEST_F(HttpsTest, IsRedirectedFromHttpButNotBack) {
  const ScriptedServer secure({okAnswer("hello")}, serverWith(good_.get()));
  const ScriptedServer plain(
      Answers{{.text = "HTTP/1.1 302 Found\r\nLocation: " + secure.url() + "\r\n\r\n"}});
  EXPECT_EQ(ask(plain.url()), "hello");
  const ScriptedServer open({okAnswer("hello")});
  const ScriptedServer leaving(
      Answers{{.text = "HTTP/1.1 302 Found\r\nLocation: " + open.url() + "\r\n\r\n"}},
      serverWith(good_.get()));
  EXPECT_EQ(ask(leaving.url()), failed(ERROR_WINHTTP_REDIRECT_FAILED));
  EXPECT_THAT(open.requests(), IsEmpty());
}

class HttpsClientCertificate : public HttpsTest {
 protected:
  ServerIdentity demanding() const {
    return {.key = key_.get(), .certificate = good_.get(), .clientAuthority = root_.certificate()};
  }

  HttpCredentials credentialsFor(const std::string& server) const {
    return {.server = server,
            .certificateFile = folder_.write("client.crt", lab::toPem(own_.get())),
            .keyFile = folder_.write("client.key", lab::toPem(ownKey_.get()))};
  }

  EvpPkeyPtr ownKey_ = lab::generateKey(KeyKind::Rsa2048);
  X509Ptr own_ = root_.issue(ownKey_.get(), {.subject = named("Client")});
};

TEST_F(HttpsClientCertificate, IsShownToItsServer) {
  const ScriptedServer server({okAnswer("hello")}, demanding());
  const HttpCredentials credentials = credentialsFor(server.url("/anywhere"));
  EXPECT_EQ(ask(server.url(), &credentials), "hello");
}

TEST_F(HttpsClientCertificate, IsNotShownToAnother) {
  const ScriptedServer server({okAnswer("hello")}, demanding());
  const HttpCredentials credentials = credentialsFor("https://127.0.0.1:1/");
  // The server's refusal, and its note of the exchange, may be overtaken by the end of the connection.
  EXPECT_THAT(ask(server.url(), &credentials),
              AnyOf(failed(ERROR_WINHTTP_SECURE_FAILURE), failed(ERROR_WINHTTP_CONNECTION_ERROR)));
  EXPECT_THAT(server.requests(), ::testing::Each(std::string()));
}

TEST_F(HttpsClientCertificate, NeedsItsKey) {
  const ScriptedServer server({okAnswer("hello")}, demanding());
  HttpCredentials credentials = credentialsFor(server.url());
  credentials.keyFile = folder_.write("other.key", lab::toPem(key_.get()));
  EXPECT_EQ(ask(server.url(), &credentials), failed(ERROR_WINHTTP_LOGIN_FAILURE));
  credentials.keyFile = folder_.write("locked.key", lab::toPem(ownKey_.get(), "1234", 1000));
  EXPECT_EQ(ask(server.url(), &credentials), failed(ERROR_WINHTTP_LOGIN_FAILURE));
  credentials.keyFile = "";
  EXPECT_EQ(ask(server.url(), &credentials), failed(ERROR_WINHTTP_LOGIN_FAILURE));
  EXPECT_THAT(server.requests(), ::testing::Each(std::string()));
}

// The one who is asked to hand on sees nothing but whom it is for.
TEST_F(HttpsTest, RefusesAProxyThatHandsNothingOn) {
  const ScriptedServer proxy(Answers{{.text = "HTTP/1.1 403 Forbidden\r\n\r\n"},
                                     {.text = "HTTP/1.1 200 OK\r\n\r\nand something more"}});
  settings_.proxy = proxy.url();
  EXPECT_EQ(ask("https://stamps.invalid/secret"), failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE));
  EXPECT_EQ(ask("https://[::1]:81/secret"), failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE));
  EXPECT_THAT(proxy.requests(),
              ElementsAre("CONNECT stamps.invalid:443 HTTP/1.1\r\nHost: stamps.invalid:443\r\n\r\n",
                          "CONNECT [::1]:81 HTTP/1.1\r\nHost: [::1]:81\r\n\r\n"));
}

}  // namespace
}  // namespace qx::test::tls_test
