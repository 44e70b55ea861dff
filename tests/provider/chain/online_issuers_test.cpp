#include "provider/chain/online_issuers.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"
#include "tests/provider/chain/fake_network.h"

namespace qx::test::online_issuers_test {
namespace {

using lab::Authority;
using lab::Bytes;
using lab::CertificateOptions;
using lab::KeyKind;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kUpper = "http://ca.example.org/upper.cer";
constexpr const char* kLower = "http://ca.example.org/lower.cer";

CertificateOptions at(const std::string& name, const char* issuerUrl) {
  CertificateOptions options = named(name);
  options.issuerUrl = issuerUrl;
  return options;
}

class OnlineIssuersTest : public ::testing::Test {
 protected:
  OnlineIssuersTest()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        upper(root.subordinate(KeyKind::EcP256, named("Upper"))),
        lower(upper.subordinate(KeyKind::EcP256, at("Lower", kUpper))),
        end(lower.issue(sampleKey(), at("End", kLower))) {
    world.trust(root.certificate());
    world.issuers = &issuers;
    fake.serve(kUpper, lab::toDer(upper.certificate()));
    fake.serve(kLower, lab::toDer(lower.certificate()));
  }

  const Authority root;
  const Authority upper;
  const Authority lower;
  const X509Ptr end;
  FakeNetwork fake;
  Network network{fake.exchange(), {.time = std::chrono::seconds(10)}};
  OnlineIssuers issuers{network};
  ChainWorld world;
};

TEST_F(OnlineIssuersTest, CompleteAChainStepByStep) {
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, 0U);
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "Lower", "Upper", "Root"));
  EXPECT_THAT(fake.urls(), ElementsAre(kLower, kUpper));
}

TEST_F(OnlineIssuersTest, AreNotAskedWhenAllIsAtHand) {
  world.addIntermediate(upper.certificate());
  world.addMaterial(lower.certificate());
  EXPECT_EQ(world.judge(end.get()).errors, 0U);
  EXPECT_THAT(fake.requests, IsEmpty());
}

TEST_F(OnlineIssuersTest, MayComeInPem) {
  const std::string pem = lab::toPem(lower.certificate());
  fake.serve(kLower, Bytes(pem.begin(), pem.end()));
  EXPECT_EQ(world.judge(end.get()).errors, 0U);
}

TEST_F(OnlineIssuersTest, LeaveTheChainOpenWhenTheyDoNotAnswer) {
  fake.answer(kLower, [](const HttpRequest&) { return fail(ERROR_TIMEOUT); });
  EXPECT_EQ(world.judge(end.get()).errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  fake.serve(kLower, Bytes{1, 2, 3});
  EXPECT_EQ(world.judge(end.get()).errors, CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(OnlineIssuersTest, BringNoTrust) {
  const Authority stranger = Authority::selfSigned(KeyKind::EcP256, named("Stranger"));
  fake.serve(kLower, lab::toDer(stranger.certificate()));
  const X509Ptr strange = stranger.issue(sampleKey(), at("End", kLower));
  EXPECT_EQ(world.judge(strange.get()).errors, CERT_TRUST_IS_UNTRUSTED_ROOT);
}

TEST_F(OnlineIssuersTest, EndAfterSomeSteps) {
  // Each issuer names the next, for ever.
  std::vector<Authority> authorities;
  authorities.push_back(Authority::selfSigned(KeyKind::EcP256, named("Far root")));
  for (int i = 0; i < 12; ++i) {
    const std::string url = "http://ca.example.org/" + std::to_string(i);
    fake.serve(url, lab::toDer(authorities.back().certificate()));
    authorities.push_back(
        authorities.back().subordinate(KeyKind::EcP256, at(std::to_string(i), url.c_str())));
  }
  EXPECT_EQ(world.judge(authorities.back().certificate()).errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_LE(fake.requests.size(), 4U);
}

TEST_F(OnlineIssuersTest, DoNotLoop) {
  fake.serve(kLower, lab::toDer(end.get()));
  EXPECT_EQ(world.judge(end.get()).errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_LE(fake.requests.size(), 4U);
}

}  // namespace
}  // namespace qx::test::online_issuers_test
