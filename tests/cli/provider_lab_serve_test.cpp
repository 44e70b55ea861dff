#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "provider/http/client.h"
#include "tests/cli/lab_fixture.h"
#include "tests/cli/served_lab.h"

namespace qx::test::provider_lab_serve_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr HttpLimits kAmple{.time = std::chrono::seconds(60), .bytes = 1'000'000};
constexpr HttpLimits kShortly{.time = std::chrono::milliseconds(300), .bytes = 1'000'000};

constexpr const char* kGostConfiguration =
    "openssl_conf = init\n[init]\nengines = engines\n[engines]\ngost = gost\n[gost]\n"
    "engine_id = gost\ndefault_algorithms = ALL\n";

class ProviderLabServe : public LabTest {
 protected:
  // The commands ts and ocsp find the GOST engine through their configuration only.
  CommandResult gostOpenssl(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "openssl");
    return run(Command{.arguments = std::move(arguments),
                       .environment = {{"OPENSSL_CONF", write("gost.cnf", kGostConfiguration)}}});
  }

  // What a lab that is served so answers to a request for a time stamp, or the error.
  Result<std::vector<std::uint8_t>> stampOf(const ServedLab& served,
                                            const std::string& authority,
                                            const HttpLimits& limits = kAmple) const {
    const std::string query = file("query");
    gostOpenssl({"ts", "-query", "-data", lab("lab.json"), "-sha256", "-cert", "-out", query});
    const std::string asked = readFile(query);
    return exchange({.url = served.url("/tsa/" + authority),
                     .contentType = "application/timestamp-query",
                     .body = {asked.begin(), asked.end()}},
                    limits);
  }

  // What the openssl command thinks of that.
  std::string judgedStamp(const ServedLab& served, const std::string& authority) const {
    const auto answer = stampOf(served, authority);
    if (!answer) {
      return "error " + std::to_string(answer.error());
    }
    const CommandResult judged =
        gostOpenssl({"ts",
                     "-verify",
                     "-queryfile",
                     file("query"),
                     "-in",
                     write("answer", std::string(answer->begin(), answer->end())),
                     "-CAfile",
                     lab("pem/" + authority + "-root.crt"),
                     "-untrusted",
                     lab("pem/" + authority + "-ca.crt")});
    return judged.out + judged.err;
  }

  std::string judgedStamp(const std::vector<std::string>& switches) const {
    return judgedStamp(ServedLab(lab(""), switches), "gost");
  }

  std::string ocsp(const ServedLab& served,
                   const std::string& authority,
                   const std::string& issuer,
                   const std::string& name) const {
    const CommandResult asked = gostOpenssl({"ocsp",
                                             "-url",
                                             served.url("/ocsp/" + issuer),
                                             "-CAfile",
                                             lab("pem/" + authority + "-root.crt"),
                                             "-verify_other",
                                             lab("pem/" + authority + "-ca.crt"),
                                             "-issuer",
                                             lab("pem/" + issuer + ".crt"),
                                             "-cert",
                                             lab("pem/" + name + ".crt")});
    return asked.out + asked.err;
  }

  std::string crl(const ServedLab& served, const std::string& issuer) const {
    const auto list = exchange({.url = served.url("/crl/" + issuer + ".crl")}, kAmple);
    return list ? gostOpenssl({"crl",
                               "-inform",
                               "DER",
                               "-noout",
                               "-text",
                               "-in",
                               write("list.crl", std::string(list->begin(), list->end())),
                               "-CAfile",
                               lab("pem/" + issuer + ".crt")})
                      .out
                : "";
  }

  std::string serialOf(const std::string& name) const {
    const std::string shown =
        openssl({"x509", "-noout", "-serial", "-in", lab("pem/" + name + ".crt")}).out;
    return shown.substr(7, shown.size() - 8);
  }
};

TEST_F(ProviderLabServe, GivesTimeStampsOfItsAuthorities) {
  const ServedLab served(lab(""), {"--port", "0"});
  EXPECT_THAT(judgedStamp(served, "gost"), HasSubstr("Verification: OK"));
  EXPECT_THAT(judgedStamp(served, "rsa"), HasSubstr("Verification: OK"));
}

TEST_F(ProviderLabServe, TellsWhoIsRevoked) {
  const ServedLab served(lab(""), {"--revoke", "ivan"});
  EXPECT_THAT(ocsp(served, "gost", "gost-ca", "anna"),
              AllOf(HasSubstr("Response verify OK"), HasSubstr("anna.crt: good")));
  EXPECT_THAT(ocsp(served, "gost", "gost-ca", "igor"), HasSubstr("igor.crt: revoked"));
  EXPECT_THAT(ocsp(served, "gost", "gost-ca", "ivan"), HasSubstr("ivan.crt: revoked"));
  EXPECT_THAT(ocsp(served, "ec", "ec-ca", "erik"),
              AllOf(HasSubstr("Response verify OK"), HasSubstr("erik.crt: good")));
  EXPECT_THAT(ocsp(served, "rsa", "rsa-root", "rsa-ca"),
              AllOf(HasSubstr("Response verify OK"), HasSubstr("rsa-ca.crt: good")));
  EXPECT_THAT(crl(served, "gost-ca"),
              AllOf(HasSubstr(serialOf("igor")),
                    HasSubstr(serialOf("ivan")),
                    Not(HasSubstr(serialOf("anna")))));
  EXPECT_THAT(crl(served, "rsa-root"), HasSubstr("No Revoked Certificates"));
}

