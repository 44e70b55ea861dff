#include "provider/cades/time_stamp_service.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/cades/time_stamp_token.h"
#include "tests/provider/http/http_calls.h"
#include "tests/provider/http/scripted_server.h"
#include "tests/support/command.h"
#include "tests/support/provider_folder.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/services.h"

namespace qx::test::time_stamp_service_test {
namespace {

using lab::Authority;
using lab::Bytes;
using lab::CertificateOptions;
using lab::KeyKind;
using lab::TimeStampAuthority;
using lab::TimeStampOptions;

constexpr const char* kPath = "/tsa";
const Meanwhile kNothingElse;

lab::Name named(const std::string& commonName) {
  return {{.type = "CN", .value = commonName}};
}

// A root that the provider trusts, and an authority below it that makes stamps over HTTP.
class TimeStampServiceTest : public ::testing::Test {
 protected:
  TimeStampServiceTest() {
    folder_.addCertificate("Root", root_.certificate());
    storeCrl({});
    configuration_.tsp.timeoutMs = 30'000;
    offer({});
  }

  void storeCrl(std::vector<lab::RevokedEntry> revoked) const {
    folder_.addCrl("Root", root_.crl({.revoked = std::move(revoked)}).get(), "root.crl");
  }

  void offer(const TimeStampOptions& options) { services_.offerTimeStamps(kPath, tsa_, options); }

  // Another authority at the same path.
  void offerOf(const Authority& issuer, CertificateOptions options) {
    options.subject = named("Other Stamps");
    tsa_ = std::make_shared<TimeStampAuthority>(
        TimeStampAuthority::issuedBy(issuer, KeyKind::EcP256, std::move(options)));
    offer({});
  }

  Result<TimeStamp> stampAt(const std::string& url) const {
    const Result<std::unique_ptr<TimeStampService>> service =
        timeStampServiceAt(url, configuration_);
    return service ? (*service)->stamp(HashAlgorithm::Sha256, hash_, kNothingElse)
                   : service.failure();
  }

  DWORD errorOfStamp() const { return stampAt(services_.url(kPath)).error(); }

