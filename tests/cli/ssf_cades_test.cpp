#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tests/support/system_world.h"
#include "tools/lab/services.h"

// Signatures with time stamps of real servers, through the tool: who is asked, in which order, and what
// the signatures are worth when nobody can be asked any more.

namespace qx::test::ssf_cades_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class SsfCadesTool : public CliTest {
 protected:
  SsfCadesTool() {
    setEnvironment("QXPROVIDER_USER_DIR", world_.folder().path());
    setEnvironment("QXPROVIDER_TSP_DEFAULT_URL", services_->url("/default"));
    setEnvironment("QX_SSF_ADD_TSP", services_->url("/first") + ";" + services_->url("/second"));
    for (const char* path : {"/default", "/first", "/second"}) {
      services_->offerTimeStamps(path, authority_);
    }
  }

  CommandResult sign(Arguments more, const std::string& format = "CADES") const {
    Arguments arguments = {"sign", document_, "-o", file("message"), "--format", format};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ssf(arguments);
  }

  CommandResult verify(const std::string& format) const {
    return ssf({"verify", file("message"), "-o", file("content"), "--format", format});
  }

  /// From now on nobody makes time stamps.
  void endServices() { services_.reset(); }

  void revoke(const Person& person) const {
    const std::string serial = lab::serialOf(person.certificate.get());
    world_.folder().addCrl(
        "Root", world_.authority().crl({.revoked = {{.serial = serial}}}).get(), "root.crl");
  }

  SystemWorld world_;
  Person ivan_ = world_.enrol("Ivan");
  Person anna_ = world_.enrol("Anna");
  std::shared_ptr<const lab::TimeStampAuthority> authority_ =
      std::make_shared<lab::TimeStampAuthority>(
          lab::TimeStampAuthority::issuedBy(world_.authority(), lab::KeyKind::Gost2012_256));
  std::unique_ptr<lab::Services> services_ = std::make_unique<lab::Services>();
  std::string document_ = write("document", "what is signed\n");
};

