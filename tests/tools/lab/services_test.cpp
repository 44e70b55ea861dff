#include "tools/lab/services.h"

#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ocsp.h>

#include "provider/http/client.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::lab::services_test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr HttpLimits kAmple{.time = std::chrono::seconds(30), .bytes = 1'000'000};
constexpr HttpLimits kShortly{.time = std::chrono::milliseconds(150), .bytes = 1'000'000};

Name named(const std::string& commonName) {
  return {{.type = "CN", .value = commonName}};
}

class ServicesTest : public ::testing::Test {
 protected:
  Result<Bytes> get(const std::string& path, const HttpLimits& limits = kAmple) const {
    return exchange({.url = services_.url(path)}, limits);
  }

  // The body as text, or the error.
  std::string text(const std::string& path, const HttpLimits& limits = kAmple) const {
    const Result<Bytes> body = get(path, limits);
    return body ? std::string(body->begin(), body->end()) : "error " + std::to_string(body.error());
  }

  Bytes post(const std::string& path, const Bytes& body) const {
    Result<Bytes> answer = exchange(
        {.url = services_.url(path), .contentType = "application/x", .body = body}, kAmple);
    EXPECT_TRUE(answer) << answer.error();
    return answer ? *std::move(answer) : Bytes();
  }

  void offerHello(const Conduct& conduct) {
    services_.offerFile("/hello", {'h', 'e', 'l', 'l', 'o'}, "text/plain");
    services_.setConduct("/hello", conduct);
  }

  static std::string error(DWORD code) { return "error " + std::to_string(code); }

  Services services_;
  Authority root_ = Authority::selfSigned(KeyKind::EcP256, {.subject = named("Root")});
};

TEST_F(ServicesTest, GiveFiles) {
  offerHello({});
  const Bytes crl = toDer(root_.crl().get());
  services_.offerFile("/root.crl", crl, "application/pkix-crl");
  EXPECT_EQ(text("/hello"), "hello");
  EXPECT_EQ(*get("/root.crl"), crl);
}

TEST_F(ServicesTest, CountWhoAsks) {
  offerHello({});
  text("/hello");
  text("/missing");
  text("/hello");
  EXPECT_EQ(services_.count("/hello"), 2U);
  EXPECT_EQ(services_.count("/missing"), 1U);
  EXPECT_EQ(services_.count("/other"), 0U);
  EXPECT_THAT(services_.requests(), ElementsAre("/hello", "/missing", "/hello"));
}

TEST_F(ServicesTest, KnowWhatIsNotThere) {
  EXPECT_EQ(text("/missing"), error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE));
}

TEST_F(ServicesTest, ConductThemselvesAsTheyAreTold) {
  offerHello({.stalls = true});
  EXPECT_EQ(text("/hello", kShortly), error(ERROR_TIMEOUT));
  offerHello({.delay = std::chrono::minutes(5)});
  EXPECT_EQ(text("/hello", kShortly), error(ERROR_TIMEOUT));
  offerHello({.delay = std::chrono::milliseconds(1)});
  EXPECT_EQ(text("/hello"), "hello");
  offerHello({.status = 503});
  EXPECT_EQ(text("/hello"), error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE));
  offerHello({.chunked = true, .excess = 1000});
  EXPECT_EQ(text("/hello"), "hello" + std::string(1000, '\0'));
  offerHello({.excess = 1'000'000});
  EXPECT_EQ(text("/hello"), error(ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW));
}

TEST_F(ServicesTest, SendElsewhere) {
  offerHello({});
  services_.setConduct("/moved", {.redirect = "/hello"});
  EXPECT_EQ(text("/moved"), "hello");
  services_.setConduct("/moved", {.redirect = "/moved"});
  EXPECT_EQ(text("/moved"), error(ERROR_WINHTTP_REDIRECT_FAILED));
}