  ProviderFolder folder_;
  lab::Services services_;
  Configuration configuration_;
  Authority root_ = Authority::selfSigned(KeyKind::EcP256, {.subject = named("Root")});
  std::shared_ptr<const TimeStampAuthority> tsa_ =
      std::make_shared<TimeStampAuthority>(TimeStampAuthority::issuedBy(root_, KeyKind::EcP256));
  Bytes hash_ = Bytes(32, 0x5A);
};

TEST_F(TimeStampServiceTest, GivesATokenOverTheHash) {
  const Result<TimeStamp> stamp = stampAt(services_.url(kPath));
  ASSERT_TRUE(stamp) << stamp.error();
  const TimeStampInfo& info = stamp->token().info();
  EXPECT_EQ(Bytes(info.imprint.begin(), info.imprint.end()), hash_);
  EXPECT_TRUE(stamp->verifySignature());
  EXPECT_EQ(Bytes(stamp->authority()->der().begin(), stamp->authority()->der().end()),
            lab::toDer(tsa_->certificate()));
  ASSERT_NE(stamp->verdict(), nullptr);
  EXPECT_EQ(stamp->verdict()->errors, 0U);
  EXPECT_TRUE(
      sameCertificate(*stamp->verdict()->elements.front().certificate, *stamp->authority()));
  EXPECT_EQ(services_.count(kPath), 1U);
}

TEST_F(TimeStampServiceTest, GivesWhatTheOpensslCommandAccepts) {
  const Result<TimeStamp> stamp = stampAt(services_.url(kPath));
  ASSERT_TRUE(stamp);
  const der::Bytes token = stamp->token().encoded();
  const TempDir files;
  const CommandResult judged =
      run({"openssl",
           "ts",
           "-verify",
           "-token_in",
           "-in",
           files.write("token", std::string(token.begin(), token.end())),
           "-digest",
           "5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a",
           "-CAfile",
           files.write("root.pem", lab::toPem(root_.certificate()))});
  EXPECT_EQ(judged.exitCode, 0) << judged.err;
}

TEST_F(TimeStampServiceTest, AsksForAllItsStampsOverOneConnection) {
  ScriptedAnswer noStamp = okAnswer("no stamp");
  noStamp.keeps = true;
  const ScriptedServer server({noStamp});
  const Result<std::unique_ptr<TimeStampService>> service =
      timeStampServiceAt(server.url(), configuration_);
  ASSERT_TRUE(service);
  EXPECT_FALSE((*service)->stamp(HashAlgorithm::Sha256, hash_, kNothingElse));
  EXPECT_FALSE((*service)->stamp(HashAlgorithm::Sha256, hash_, kNothingElse));
  EXPECT_EQ(server.connections(), 1U);
}

TEST_F(TimeStampServiceTest, HasTimeForOtherWork) {
  const Result<std::unique_ptr<TimeStampService>> service =
      timeStampServiceAt(services_.url(kPath), configuration_);
  ASSERT_TRUE(service);
  int count = 0;
  EXPECT_TRUE((*service)->stamp(HashAlgorithm::Sha256, hash_, counting(count)));
  EXPECT_EQ(count, 1);
  const Meanwhile failing = counting(count, fail(NTE_BAD_SIGNATURE));
  EXPECT_EQ((*service)->stamp(HashAlgorithm::Sha256, hash_, failing).error(), NTE_BAD_SIGNATURE);
  EXPECT_EQ(count, 2);
}

TEST_F(TimeStampServiceTest, AsksTheDefaultServerWithoutAUrl) {
  EXPECT_EQ(timeStampServiceAt("", configuration_).error(), ERROR_SERVICE_NOT_FOUND);
  configuration_.tsp.defaultUrl = services_.url(kPath);
  EXPECT_TRUE(stampAt(""));
  EXPECT_EQ(services_.count(kPath), 1U);
}

TEST_F(TimeStampServiceTest, SendsNothingBeforeTheFirstStamp) {
  EXPECT_TRUE(timeStampServiceAt(services_.url(kPath), configuration_));
  EXPECT_EQ(services_.count(kPath), 0U);
}

TEST_F(TimeStampServiceTest, RefusesAHashOfAnotherLengthWithoutAsking) {
  hash_.pop_back();
  EXPECT_EQ(errorOfStamp(), NTE_BAD_HASH);
  EXPECT_EQ(services_.count(kPath), 0U);
}

TEST_F(TimeStampServiceTest, RefusesAStampOverAnotherHash) {
  offer({.wrongImprint = true});
  EXPECT_EQ(errorOfStamp(), TRUST_E_TIME_STAMP);
}

TEST_F(TimeStampServiceTest, RefusesWhatIsNoStamp) {
  services_.offerFile(
      kPath, lab::timeStampResponse(lab::TimeStampStatus::Granted, {0x30, 0x00}), "x/y");
  EXPECT_FALSE(stampAt(services_.url(kPath)));
}

TEST_F(TimeStampServiceTest, RefusesAStampForAnotherRequest) {
  offer({.wrongNonce = true});
  EXPECT_EQ(errorOfStamp(), TRUST_E_TIME_STAMP);
}

TEST_F(TimeStampServiceTest, RefusesAStampFromTheFuture) {
  offer({.offset = std::chrono::minutes(4)});
  EXPECT_EQ(errorOfStamp(), ERROR_SUCCESS);
  offer({.offset = std::chrono::minutes(6)});
  EXPECT_EQ(errorOfStamp(), TRUST_E_TIME_STAMP);
}

TEST_F(TimeStampServiceTest, RefusesAStampWithoutANonce) {
  const Bytes token = tsa_->token({.digest = NID_sha256, .hash = hash_});
  services_.offerFile(kPath, lab::timeStampResponse(lab::TimeStampStatus::Granted, token), "x/y");
  EXPECT_EQ(errorOfStamp(), TRUST_E_TIME_STAMP);
}

TEST_F(TimeStampServiceTest, RefusesAStampWithoutItsCertificate) {
  offer({.certificate = false});
  EXPECT_EQ(errorOfStamp(), CRYPT_E_SIGNER_NOT_FOUND);
}

TEST_F(TimeStampServiceTest, RefusesAStampThatNamesNoCertificateOrAnother) {
  offer({.ess = lab::EssAttribute::None});
  EXPECT_EQ(errorOfStamp(), CRYPT_E_ATTRIBUTES_MISSING);
  offer({.essCertificate = root_.certificate()});
  EXPECT_EQ(errorOfStamp(), CRYPT_E_SIGNER_NOT_FOUND);
}

TEST_F(TimeStampServiceTest, RefusesAnAuthorityOfAnotherRoot) {
  const Authority other = Authority::selfSigned(KeyKind::EcP256, {.subject = named("Other")});
  offerOf(other, {});
  EXPECT_EQ(errorOfStamp(), CERT_E_CHAINING);
}

TEST_F(TimeStampServiceTest, RefusesAnAuthorityWhoseTimeIsOver) {
  offerOf(root_, {.subject = {}, .notAfter = -std::chrono::hours(1)});
  EXPECT_EQ(errorOfStamp(), CERT_E_EXPIRED);
}

TEST_F(TimeStampServiceTest, RefusesAnAuthorityThatIsRevoked) {
  storeCrl({{.serial = lab::serialOf(tsa_->certificate())}});
  EXPECT_EQ(errorOfStamp(), CRYPT_E_REVOKED);
}

TEST_F(TimeStampServiceTest, RefusesACertificateForOtherUses) {
  for (const char* usage :
       {"timeStamping", "critical,timeStamping,clientAuth", "critical,clientAuth"}) {
    offerOf(root_, {.subject = {}, .extendedKeyUsage = usage});
    EXPECT_EQ(errorOfStamp(), CERT_E_WRONG_USAGE) << usage;
  }
}

TEST_F(TimeStampServiceTest, TakesARefusalForOne) {
  services_.offerFile(kPath, lab::timeStampResponse(lab::TimeStampStatus::Rejection, {}), "x/y");
  EXPECT_EQ(errorOfStamp(), ERROR_REQUEST_REFUSED);
}

TEST_F(TimeStampServiceTest, RefusesJunk) {
  services_.offerFile(kPath, {'<', 'h', 't', 'm', 'l', '>'}, "text/html");
  EXPECT_FALSE(stampAt(services_.url(kPath)));
  services_.offerFile(
      kPath,
      lab::timeStampResponse(lab::TimeStampStatus::Granted, {0x30, 0x03, 0x02, 0x01, 0x07}),
      "x/y");
  EXPECT_FALSE(stampAt(services_.url(kPath)));
}

TEST_F(TimeStampServiceTest, HandsTheNetworksErrorsOn) {
  services_.setConduct(kPath, {.status = 503});
  EXPECT_EQ(errorOfStamp(), ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
  services_.setConduct(kPath, {.excess = std::size_t{2} << 20U});
  EXPECT_EQ(errorOfStamp(), ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW);
  configuration_.tsp.timeoutMs = 150;
  services_.setConduct(kPath, {.stalls = true});
  EXPECT_EQ(errorOfStamp(), ERROR_TIMEOUT);
  EXPECT_EQ(stampAt("ftp://127.0.0.1/").error(), ERROR_WINHTTP_INVALID_URL);
}

TEST_F(TimeStampServiceTest, TakesChunksAndARedirection) {
  services_.setConduct(kPath, {.chunked = true});
  EXPECT_TRUE(stampAt(services_.url(kPath)));
  services_.setConduct("/moved", {.redirect = kPath});
  EXPECT_TRUE(stampAt(services_.url("/moved")));
}

TEST_F(TimeStampServiceTest, ShowsItsPasswordToTheDefaultServerOnly) {
  configuration_.tsp.user = "lab";
  configuration_.tsp.passwordFile = folder_.path() + "/missing";
  EXPECT_TRUE(stampAt(services_.url(kPath)));
  configuration_.tsp.defaultUrl = services_.url("/other");
  EXPECT_EQ(errorOfStamp(), ERROR_WINHTTP_LOGIN_FAILURE);
}

struct Kind {
  KeyKind kind;
  HashAlgorithm algorithm;
};

class TimeStampServiceKinds : public TimeStampServiceTest,
                              public ::testing::WithParamInterface<Kind> {};

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    TimeStampServiceKinds,
    ::testing::Values(Kind{.kind = KeyKind::Rsa2048, .algorithm = HashAlgorithm::Sha512},
                      Kind{.kind = KeyKind::EcP384, .algorithm = HashAlgorithm::Streebog512},
                      Kind{.kind = KeyKind::Gost2001, .algorithm = HashAlgorithm::Gost94},
                      Kind{.kind = KeyKind::Gost2012_256, .algorithm = HashAlgorithm::Streebog256},
                      Kind{.kind = KeyKind::Gost2012_512, .algorithm = HashAlgorithm::Sha256}));

TEST_P(TimeStampServiceKinds, StampHashesOfAllKinds) {
  tsa_ = std::make_shared<TimeStampAuthority>(TimeStampAuthority::issuedBy(root_, GetParam().kind));
  offer({});
  const Result<std::unique_ptr<TimeStampService>> service =
      timeStampServiceAt(services_.url(kPath), configuration_);
  ASSERT_TRUE(service);
  const Result<TimeStamp> stamp = (*service)->stamp(
      GetParam().algorithm, Bytes(hashInfo(GetParam().algorithm).length, 0x5A), kNothingElse);
  ASSERT_TRUE(stamp) << stamp.error();
  EXPECT_TRUE(stamp->verifySignature());
}

}  // namespace
}  // namespace qx::test::time_stamp_service_test
