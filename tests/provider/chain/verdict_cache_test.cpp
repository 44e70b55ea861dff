#include "provider/chain/verdict_cache.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"
#include "tools/lab/ocsp.h"

namespace qx::test::verdict_cache_test {
namespace {

using lab::Authority;
using lab::KeyKind;

constexpr DWORD kGood = CERT_TRUST_NO_ERROR;

/// A source that knows nothing.
class SilentSource : public RevocationSource {
 public:
  explicit SilentSource(bool online) : online_(online) {}

  RevocationData dataFor(const CertificateData& /*subject*/,
                         const CertificateData& /*issuer*/) override {
    return {};
  }

  bool isOnline() const override { return online_; }

 private:
  bool online_;
};

class NoIssuers : public IssuerSource {
 public:
  std::vector<CertificatePtr> issuersOf(const CertificateData& /*subject*/) override { return {}; }
};

class VerdictCacheTest : public ::testing::Test {
 protected:
  VerdictCacheTest() : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))) {}

  std::shared_ptr<const TrustSource> trusting(const std::vector<CrlPtr>& crls = {}) const {
    const std::vector<CertificatePtr> roots = {dataOf(root.certificate())};
    return std::make_shared<const TrustSource>(roots, std::vector<CertificatePtr>(), crls);
  }

  ChainRequest request(const X509Ptr& certificate) const {
    return {.certificate = dataOf(certificate.get()), .now = now};
  }

  VerdictPtr judge(const ChainRequest& asked) {
    Result<VerdictPtr> verdict = cache.evaluate(asked, trust);
    EXPECT_TRUE(verdict);
    return verdict ? *verdict : nullptr;
  }

  X509Ptr issue(const std::string& name) const { return root.issue(sampleKey(), named(name)); }

  const Authority root;
  const std::time_t now = std::time(nullptr);
  std::shared_ptr<const TrustSource> trust = trusting();
  VerdictCache cache{100};
  const X509Ptr end = issue("End");
};

TEST_F(VerdictCacheTest, GivesTheVeryVerdictAgain) {
  const VerdictPtr first = judge(request(end));
  EXPECT_EQ(first->errors, kGood);
  EXPECT_EQ(judge(request(end)), first) << "another copy of the same bytes";
  EXPECT_EQ(cache.size(), 1U);
}

TEST_F(VerdictCacheTest, ForgetsAfterItsLifetime) {
  ChainRequest asked = request(end);
  const VerdictPtr first = judge(asked);
  asked.now = now + VerdictCache::kLifetime - 1;
  EXPECT_EQ(judge(asked), first);
  asked.now = now + VerdictCache::kLifetime;
  const VerdictPtr second = judge(asked);
  EXPECT_NE(second, first);
  EXPECT_EQ(cache.size(), 1U) << "in the other's place";
}

TEST_F(VerdictCacheTest, ForgetsWhenTheClockGoesBack) {
  const VerdictPtr first = judge(request(end));
  ChainRequest earlier = request(end);
  earlier.now = now - 1;
  EXPECT_NE(judge(earlier), first);
}

TEST_F(VerdictCacheTest, KeepsACertificateNoLongerThanItIsValid) {
  lab::CertificateOptions options = named("Short");
  options.notAfter = std::chrono::seconds(30);
  const X509Ptr certificate = root.issue(sampleKey(), options);
  ChainRequest asked = request(certificate);
  EXPECT_EQ(judge(asked)->errors, kGood);
  asked.now = now + 40;
  EXPECT_EQ(judge(asked)->errors, CERT_TRUST_IS_NOT_TIME_VALID);
}

TEST_F(VerdictCacheTest, SeesACertificateBecomeValid) {
  lab::CertificateOptions options = named("Soon");
  options.notBefore = std::chrono::seconds(30);
  const X509Ptr certificate = root.issue(sampleKey(), options);
  ChainRequest asked = request(certificate);
  EXPECT_EQ(judge(asked)->errors, CERT_TRUST_IS_NOT_TIME_VALID);
  asked.now = now + 40;
  EXPECT_EQ(judge(asked)->errors, kGood);
}

TEST_F(VerdictCacheTest, KeepsACrlNoLongerThanItIsValid) {
  trust = trusting({dataOf(root.crl({.nextUpdate = std::chrono::seconds(30)}).get())});
  ChainRequest asked = request(end);
  asked.revocation = RevocationScope::EndCertificate;
  EXPECT_EQ(judge(asked)->errors, kGood);
  asked.now = now + 40;
  EXPECT_NE(judge(asked)->errors, kGood);
}

TEST_F(VerdictCacheTest, KeepsACrlNoLongerThanItIsFresh) {
  trust = trusting({dataOf(root.crl({.thisUpdate = -std::chrono::seconds(30)}).get())});
  ChainRequest asked = request(end);
  asked.revocation = RevocationScope::EndCertificate;
  asked.freshness = 50;
  EXPECT_EQ(judge(asked)->errors, kGood);
  asked.now = now + 40;
  EXPECT_NE(judge(asked)->errors, kGood);
}

TEST_F(VerdictCacheTest, SeesACrlThatRevokesAtOnce) {
  ChainRequest asked = request(end);
  asked.revocation = RevocationScope::EndCertificate;
  trust = trusting({dataOf(root.crl().get())});
  EXPECT_EQ(judge(asked)->errors, kGood);
  trust = trusting({dataOf(root.crl({.revoked = {{.serial = lab::serialOf(end.get())}}}).get())});
  EXPECT_EQ(judge(asked)->errors, CERT_TRUST_IS_REVOKED);
}