TEST_F(SsfCadesTool, AsksTheDefaultServerAloneWhileItWorks) {
  const CommandResult result = sign({"-s", "CN=Ivan"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  // One stamp for the signature, one for what proves it.
  EXPECT_THAT(services_->requests(), ElementsAre("/default", "/default"));
}

TEST_F(SsfCadesTool, AsksTwiceForEachOfSeveralSigners) {
  const CommandResult result = sign({"-s", "CN=Ivan", "-s", "CN=Anna"}, "PKCS7_CADES");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(services_->count("/default"), 4U);
}

TEST_F(SsfCadesTool, AsksNobodyForAPlainSignature) {
  ASSERT_EQ(sign({"-s", "CN=Ivan"}, "PKCS7").exitCode, 0);
  EXPECT_THAT(services_->requests(), IsEmpty());
}

TEST_F(SsfCadesTool, GoesOnToTheNextServerWhileOneFails) {
  services_->setConduct("/default", {.status = 503});
  services_->offerTimeStamps("/first", authority_, {.wrongImprint = true});
  const CommandResult result = sign({"-s", "CN=Ivan"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(services_->requests(), ElementsAre("/default", "/first", "/second", "/second"));
}

TEST_F(SsfCadesTool, GoesOnWhenAServerDoesNotAnswerInItsTime) {
  setEnvironment("QXPROVIDER_TSP_TIMEOUT_MS", "300");
  services_->setConduct("/default", {.stalls = true});
  services_->setConduct("/first", {.stalls = true});
  // The third one has no more time than the others, but needs next to none.
  const CommandResult result = sign({"-s", "CN=Ivan"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(services_->count("/second"), 2U);
}

TEST_F(SsfCadesTool, GoesOnWhenNobodyListens) {
  const std::string url = services_->url("/second");
  {
    const lab::Services gone;
    setEnvironment("QXPROVIDER_TSP_DEFAULT_URL", gone.url("/"));
  }
  setEnvironment("QX_SSF_ADD_TSP", url);
  ASSERT_EQ(sign({"-s", "CN=Ivan"}).exitCode, 0);
  EXPECT_EQ(services_->count("/second"), 2U);
}

TEST_F(SsfCadesTool, SaysThatNoServerGaveAStampAndWritesNothing) {
  services_->setConduct("/default", {.status = 500});
  services_->offerTimeStamps("/first", authority_, {.wrongNonce = true});
  services_->setConduct("/second", {.status = 404});
  const CommandResult result = sign({"-s", "CN=Ivan"});
  EXPECT_EQ(result.exitCode, 6);
  EXPECT_EQ(result.err,
            "qxssf: " + document_ +
                ": not signed: the time-stamp server gave no answer that can be used\n");
  EXPECT_FALSE(exists("message"));
  EXPECT_THAT(services_->requests(), ElementsAre("/default", "/first", "/second"));
}

// What the last one said is told: those before it may have said something else.
TEST_F(SsfCadesTool, TellsWhyThereIsNoStamp) {
  setEnvironment("QXPROVIDER_TSP_TIMEOUT_MS", "300");
  setEnvironment("QX_SSF_ADD_TSP", "");
  const auto reason = [&] {
    const CommandResult result = sign({"-s", "CN=Ivan"});
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_FALSE(exists("message"));
    return result.err.substr(result.err.rfind(": ") + 2);
  };
  services_->setConduct("/default", {.stalls = true});
  EXPECT_EQ(reason(), "the time-stamp server did not answer in time\n");
  services_->setConduct("/default", {});
  services_->offerTimeStamps("/default", authority_, {.wrongNonce = true});
  EXPECT_EQ(reason(), "the time stamp is not what was asked for\n");
  services_->offerFile("/default",
                       lab::timeStampResponse(lab::TimeStampStatus::Rejection, {}),
                       "application/timestamp-reply");
  EXPECT_EQ(reason(), "the time-stamp server refused the request\n");
  endServices();
  EXPECT_EQ(reason(), "the time-stamp server cannot be reached\n");
  setEnvironment("QXPROVIDER_TSP_DEFAULT_URL", "");
  EXPECT_EQ(reason(), "no time-stamp server is configured (tsp.default_url in provider.conf)\n");
}

TEST_F(SsfCadesTool, TellsThatTheSignersCertificateIsRevokedOrMayBe) {
  revoke(ivan_);
  EXPECT_THAT(sign({"-s", "CN=Ivan"}).err, HasSubstr("not signed: a certificate is revoked"));
  std::filesystem::remove(world_.folder().path() + "/stores/Root/root.crl");
  EXPECT_THAT(sign({"-s", "CN=Ivan"}).err,
              HasSubstr("not signed: it cannot be found out whether a certificate is revoked"));
}

TEST_F(SsfCadesTool, TakesNoStampOfAnAuthorityThatNobodyTrusts) {
  const lab::Authority stranger =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = {{"CN", "Stranger"}}});
  const auto strange = std::make_shared<lab::TimeStampAuthority>(
      lab::TimeStampAuthority::issuedBy(stranger, lab::KeyKind::EcP256));
  for (const char* path : {"/default", "/first", "/second"}) {
    services_->offerTimeStamps(path, strange);
  }
  EXPECT_EQ(sign({"-s", "CN=Ivan"}).exitCode, 6);
  EXPECT_FALSE(exists("message"));
}

TEST_F(SsfCadesTool, VerifiesWhenNobodyCanBeAskedAnyMore) {
  ASSERT_EQ(sign({"-s", "CN=Ivan"}).exitCode, 0);
  endServices();
  for (const char* format : {"CADES", "PKCS7_ANY", "PKCS7"}) {
    const CommandResult result = verify(format);
    EXPECT_EQ(result.exitCode, 0) << format << result.err;
    EXPECT_EQ(readFile(file("content")), "what is signed\n");
  }
  EXPECT_THAT(verify("CADES").out, HasSubstr(", time stamp 20"));
}

TEST_F(SsfCadesTool, SignsWhatOpensslVerifiesAsCades) {
  ASSERT_EQ(sign({"-s", "CN=Ivan"}).exitCode, 0);
  const std::string root = write("root.pem", lab::toPem(world_.authority().certificate()));
  const CommandResult result = openssl({"cms",
                                        "-verify",
                                        "-cades",
                                        "-binary",
                                        "-inform",
                                        "DER",
                                        "-in",
                                        file("message"),
                                        "-CAfile",
                                        root,
                                        "-purpose",
                                        "any"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "what is signed\n");
}

TEST_F(SsfCadesTool, AddsAStampedSignatureAskingTheFirstListedServerOnly) {
  ASSERT_EQ(sign({"-s", "CN=Ivan"}).exitCode, 0);
  services_->setConduct("/default", {.status = 500});
  const Arguments arguments = {
      "addsign", file("message"), "-o", file("message2"), "--format", "CADES", "-s", "CN=Anna"};
  const CommandResult result = ssf(arguments);
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(services_->requests(),
              ElementsAre("/default", "/default", "/default", "/first", "/first"));
  endServices();
  const nlohmann::json verified =
      ssfJson({"verify", file("message2"), "-o", file("content"), "--format", "CADES"});
  ASSERT_EQ(verified["signers"].size(), 2U);
  for (const nlohmann::json& signer : verified["signers"]) {
    EXPECT_EQ(signer["result"], 0);
    EXPECT_TRUE(signer.contains("stampTime")) << signer.dump();
  }

  services_ = std::make_unique<lab::Services>();
  setEnvironment("QXPROVIDER_TSP_DEFAULT_URL", services_->url("/default"));
  setEnvironment("QX_SSF_ADD_TSP", services_->url("/first") + ";" + services_->url("/second"));
  services_->offerTimeStamps("/second", authority_);
  EXPECT_EQ(ssf(arguments).exitCode, 6);
  EXPECT_EQ(services_->count("/second"), 0U);
}

TEST_F(SsfCadesTool, KeepsASignatureGoodThatWasMadeBeforeARevocation) {
  ASSERT_EQ(sign({"-s", "CN=Ivan"}).exitCode, 0);
  revoke(ivan_);
  EXPECT_EQ(verify("CADES").exitCode, 0);
  // The chain is not good any more, the stamps say that it was.
  EXPECT_EQ(verify("PKCS7").exitCode, 0);
}

TEST_F(SsfCadesTool, DoesNotKeepAPlainSignatureGood) {
  ASSERT_EQ(sign({"-s", "CN=Ivan"}, "PKCS7").exitCode, 0);
  revoke(ivan_);
  EXPECT_EQ(verify("PKCS7").exitCode, 4);
}

TEST_F(SsfCadesTool, AcceptsTrustByStampsAloneOfTheLastSignerOnly) {
  ASSERT_EQ(sign({"-s", "CN=Anna", "-s", "CN=Ivan"}).exitCode, 0);
  revoke(ivan_);
  EXPECT_EQ(verify("PKCS7").exitCode, 0);

  ASSERT_EQ(sign({"-s", "CN=Anna", "-s", "CN=Ivan"}).exitCode, 6) << "the revoked cannot sign";
}

TEST_F(SsfCadesTool, RefusesTrustByStampsAloneOfASignerBeforeTheLast) {
  ASSERT_EQ(sign({"-s", "CN=Ivan", "-s", "CN=Anna"}).exitCode, 0);
  revoke(ivan_);
  const CommandResult result = verify("PKCS7");
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_THAT(result.err, HasSubstr("by his time stamps alone"));
}

}  // namespace
}  // namespace qx::test::ssf_cades_test
