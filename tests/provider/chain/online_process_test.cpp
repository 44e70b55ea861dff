// CertGetCertificateChain in a process that may go online, against real servers.
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/chain/evaluate.h"
#include "provider/chain/faults.h"
#include "provider/support/config.h"
#include "tests/provider/chain/listening_world.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/services.h"

namespace qx::test::online_process_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::KeyKind;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kOcsp = "/ocsp";
constexpr const char* kCrl = "/crl";
constexpr const char* kIssuer = "/ca.cer";
constexpr milliseconds kTimeout(700);

/// Where the provider of this process writes its trace.
const std::string& traceFile() {
  static const TempDir folder;
  static const std::string file = folder.path() + "/trace";
  return file;
}

std::string trace() {
  std::ifstream stream(traceFile());
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The configuration is read once a process: all tests of this program have this one.
class OnlineConfiguration {
 public:
  OnlineConfiguration() {
    setenv("QXPROVIDER_REVOCATION_ONLINE", "yes", 1);
    setenv("QXPROVIDER_REVOCATION_ISSUERS", "yes", 1);
    setenv("QXPROVIDER_REVOCATION_TIMEOUT_MS", std::to_string(kTimeout.count()).c_str(), 1);
    setenv("QXPROVIDER_TRACE_FILE", traceFile().c_str(), 1);
    EXPECT_TRUE(configuration().revocation.online);
  }
};

class OnlineButForbidden : OnlineConfiguration, public ListeningWorld {};

TEST_F(OnlineButForbidden, NothingIsSentWhenTheCallerSaysSo) {
  errorsFor(end.get(), 0);
  errorsFor(end.get(), kCheck | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY);
  errorsFor(orphan.get(),
            kCheck | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY | CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL);
  errorsFor(orphan.get(), kCheck | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY | CERT_CHAIN_DISABLE_AIA);
  EXPECT_TRUE(evaluateNow({.certificate = dataOf(end.get()), .online = false}));
  EXPECT_TRUE(evaluateAsOf({.certificate = dataOf(end.get())}, std::time(nullptr) - 60));
  EXPECT_FALSE(server.wasContacted());
}

TEST_F(OnlineButForbidden, ButTheListenerWouldHaveNoticed) {
  EXPECT_EQ(errorsFor(end.get(), kCheck), kRevocationUnknown);
  EXPECT_TRUE(server.wasContacted());
}

class OnlineProcess : OnlineConfiguration, public ::testing::Test {
 protected:
  static constexpr DWORD kCheck = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;

  OnlineProcess()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        end(root.issue(sampleKey(), addresses("End"))),
        responder(std::make_shared<const lab::OcspResponder>(
            lab::OcspResponder::issuedBy(root, KeyKind::EcP256))) {
    forgetSnapshots();
    folder.addCertificate("Root", root.certificate());
  }

  CertificateOptions addresses(const std::string& name) const {
    CertificateOptions options = named(name);
    options.ocspUrl = services.url(kOcsp);
    options.crlUrl = services.url(kCrl);
    return options;
  }

  void offerCrl(const lab::CrlOptions& options = {}) {
    services.offerFile(kCrl, lab::toDer(root.crl(options).get()), "application/pkix-crl");
  }

  void offerOcsp(const std::vector<lab::RevokedEntry>& revoked = {}) {
    services.offerOcsp(kOcsp, responder, root.certificate(), revoked);
  }

  DWORD judge() const { return errorsFor(end.get(), kCheck); }

  lab::Services services;
  const ProviderFolder folder;
  const Authority root;
  const X509Ptr end;
  const std::shared_ptr<const lab::OcspResponder> responder;
};

TEST_F(OnlineProcess, AsksTheResponder) {
  offerOcsp();
  EXPECT_EQ(judge(), 0U);
  EXPECT_THAT(services.requests(), ElementsAre(kOcsp));
}

TEST_F(OnlineProcess, LearnsOfARevocation) {
  offerOcsp({{.serial = lab::serialOf(end.get())}});
  EXPECT_EQ(judge(), CERT_TRUST_IS_REVOKED);
}

TEST_F(OnlineProcess, FetchesTheCrlWhenTheResponderFails) {
  offerOcsp();
  services.setConduct(kOcsp, {.status = 503});
  offerCrl();
  EXPECT_EQ(judge(), 0U);
  EXPECT_THAT(services.requests(), ElementsAre(kOcsp, kCrl));
}

TEST_F(OnlineProcess, ReadsAChunkedCrl) {
  offerCrl();
  services.setConduct(kCrl, {.chunked = true});
  EXPECT_EQ(judge(), 0U);
}

TEST_F(OnlineProcess, FetchesOnceAndRemembers) {
  offerCrl();
  EXPECT_EQ(judge(), 0U);
  EXPECT_EQ(judge(), 0U);
  // Another certificate of the same authority: the CRL on disk speaks about it, too.
  EXPECT_EQ(errorsFor(root.issue(sampleKey(), addresses("Other")).get(), kCheck), 0U);
  EXPECT_EQ(services.count(kCrl), 1U);
}

TEST_F(OnlineProcess, AsksAgainAfterAFailure) {
  EXPECT_EQ(judge(), kRevocationUnknown);
  offerOcsp();
  EXPECT_EQ(judge(), 0U);
}

TEST_F(OnlineProcess, GivesTheWholeCallOneTime) {
  offerOcsp();
  offerCrl();
  services.setConduct(kOcsp, {.stalls = true});
  EXPECT_EQ(judge(), kRevocationUnknown);
  EXPECT_EQ(services.count(kCrl), 0U) << "no time was left";
}

TEST_F(OnlineProcess, TakesNoMoreTimeThanTheCallerGives) {
  offerOcsp();
  services.setConduct(kOcsp, {.delay = milliseconds(150)});
  CERT_CHAIN_PARA_LONG para{.cbSize = sizeof para, .dwUrlRetrievalTimeout = 20};
  auto* const shortForm = reinterpret_cast<PCERT_CHAIN_PARA>(&para);
  EXPECT_EQ(errorsFor(end.get(), kCheck, shortForm), kRevocationUnknown);
  EXPECT_EQ(services.count(kOcsp), 1U);
  EXPECT_EQ(services.count(kCrl), 0U) << "no time was left";
  services.setConduct(kOcsp, {});
  para.dwUrlRetrievalTimeout = 0;
  EXPECT_EQ(errorsFor(end.get(), kCheck, shortForm), 0U);
}

TEST_F(OnlineProcess, TakesNoMoreTimeThanIsConfigured) {
  offerCrl();
  services.setConduct(kOcsp, {.stalls = true});
  CERT_CHAIN_PARA_LONG para{.cbSize = sizeof para, .dwUrlRetrievalTimeout = 0xFFFF'FFFF};
  EXPECT_EQ(errorsFor(end.get(), kCheck, reinterpret_cast<PCERT_CHAIN_PARA>(&para)),
            kRevocationUnknown);
  EXPECT_EQ(services.count(kCrl), 0U) << "no time was left";
}

TEST_F(OnlineProcess, AsksAgainWhenWhatItKeptIsTooOldForTheCaller) {
  offerOcsp();
  EXPECT_EQ(judge(), 0U);
  CERT_CHAIN_PARA_LONG para{.cbSize = sizeof para,
                            .fCheckRevocationFreshnessTime = TRUE,
                            .dwRevocationFreshnessTime = 60};
  EXPECT_EQ(errorsFor(end.get(), kCheck, reinterpret_cast<PCERT_CHAIN_PARA>(&para)),
            kRevocationUnknown)
      << "what the responder says is an hour old as well";
  EXPECT_EQ(services.count(kOcsp), 2U);
  EXPECT_EQ(judge(), 0U);
  EXPECT_EQ(services.count(kOcsp), 2U) << "it is kept for those who do not mind";
}

TEST_F(OnlineProcess, KeepsTheEvidence) {
  offerOcsp();
  const Result<VerdictPtr> verdict = evaluateNow({.certificate = dataOf(end.get())});
  ASSERT_TRUE(verdict);
  EXPECT_EQ((*verdict)->errors, 0U);
  EXPECT_NE((*verdict)->elements.at(0).evidence.ocsp, nullptr);
}

TEST_F(OnlineProcess, FetchesAnUnknownIssuer) {
  const Authority middle = root.subordinate(KeyKind::EcP256, addresses("Middle"));
  CertificateOptions options = named("Below");
  options.issuerUrl = services.url(kIssuer);
  const X509Ptr below = middle.issue(sampleKey(), options);
  services.offerFile(kIssuer, lab::toDer(middle.certificate()), "application/pkix-cert");
  EXPECT_EQ(errorsFor(below.get(), 0), 0U);
  EXPECT_EQ(services.count(kIssuer), 1U);
}

TEST_F(OnlineProcess, FollowsNoAddressOfAStranger) {
  const Authority stranger = Authority::selfSigned(KeyKind::EcP256, named("Stranger"));
  folder.addCertificate("CA", stranger.certificate());
  forgetSnapshots();
  EXPECT_NE(errorsFor(stranger.issue(sampleKey(), addresses("End")).get(), kCheck), 0U);
  EXPECT_THAT(services.requests(), IsEmpty());
}

TEST_F(OnlineProcess, SaysWhyACrlIsNotUsed) {
  offerCrl({.extensions = {{.name = "2.5.29.27", .value = "critical,DER:020101"}}});
  EXPECT_EQ(judge(), kRevocationUnknown);
  EXPECT_THAT(trace(), HasSubstr("a CRL is not used: it is a delta"));
  offerCrl({.extensions = {{.name = "2.5.29.28", .value = "critical,DER:30038401FF"}}});
  EXPECT_EQ(judge(), kRevocationUnknown);
  EXPECT_THAT(trace(), HasSubstr("a CRL is not used: it is an indirect one"));
}

TEST_F(OnlineProcess, SaysWhyAnAnswerIsNotUsed) {
  const Authority stranger = Authority::selfSigned(KeyKind::EcP256, named("Stranger"));
  services.offerOcsp(kOcsp,
                     std::make_shared<const lab::OcspResponder>(lab::OcspResponder::of(stranger)),
                     root.certificate());
  EXPECT_EQ(judge(), kRevocationUnknown);
  EXPECT_THAT(trace(), HasSubstr("an OCSP answer is not used: its signer"));
}

TEST_F(OnlineProcess, SharesABudgetOverSeveralQuestions) {
  offerOcsp();
  Network network([](const HttpRequest& request,
                     const HttpLimits& limits) { return exchange(request, limits); },
                  {.time = kTimeout, .requests = 1});
  const X509Ptr other = root.issue(sampleKey(), addresses("Other"));
  const Result<VerdictPtr> first =
      evaluateNow({.certificate = dataOf(end.get()), .network = &network});
  const Result<VerdictPtr> second =
      evaluateNow({.certificate = dataOf(other.get()), .network = &network});
  ASSERT_TRUE(first && second);
  EXPECT_EQ((*first)->errors, 0U);
  EXPECT_EQ((*second)->errors, kRevocationUnknown);
  EXPECT_EQ(services.requests().size(), 1U);
}

}  // namespace
}  // namespace qx::test::online_process_test