TEST_F(VerdictCacheTest, SeesARootThatIsNoLongerTrusted) {
  EXPECT_EQ(judge(request(end))->errors, kGood);
  trust = std::make_shared<const TrustSource>(
      std::vector<CertificatePtr>(), std::vector<CertificatePtr>(), std::vector<CrlPtr>());
  EXPECT_EQ(judge(request(end))->errors, CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(VerdictCacheTest, KeepsDifferentRequestsApart) {
  const std::vector<CertificatePtr> material = {dataOf(issue("Other").get())};
  const std::vector<CrlPtr> crls = {dataOf(root.crl().get())};
  const std::vector<OcspPtr> answers = {answerOf(lab::OcspResponder::of(root).basic(
      {{.certId = lab::ocspCertId(end.get(), root.certificate())}}))};
  SilentSource offline(false);
  SilentSource online(true);
  NoIssuers issuers;
  std::vector<ChainRequest> requests(18, request(end));
  requests[1].time = now;
  requests[2].time = now - 1;
  requests[3].revocation = RevocationScope::EndCertificate;
  requests[4].usage.oids = {"1.2.3"};
  requests[5].usage = {.any = true, .oids = {"1.2.3"}};
  requests[6].certificates = material;
  requests[7].crls = crls;
  requests[8].ocsp = answers;
  requests[9].givenRevocationOnly = true;
  requests[10].revocationAsOfTime = true;
  requests[11].source = &offline;
  requests[12].source = &online;
  requests[13].issuers = &issuers;
  requests[14].freshness = 0;
  requests[15].freshness = 1;
  requests[16].policies.oids = {"1.2.3"};
  requests[17].policies = {.any = true, .oids = {"1.2.3"}};
  std::vector<VerdictPtr> verdicts;
  verdicts.reserve(requests.size());
  for (const ChainRequest& asked : requests) {
    verdicts.push_back(judge(asked));
  }
  EXPECT_EQ(cache.size(), requests.size());
  for (std::size_t i = 0; i < requests.size(); ++i) {
    EXPECT_EQ(judge(requests[i]), verdicts[i]) << i;
  }
}

TEST_F(VerdictCacheTest, DoesNotKeepWhatAServerMayStillTell) {
  SilentSource online(true);
  ChainRequest asked = request(end);
  asked.revocation = RevocationScope::EndCertificate;
  asked.source = &online;
  EXPECT_EQ(judge(asked)->errors, kRevocationUnknown);
  EXPECT_EQ(cache.size(), 0U);
  trust = trusting({dataOf(root.crl().get())});
  EXPECT_EQ(judge(asked)->errors, kGood);
  EXPECT_EQ(cache.size(), 1U) << "what is known is kept";
}

TEST_F(VerdictCacheTest, KeepsWhatTheCacheOnDiskDoesNotKnow) {
  SilentSource offline(false);
  ChainRequest asked = request(end);
  asked.revocation = RevocationScope::EndCertificate;
  asked.source = &offline;
  const VerdictPtr first = judge(asked);
  EXPECT_EQ(first->errors, kRevocationUnknown);
  EXPECT_EQ(judge(asked), first);
}

TEST_F(VerdictCacheTest, DoesNotKeepAChainWhoseIssuerMayStillBeFetched) {
  NoIssuers issuers;
  const Authority stranger = Authority::selfSigned(KeyKind::EcP256, named("Stranger"));
  ChainRequest asked = request(stranger.issue(sampleKey(), named("Orphan")));
  asked.issuers = &issuers;
  EXPECT_EQ(judge(asked)->errors, CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_EQ(cache.size(), 0U);
}

TEST_F(VerdictCacheTest, MakesRoomByDroppingTheOldest) {
  VerdictCache small(2);
  const X509Ptr second = issue("Second");
  const X509Ptr third = issue("Third");
  const VerdictPtr first = *small.evaluate(request(end), trust);
  const VerdictPtr other = *small.evaluate(request(second), trust);
  ASSERT_TRUE(small.evaluate(request(third), trust));
  EXPECT_EQ(small.size(), 2U);
  EXPECT_EQ(*small.evaluate(request(second), trust), other);
  EXPECT_NE(*small.evaluate(request(end), trust), first);
}

TEST_F(VerdictCacheTest, DoesNotKeepFailures) {
  lab::Bytes der = lab::toDer(root.certificate());
  const lab::Bytes curve = {0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};
  const auto place = std::ranges::search(der, curve).begin();
  ASSERT_NE(place, der.end());
  place[9] = 0x7F;
  const ChainRequest asked{.certificate = *CertificateData::parse(der), .now = now};
  EXPECT_EQ(cache.evaluate(asked, trust).error(), static_cast<DWORD>(ERROR_INVALID_DATA));
  EXPECT_EQ(cache.size(), 0U);
}

TEST(TimeWindow, ReachesFromTheLastBoundaryToTheNext) {
  TimeWindow window(100);
  EXPECT_TRUE(window.contains(0));
  EXPECT_TRUE(window.contains(1'000'000));
  for (const std::time_t boundary : {50, 80, 200, 150, 70, 300}) {
    window.narrow(boundary);
  }
  EXPECT_FALSE(window.contains(79));
  EXPECT_TRUE(window.contains(80));
  EXPECT_TRUE(window.contains(149));
  EXPECT_FALSE(window.contains(150));
}

TEST(TimeWindow, BeginsAtABoundaryThatIsNow) {
  TimeWindow window(100);
  window.narrow(100);
  EXPECT_TRUE(window.contains(100));
  EXPECT_FALSE(window.contains(99));
}

}  // namespace
}  // namespace qx::test::verdict_cache_test