TEST_F(ProviderLabServe, GivesTheIssuers) {
  const ServedLab served(lab(""));
  const auto issuer = exchange({.url = served.url("/issuer/gost-ca.crt")}, kAmple);
  ASSERT_TRUE(issuer);
  const std::string der = write("issuer.crt", std::string(issuer->begin(), issuer->end()));
  EXPECT_EQ(openssl({"x509", "-inform", "DER", "-in", der}).out,
            openssl({"x509", "-in", lab("pem/gost-ca.crt")}).out);
}

TEST_F(ProviderLabServe, StampsWronglyWhenAsked) {
  EXPECT_THAT(judgedStamp({"--wrong-imprint"}), HasSubstr("message imprint mismatch"));
  EXPECT_THAT(judgedStamp({"--wrong-nonce"}), HasSubstr("nonce mismatch"));
  EXPECT_THAT(judgedStamp({"--expired"}), HasSubstr("certificate has expired"));
  EXPECT_THAT(judgedStamp({"--refuse"}), Not(HasSubstr("Verification: OK")));
}

TEST_F(ProviderLabServe, StampsInOtherWaysWhenAsked) {
  EXPECT_THAT(judgedStamp({"--chunked"}), HasSubstr("Verification: OK"));
  EXPECT_THAT(judgedStamp({"--redirect"}), HasSubstr("Verification: OK"));
  EXPECT_THAT(judgedStamp({"--delay", "1"}), HasSubstr("Verification: OK"));
  EXPECT_EQ(judgedStamp({"--oversize"}),
            "error " + std::to_string(ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW));
}

TEST_F(ProviderLabServe, KeepsPeopleWaitingWhenAsked) {
  for (const std::vector<std::string>& switches :
       {std::vector<std::string>{"--stall"}, std::vector<std::string>{"--delay", "600000"}}) {
    const ServedLab served(lab(""), switches);
    EXPECT_EQ(stampOf(served, "rsa", kShortly).error(), ERROR_TIMEOUT);
    EXPECT_TRUE(exchange({.url = served.url("/crl/rsa-ca.crl")}, kAmple));
  }
}

TEST_F(ProviderLabServe, EndsWellWhenItIsAsked) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ServedLab served(lab(""), {"--stall"});
    EXPECT_EQ(stampOf(served, "rsa", kShortly).error(), ERROR_TIMEOUT);
    EXPECT_EQ(served.end(signal), 0);
  }
}

TEST_F(ProviderLabServe, WantsALabAndItsPeople) {
  EXPECT_EQ(provider({"lab", "serve", file("nothing")}).exitCode, 2);
  const CommandResult nobody = provider({"lab", "serve", lab(""), "--revoke", "nemo"});
  EXPECT_EQ(nobody.exitCode, 2);
  EXPECT_THAT(nobody.err, HasSubstr("nobody called nemo"));
  EXPECT_EQ(provider({"lab", "serve", lab(""), "--port", "65536"}).exitCode, 1);
}

TEST_F(ProviderLabServe, FailsOnAPortThatIsTaken) {
  const ServedLab served(lab(""));
  const std::string port = served.url().substr(served.url().rfind(':') + 1);
  const CommandResult other = provider({"lab", "serve", lab(""), "--port", port});
  EXPECT_EQ(other.exitCode, 2);
  EXPECT_THAT(other.err, HasSubstr("port " + port));
}

class ProviderLabAddresses : public LabTest {};

TEST_F(ProviderLabAddresses, AreInTheCertificatesAndServed) {
  std::string services;
  {
    const ServedLab any(lab(""));
    services = any.url();
  }
  ASSERT_EQ(provider({"lab", "create", file("lab"), "--services", services + "/"}).exitCode, 0);
  const std::string person =
      openssl({"x509", "-noout", "-text", "-in", file("lab/pem/rita.crt")}).out;
  EXPECT_THAT(person,
              AllOf(HasSubstr("URI:" + services + "/crl/rsa-ca.crl\n"),
                    HasSubstr("OCSP - URI:" + services + "/ocsp/rsa-ca\n"),
                    HasSubstr("CA Issuers - URI:" + services + "/issuer/rsa-ca.crt\n")));
  const std::string authority =
      openssl({"x509", "-noout", "-text", "-in", file("lab/pem/rsa-ca.crt")}).out;
  EXPECT_THAT(authority,
              AllOf(HasSubstr("URI:" + services + "/crl/rsa-root.crl\n"),
                    HasSubstr("OCSP - URI:" + services + "/ocsp/rsa-root\n")));
  const ServedLab served(file("lab"));
  EXPECT_EQ(served.url(), services);
  for (const char* path : {"/crl/rsa-ca.crl", "/crl/rsa-root.crl", "/issuer/rsa-ca.crt"}) {
    EXPECT_TRUE(exchange({.url = services + path}, kAmple)) << path;
  }
}

TEST_F(ProviderLabAddresses, MustBeOnes) {
  for (const char* services :
       {"127.0.0.1:80", "https://127.0.0.1", "http://127.0.0.1/path", "http://a b"}) {
    const CommandResult result = provider({"lab", "create", file("lab"), "--services", services});
    EXPECT_EQ(result.exitCode, 1) << services;
    EXPECT_FALSE(exists("lab"));
  }
}

}  // namespace
}  // namespace qx::test::provider_lab_serve_test
