#include <gtest/gtest.h>

#include "provider/cades/time_stamp_token.h"
#include "provider/der/writer.h"
#include "tests/provider/cades/cades_builder.h"
#include "tests/provider/cades/cades_verdict.h"
#include "tools/lab/ocsp.h"

namespace qx::test::verify_long_test {
namespace {

using lab::kDay;
using lab::KeyKind;

constexpr auto kYear = 365 * kDay;

bool same(const FILETIME* shown, const FILETIME& time) {
  return shown != nullptr && shown->dwLowDateTime == time.dwLowDateTime &&
         shown->dwHighDateTime == time.dwHighDateTime;
}

FILETIME stampTime(const MadeAttribute& attribute) {
  return TimeStampToken::read(attribute.values.front())->info().time;
}

FILETIME signingTime(CadesBuilder& builder) {
  const Octets& value = builder.signedAttribute(oids::kSigningTime).values.front();
  return *der::readTime(*der::readWhole(value, der::kUtcTime));
}

// Everything happened two years ago: the signer's certificate and the lists are long out of date.
class VerifyLong : public ::testing::Test {
 protected:
  VerifyWorld world{{.when = -2 * kYear}};
  CadesBuilder builder{world};
};

TEST_F(VerifyLong, AcceptsAGoodSignatureYearsLater) {
  const Verdict verdict = verdictOn(builder.makeLong().message());
  ASSERT_EQ(verdict.status, CADES_STATUS_GOOD) << std::hex << verdict.error;
  EXPECT_TRUE(same(verdict.info->pSigningTime, signingTime(builder)));
  EXPECT_TRUE(
      same(verdict.info->pSignatureTimeStampTime, stampTime(builder.unsignedAttributes[0])));
  EXPECT_EQ(
      lab::toDer(world.signer()),
      Octets(verdict.info->pSignerCert->pbCertEncoded,
             verdict.info->pSignerCert->pbCertEncoded + verdict.info->pSignerCert->cbCertEncoded));
}

class VerifyLongKinds : public ::testing::TestWithParam<KeyKind> {};

TEST_P(VerifyLongKinds, AreAllAccepted) {
  const VerifyWorld world({.kind = GetParam(), .when = -2 * kYear});
  EXPECT_EQ(statusOf(CadesBuilder(world).makeLong().message()), CADES_STATUS_GOOD);
}

INSTANTIATE_TEST_SUITE_P(Keys,
                         VerifyLongKinds,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256,
                                           KeyKind::EcP384));

TEST_F(VerifyLong, NeedsNoCertificateOutsideTheValues) {
  builder.certificates.clear();
  EXPECT_EQ(statusOf(builder.makeLong().message()), CADES_STATUS_GOOD);
}

// A stamp whose authority sent no certificate is proved with the one among the values.
TEST_F(VerifyLong, FindsTheAuthoritiesAmongTheValues) {
  builder.carried.push_back(dataOf(world.lastAuthority().certificate()));
  builder.sign().stamp({.certificate = false}).references().values();
  builder.stampAll({.certificate = false});
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_GOOD);
}

TEST_F(VerifyLong, DoesNotMindTheOrderOfTheAttributes) {
  builder.makeLong();
  std::ranges::reverse(builder.unsignedAttributes);
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_GOOD);
}

// Values that nobody refers to prove nothing and harm nothing.
TEST_F(VerifyLong, DoesNotMindFurtherValues) {
  const auto other =
      lab::Authority::selfSigned(KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Other"}}});
  builder.carried.push_back(dataOf(other.certificate()));
  builder.carriedEvidence.push_back({.crl = dataOf(other.crl().get()), .ocsp = {}});
  EXPECT_EQ(statusOf(builder.makeLong().message()), CADES_STATUS_GOOD);
}

TEST_F(VerifyLong, TakesTheEarliestOfSeveralStamps) {
  builder.sign().stampBy(world.lastAuthority(), builder.at(std::chrono::seconds(40)));
  builder.stamp().references().values().stampAll();
  const Verdict verdict = verdictOn(builder.message());
  ASSERT_EQ(verdict.status, CADES_STATUS_GOOD);
  EXPECT_TRUE(
      same(verdict.info->pSignatureTimeStampTime, stampTime(builder.unsignedAttributes[1])));
}

TEST_F(VerifyLong, AcceptsSeveralStampsInOneAttribute) {
  builder.sign().stamp().stamp();
  std::vector<Octets>& values = builder.unsignedAttributes.front().values;
  values.push_back(builder.unsignedAttributes.back().values.front());
  builder.unsignedAttributes.pop_back();
  std::ranges::sort(values);
  EXPECT_EQ(statusOf(builder.references().values().stampAll().message()), CADES_STATUS_GOOD);
}

TEST_F(VerifyLong, AcceptsSeveralLastStamps) {
  builder.makeLong().stampAll();
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_GOOD);
}

// Without a CAdES-C stamp the authority of the signature stamp has to be good today.
TEST_F(VerifyLong, AcceptsValuesWithoutALastStamp) {
  builder.sign().stamp().references().values();
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_GOOD);
}

TEST_F(VerifyLong, BelievesAnOcspAnswer) {
  const auto responder =
      lab::OcspResponder::issuedBy(world.issuer(), KeyKind::EcP256, {.notBefore = -3 * kYear});
  const auto made = world.when() + std::chrono::minutes(1);
  const Octets answer =
      responder.response({{.certId = lab::ocspCertId(world.signer(), world.issuer().certificate()),
                           .thisUpdate = made,
                           .nextUpdate = made + kDay}},
                         {.producedAt = made});
  const RevocationEvidence evidence{.crl = {}, .ocsp = *OcspData::parse(answer)};
  builder.referencedEvidence.front() = evidence;
  builder.carriedEvidence.front() = evidence;
  EXPECT_EQ(statusOf(builder.makeLong().message()), CADES_STATUS_GOOD);
}

TEST_F(VerifyLong, DoesNotMindThatTheSignerWasRevokedLater) {
  const RevocationEvidence later{
      .crl = dataOf(world
                        .crl(world.issuer(),
                             {{.serial = lab::serialOf(world.signer()),
                               .when = world.when() + std::chrono::seconds(50)}})
                        .get()),
      .ocsp = {}};
  builder.referencedEvidence.front() = later;
  builder.carriedEvidence.front() = later;
  EXPECT_EQ(statusOf(builder.makeLong().message()), CADES_STATUS_GOOD);
}

// The authority of the signature stamp is judged as of the stamp over it: what came later is no fault.
TEST(VerifyLongAuthorities, MayExpireAfterTheStampOverTheirs) {
  const VerifyWorld world({.when = -2 * kYear});
  const auto authority = lab::TimeStampAuthority::issuedBy(
      world.root(),
      KeyKind::EcP256,
      {.notBefore = -3 * kYear, .notAfter = -2 * kYear + std::chrono::hours(1)});
  CadesBuilder builder(world);
  builder.sign().stampBy(authority, builder.at(std::chrono::seconds(10)));
  builder.references().values();
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_SIGNATURE_STAMP);
  EXPECT_EQ(statusOf(builder.stampAll().message()), CADES_STATUS_GOOD);
}

}  // namespace
}  // namespace qx::test::verify_long_test
