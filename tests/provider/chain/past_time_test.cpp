// Revocation as it was at a past time, by what is known now.
#include <string>

#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include "tests/provider/chain/ocsp_world.h"

namespace qx::test::past_time_test {
namespace {

using lab::CrlOptions;
using lab::OcspEntry;
using lab::OcspStatus;

/// The question is about a moment ten hours ago.
constexpr std::chrono::hours kThen = -10 * kHour;

class PastTime : public OcspWorld {
 protected:
  PastTime() {
    world.time = world.now + std::chrono::seconds(kThen).count();
    world.revocationAsOfTime = true;
  }

  DWORD endWithCrl(const CrlOptions& options) {
    world.dropCrls();
    world.addCrl(root.crl(options).get());
    return judge();
  }

  DWORD endWithAnswer(const OcspEntry& about) { return endWith(responder.basic({about})); }

  CrlOptions revoking(std::chrono::seconds when, int reason = -1) const {
    return {.revoked = {{.serial = lab::serialOf(end.get()), .when = when, .reason = reason}}};
  }
};

TEST_F(PastTime, IsCoveredByACrlOfThatTime) {
  EXPECT_EQ(endWithCrl({.thisUpdate = kThen - kHour, .nextUpdate = kThen + kHour}), kGood);
  EXPECT_EQ(world.judge(end.get()).elements.at(0).evidence.crl->thisUpdate() % 10'000'000, 0U);
}

TEST_F(PastTime, IsCoveredByACrlMadeLater) {
  EXPECT_EQ(endWithCrl({.thisUpdate = kThen + kHour, .nextUpdate = kHour}), kGood);
  EXPECT_EQ(endWithCrl({.thisUpdate = kThen + kHour, .nextUpdate = kThen + 2 * kHour}), kGood)
      << "however long ago it ended";
}

TEST_F(PastTime, IsNotCoveredByACrlThatEndedBefore) {
  EXPECT_EQ(endWithCrl({.thisUpdate = kThen - 2 * kHour, .nextUpdate = kThen - kHour}), kUnknown);
}

TEST_F(PastTime, IsNotCoveredByACrlOfTheFuture) {
  EXPECT_EQ(endWithCrl({.thisUpdate = kHour}), kUnknown);
}

TEST_F(PastTime, SeesWhatWasRevokedBefore) {
  EXPECT_EQ(endWithCrl(revoking(kThen - kHour)), kRevoked);
  EXPECT_EQ(endWithCrl(revoking(kThen)), kRevoked) << "in that very second";
}

TEST_F(PastTime, DoesNotMindWhatWasRevokedLater) {
  EXPECT_EQ(endWithCrl(revoking(kThen + kHour)), kGood);
  world.revocationAsOfTime = false;
  EXPECT_EQ(judge(), kRevoked) << "now it does";
}

X509CrlPtr withInvalidityDate(const X509CrlPtr& crl, EVP_PKEY* key, std::time_t time) {
  const Asn1TimePtr date(ASN1_GENERALIZEDTIME_set(nullptr, time));
  X509_REVOKED* entry = sk_X509_REVOKED_value(X509_CRL_get_REVOKED(crl.get()), 0);
  EXPECT_EQ(X509_REVOKED_add1_ext_i2d(entry, NID_invalidity_date, date.get(), 0, 0), 1);
  X509CrlPtr changed(X509_CRL_dup(crl.get()));
  EXPECT_GT(X509_CRL_sign(changed.get(), key, EVP_sha256()), 0);
  return changed;
}

TEST_F(PastTime, CountsFromTheInvalidityDate) {
  const X509CrlPtr crl = root.crl(revoking(kThen + kHour));
  world.addCrl(withInvalidityDate(crl, root.key(), *world.time - 60).get());
  EXPECT_EQ(judge(), kRevoked);
  world.dropCrls();
  const X509CrlPtr later = root.crl(revoking(kThen + kHour));
  world.addCrl(withInvalidityDate(later, root.key(), *world.time + 60).get());
  EXPECT_EQ(judge(), kGood);
}

TEST_F(PastTime, TakesACertificateOnHoldForRevoked) {
  EXPECT_EQ(endWithCrl(revoking(kThen - kHour, CRL_REASON_CERTIFICATE_HOLD)), kRevoked);
  EXPECT_EQ(endWithCrl(revoking(kThen + kHour, CRL_REASON_CERTIFICATE_HOLD)), kGood);
}

TEST_F(PastTime, HonoursThatAHoldWasTakenBackLater) {
  CrlOptions hold = revoking(kThen - kHour, CRL_REASON_CERTIFICATE_HOLD);
  hold.thisUpdate = kThen - kHour;
  world.addCrl(root.crl(hold).get());
  EXPECT_EQ(judge(), kRevoked);
  world.addCrl(root.crl({.thisUpdate = kThen + kHour, .number = 2}).get());
  EXPECT_EQ(judge(), kGood);
  world.dropCrls();
  EXPECT_EQ(endWithCrl(revoking(kThen - kHour, CRL_REASON_REMOVE_FROM_CRL)), kGood);
}

TEST_F(PastTime, KeepsAnExpiredWordThatTheCertificateWasRevoked) {
  CrlOptions options = revoking(kThen - 3 * kHour);
  options.thisUpdate = kThen - 2 * kHour;
  options.nextUpdate = kThen - kHour;
  EXPECT_EQ(endWithCrl(options), kRevoked | kUnknown);
}

TEST_F(PastTime, IsCoveredByAnAnswerOfThatTimeOrLater) {
  OcspEntry about = entry();
  about.thisUpdate = kThen - kHour;
  about.nextUpdate = kThen + kHour;
  EXPECT_EQ(endWithAnswer(about), kGood);
  about.thisUpdate = kThen + kHour;
  EXPECT_EQ(endWithAnswer(about), kGood);
  about.nextUpdate.reset();
  EXPECT_EQ(endWithAnswer(about), kGood);
  about.thisUpdate = kThen - std::chrono::seconds(30);
  EXPECT_EQ(endWithAnswer(about), kGood) << "half a minute before";
}

TEST_F(PastTime, IsNotCoveredByAnAnswerThatEndedBefore) {
  OcspEntry about = entry();
  about.thisUpdate = kThen - 2 * kHour;
  about.nextUpdate = kThen - kHour;
  EXPECT_EQ(endWithAnswer(about), kUnknown);
  about.nextUpdate.reset();
  EXPECT_EQ(endWithAnswer(about), kUnknown);
}

TEST_F(PastTime, TellsAnAnswersRevocationBeforeFromOneLater) {
  OcspEntry about = entry(OcspStatus::Revoked);
  about.revokedAt = kThen - kHour;
  EXPECT_EQ(endWithAnswer(about), kRevoked);
  about.revokedAt = kThen + kHour;
  EXPECT_EQ(endWithAnswer(about), kGood);
}

TEST_F(PastTime, AsksTheResponderToHaveBeenValidWhenItAnswered) {
  lab::CertificateOptions options = named("Old responder");
  options.notBefore = kThen - kHour;
  options.notAfter = kThen + kHour;
  const lab::OcspResponder old =
      lab::OcspResponder::issuedBy(root, lab::KeyKind::EcP256, std::move(options));
  OcspEntry about = entry();
  about.thisUpdate = kThen;
  EXPECT_EQ(endWith(old.basic({about}, {.producedAt = kThen})), kGood);
  EXPECT_EQ(endWith(old.basic({about}, {.producedAt = kThen + 2 * kHour})), kUnknown);
  EXPECT_EQ(endWith(old.basic({about}, {.producedAt = kThen - 2 * kHour})), kUnknown);
  world.revocationAsOfTime = false;
  EXPECT_EQ(endWith(old.basic({about}, {.producedAt = kThen})), kUnknown) << "not valid any more";
}

TEST_F(PastTime, IsNotVouchedForByWhatWasMadeAfterTheCertificateEnded) {
  lab::CertificateOptions options = named("Ended");
  options.notAfter = kThen + kHour;
  const X509Ptr ended = root.issue(sampleKey(), options);
  const auto errors = [&] { return world.judge(ended.get()).errors; };
  world.addCrl(root.crl({.thisUpdate = kThen + 2 * kHour}).get());
  EXPECT_EQ(errors(), kUnknown) << "expired ones may be left out";
  world.addCrl(root.crl({.revoked = {{.serial = lab::serialOf(ended.get()), .when = kThen}},
                         .thisUpdate = kThen + 3 * kHour})
                   .get());
  EXPECT_EQ(errors(), kRevoked) << "one that is listed is revoked";
  world.dropCrls();
  world.addCrl(root.crl({.thisUpdate = kThen + std::chrono::minutes(30)}).get());
  EXPECT_EQ(errors(), kGood);
}

/// Plays a source that must not be asked.
class NoSource : public RevocationSource {
 public:
  RevocationData dataFor(const CertificateData& /*subject*/,
                         const CertificateData& /*issuer*/) override {
    ADD_FAILURE() << "asked";
    return {};
  }

  bool isOnline() const override { return true; }
};

TEST_F(PastTime, IsJudgedByGivenMaterialAloneWhenAskedTo) {
  NoSource source;
  world.source = &source;
  world.givenRevocationOnly = true;
  world.addCrl(root.crl().get());
  EXPECT_EQ(judge(), kUnknown) << "the trust source's CRLs are left out";
  world.addLooseCrl(root.crl().get());
  EXPECT_EQ(judge(), kGood);
}

TEST_F(PastTime, IsJudgedByTheStoresToo) {
  world.addCrl(root.crl().get());
  EXPECT_EQ(judge(), kGood);
}

TEST_F(PastTime, JudgesTheDatesOfTheChainAtThatTime) {
  lab::CertificateOptions options = named("Ended");
  options.notAfter = kThen + kHour;
  const X509Ptr ended = root.issue(sampleKey(), options);
  world.addCrl(root.crl({.thisUpdate = kThen}).get());
  EXPECT_EQ(world.judge(ended.get()).errors, kGood);
  world.time = world.now;
  EXPECT_NE(world.judge(ended.get()).errors & CERT_TRUST_IS_NOT_TIME_VALID, 0U);
}

}  // namespace
}  // namespace qx::test::past_time_test