TEST_F(ServicesTest, StampForTheOpensslCommand) {
  const test::TempDir folder;
  const std::string data = folder.write("data", "what is stamped");
  const std::string query = folder.file("query");
  ASSERT_EQ(test::run({"openssl", "ts", "-query", "-data", data, "-sha256", "-cert", "-out", query})
                .exitCode,
            0);
  services_.offerTimeStamps(
      "/tsa",
      std::make_shared<TimeStampAuthority>(TimeStampAuthority::issuedBy(root_, KeyKind::EcP256)));
  const std::string asked = test::readFile(query);
  const Bytes answer = post("/tsa", {asked.begin(), asked.end()});
  const test::CommandResult judged =
      test::run({"openssl",
                 "ts",
                 "-verify",
                 "-queryfile",
                 query,
                 "-in",
                 folder.write("answer", std::string(answer.begin(), answer.end())),
                 "-CAfile",
                 folder.write("root.pem", toPem(root_.certificate()))});
  EXPECT_EQ(judged.exitCode, 0) << judged.err;
}

TEST_F(ServicesTest, StampWronglyWhenAsked) {
  services_.offerTimeStamps(
      "/tsa",
      std::make_shared<TimeStampAuthority>(TimeStampAuthority::issuedBy(root_, KeyKind::EcP256)));
  const Bytes rejection = timeStampResponse(TimeStampStatus::Rejection, {});
  EXPECT_EQ(post("/tsa", {1, 2, 3}), rejection);
}

// The openssl command asks the service itself.
TEST_F(ServicesTest, AnswerTheOpensslCommandAboutCertificates) {
  const test::TempDir folder;
  const EvpPkeyPtr key = generateKey(KeyKind::EcP256);
  const X509Ptr good = root_.issue(key.get(), {.subject = named("Good")});
  const X509Ptr bad = root_.issue(key.get(), {.subject = named("Bad")});
  const Authority other = Authority::selfSigned(KeyKind::EcP256, {.subject = named("Other")});
  const X509Ptr foreign = other.issue(key.get(), {.subject = named("Foreign")});
  services_.offerOcsp(
      "/ocsp",
      std::make_shared<OcspResponder>(OcspResponder::issuedBy(root_, KeyKind::EcP256)),
      root_.certificate(),
      {{.serial = serialOf(bad.get()), .reason = OCSP_REVOKED_STATUS_KEYCOMPROMISE}});
  const std::string root = folder.write("root.pem", toPem(root_.certificate()));
  const auto ask = [&](const std::string& issuer, const std::vector<std::string>& files) {
    std::vector<std::string> line = {
        "openssl", "ocsp", "-url", services_.url("/ocsp"), "-CAfile", root, "-issuer", issuer};
    for (const std::string& file : files) {
      line.insert(line.end(), {"-cert", file});
    }
    const test::CommandResult result = test::run(line);
    return result.out + result.err;
  };
  EXPECT_THAT(
      ask(root,
          {folder.write("good.pem", toPem(good.get())), folder.write("bad.pem", toPem(bad.get()))}),
      AllOf(HasSubstr("Response verify OK"),
            HasSubstr("good.pem: good"),
            HasSubstr("bad.pem: revoked"),
            HasSubstr("Reason: keyCompromise")));
  EXPECT_THAT(ask(folder.write("other.pem", toPem(other.certificate())),
                  {folder.write("foreign.pem", toPem(foreign.get()))}),
              HasSubstr("foreign.pem: unknown"));
}

TEST_F(ServicesTest, FailOnJunk) {
  services_.offerOcsp(
      "/ocsp", std::make_shared<OcspResponder>(OcspResponder::of(root_)), root_.certificate());
  EXPECT_EQ(text("/ocsp"), error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE));
}

TEST_F(ServicesTest, TakeAPortOfTheirOwn) {
  const Services other;
  EXPECT_NE(other.url(), services_.url());
  const std::string url = other.url();
  const auto port = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
  EXPECT_THROW(const Services taken(port), std::runtime_error);
}

TEST_F(ServicesTest, TakeThePortThatTheyAreGiven) {
  std::string url;
  {
    const Services first;
    url = first.url();
  }
  const Services second(static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1))));
  EXPECT_EQ(second.url(), url);
}

}  // namespace
}  // namespace qx::lab::services_test
