// What the CRLs at hand say about a chain, and what is said when they do not speak.
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test::revocation_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::CrlOptions;
using lab::KeyKind;
using ::testing::ElementsAre;

constexpr DWORD kGood = CERT_TRUST_NO_ERROR;
constexpr DWORD kUnknown = kRevocationUnknown;
constexpr DWORD kRevoked = CERT_TRUST_IS_REVOKED;
constexpr std::chrono::hours kHour(1);

class Revocation : public ::testing::Test {
 protected:
  explicit Revocation(CertificateOptions middleOptions = named("Middle"))
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        middle(root.subordinate(KeyKind::EcP256, std::move(middleOptions))),
        end(middle.issue(sampleKey(), named("End"))) {
    world.trust(root.certificate());
    world.addIntermediate(middle.certificate());
    world.revocation = RevocationScope::Chain;
  }

  void addCrl(const Authority& authority, const CrlOptions& options = {}) {
    world.addCrl(authority.crl(options).get());
  }

  CrlOptions revoking(const X509* certificate) const {
    return {.revoked = {{.serial = lab::serialOf(certificate)}}};
  }

  /// The faults of the end certificate with one CRL of the root and this one of the intermediate.
  DWORD endWith(const CrlOptions& options) {
    addCrl(root);
    addCrl(middle, options);
    const ChainVerdict verdict = world.judgeTwice(end.get());
    EXPECT_EQ(verdict.elements.at(1).errors, kGood);
    EXPECT_EQ(verdict.elements.at(2).errors, kGood);
    return verdict.elements.at(0).errors;
  }

  const Authority root;
  const Authority middle;
  const X509Ptr end;
  ChainWorld world;
};

TEST_F(Revocation, AcceptsAChainThatNoCrlNames) {
  addCrl(root);
  addCrl(middle, {.revoked = {{.serial = "0123456789"}}});
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  for (const ChainElement& element : verdict.elements) {
    EXPECT_TRUE(element.revocationChecked);
  }
}

TEST_F(Revocation, IsNotLookedAtUnlessAskedFor) {
  addCrl(middle, revoking(end.get()));
  world.revocation = RevocationScope::None;
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_FALSE(verdict.elements.at(0).revocationChecked);
}

TEST_F(Revocation, MarksARevokedEndCertificate) {
  EXPECT_EQ(endWith(revoking(end.get())), kRevoked);
}

TEST_F(Revocation, MarksARevokedIntermediate) {
  addCrl(root, revoking(middle.certificate()));
  addCrl(middle);
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kGood, kRevoked, kGood));
}

TEST_F(Revocation, MarksARootThatRevokedItself) {
  addCrl(root, revoking(root.certificate()));
  addCrl(middle);
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kGood, kGood, kRevoked));
}

TEST_F(Revocation, LeavesTheRootOutWhenAskedTo) {
  addCrl(root, revoking(root.certificate()));
  addCrl(middle);
  world.revocation = RevocationScope::ChainWithoutRoot;
  const ChainVerdict verdict = world.judge(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_TRUE(verdict.elements.at(1).revocationChecked);
  EXPECT_FALSE(verdict.elements.at(2).revocationChecked);
}

TEST_F(Revocation, LooksAtTheEndCertificateAloneWhenAskedTo) {
  addCrl(root, revoking(middle.certificate()));
  addCrl(middle);
  world.revocation = RevocationScope::EndCertificate;
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, kGood);
  EXPECT_TRUE(verdict.elements.at(0).revocationChecked);
  EXPECT_FALSE(verdict.elements.at(1).revocationChecked);
}

TEST_F(Revocation, MarksEveryCertificateWithoutACrl) {
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kUnknown, kUnknown, kUnknown));
  world.revocation = RevocationScope::ChainWithoutRoot;
  EXPECT_THAT(errorsOf(world.judge(end.get())), ElementsAre(kUnknown, kUnknown, kGood));
  world.revocation = RevocationScope::EndCertificate;
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kUnknown, kGood, kGood));
}

TEST_F(Revocation, LooksAtTheLastOfAPartialChainEvenWithoutTheRoot) {
  ChainWorld partial;
  partial.addIntermediate(middle.certificate());
  partial.addCrl(middle.crl().get());
  partial.revocation = RevocationScope::ChainWithoutRoot;
  EXPECT_THAT(errorsOf(partial.judge(end.get())), ElementsAre(kGood, kUnknown));
}

TEST_F(Revocation, DoesNotTrustAnExpiredCrl) {
  EXPECT_EQ(endWith({.nextUpdate = -kHour}), kUnknown);
}

TEST_F(Revocation, DoesNotTrustACrlOfTheFuture) {
  EXPECT_EQ(endWith({.thisUpdate = kHour}), kUnknown);
}

TEST_F(Revocation, AcceptsACrlWithoutAnEnd) {
  EXPECT_EQ(endWith({.hasNextUpdate = false}), kGood);
}

TEST_F(Revocation, KeepsAnExpiredCrlsWordThatACertificateIsRevoked) {
  CrlOptions options = revoking(end.get());
  options.nextUpdate = -kHour;
  EXPECT_EQ(endWith(options), kUnknown | kRevoked);
}

TEST_F(Revocation, DoesNotTrustACrlWithABadSignature) {
  addCrl(root);
  world.addCrl(withBrokenSignature(middle.crl().get()).get());
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kUnknown, kGood, kGood));
}

TEST_F(Revocation, DoesNotTrustACrlOfANamesake) {
  const Authority namesake = Authority::selfSigned(KeyKind::EcP256, named("Middle"));
  addCrl(root);
  addCrl(namesake);
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kUnknown, kGood, kGood));
}

TEST_F(Revocation, DoesNotTrustACrlSignedOverMd5) {
  const Authority rsa = Authority::selfSigned(KeyKind::Rsa2048, named("RSA"));
  const X509Ptr certificate = rsa.issue(sampleKey(), named("End"));
  world.trust(rsa.certificate());
  addCrl(rsa, {.digest = NID_md5});
  EXPECT_THAT(errorsOf(world.judge(certificate.get())), ElementsAre(kUnknown, kUnknown));
  addCrl(rsa);
  EXPECT_THAT(errorsOf(world.judge(certificate.get())), ElementsAre(kGood, kGood));
}

TEST_F(Revocation, IsNotHiddenByAForgedNewerCrl) {
  addCrl(root);
  addCrl(middle, revoking(end.get()));
  const Authority namesake = Authority::selfSigned(KeyKind::EcP256, named("Middle"));
  addCrl(namesake, {.thisUpdate = -kHour, .keyIdentifier = false});
  EXPECT_THAT(errorsOf(world.judge(end.get())), ElementsAre(kRevoked, kGood, kGood));
}

TEST_F(Revocation, IsUnknownAmongCountlessForgedCrls) {
  addCrl(root);
  const Authority namesake = Authority::selfSigned(KeyKind::EcP256, named("Middle"));
  const X509CrlPtr forged = namesake.crl();
  for (int i = 0; i < 1000; ++i) {
    world.addLooseCrl(forged.get());
  }
  EXPECT_THAT(errorsOf(world.judge(end.get())), ElementsAre(kUnknown, kGood, kGood));
  addCrl(middle);
  EXPECT_EQ(world.judge(end.get()).errors, kGood) << "the stores' own come first";
}

TEST_F(Revocation, TakesTheNewestOfSeveralCrls) {
  addCrl(root);
  CrlOptions older = revoking(end.get());
  older.thisUpdate = -2 * kHour;
  addCrl(middle, {.thisUpdate = -kHour, .number = 2});
  addCrl(middle, older);
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kGood);
  CrlOptions newest = revoking(end.get());
  newest.thisUpdate = -std::chrono::minutes(30);
  addCrl(middle, newest);
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kRevoked, kGood, kGood));
}

TEST_F(Revocation, PrefersACrlThatIsValidToANewerOneThatIsNot) {
  addCrl(root);
  addCrl(middle);
  addCrl(middle, {.thisUpdate = kHour, .number = 2});
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kGood);
}

TEST_F(Revocation, RefusesADeltaCrl) {
  addCrl(root);
  addCrl(middle, {.extensions = {{.name = "2.5.29.27", .value = "critical,DER:020101"}}});
  // OpenSSL before 3.0.22 takes a delta for a whole list: the command is not asked.
  EXPECT_THAT(errorsOf(world.judge(end.get())), ElementsAre(kUnknown, kGood, kGood));
}

TEST_F(Revocation, RefusesAnIndirectCrl) {
  // IssuingDistributionPoint { indirectCRL TRUE }
  EXPECT_EQ(endWith({.extensions = {{.name = "2.5.29.28", .value = "critical,DER:30038401FF"}}}),
            kUnknown);
}

TEST_F(Revocation, RefusesACrlThatIsOnlyAboutAuthorities) {
  // IssuingDistributionPoint { onlyContainsCACerts TRUE }
  EXPECT_EQ(endWith({.extensions = {{.name = "2.5.29.28", .value = "critical,DER:30038201FF"}}}),
            kUnknown);
}

TEST_F(Revocation, AcceptsACrlThatIsOnlyAboutUsers) {
  // IssuingDistributionPoint { onlyContainsUserCerts TRUE }
  EXPECT_EQ(endWith({.extensions = {{.name = "2.5.29.28", .value = "critical,DER:30038101FF"}}}),
            kGood);
}

TEST_F(Revocation, RefusesACrlAboutSomeReasonsOnly) {
  // IssuingDistributionPoint { onlySomeReasons keyCompromise }
  EXPECT_EQ(endWith({.extensions = {{.name = "2.5.29.28", .value = "critical,DER:300483020640"}}}),
            kUnknown);
}

TEST_F(Revocation, DoesNotTrustACrlWithAnUnknownCriticalExtension) {
  CrlOptions options = revoking(end.get());
  options.extensions = {{.name = "1.2.3.4.5", .value = "critical,DER:0500"}};
  EXPECT_EQ(endWith(options), kUnknown | kRevoked);
}

TEST_F(Revocation, HonoursARemovalFromTheList) {
  EXPECT_EQ(endWith({.revoked = {{.serial = lab::serialOf(end.get()),
                                  .reason = CRL_REASON_REMOVE_FROM_CRL}}}),
            kGood);
}

TEST_F(Revocation, CountsACertificateOnHoldAsRevoked) {
  EXPECT_EQ(endWith({.revoked = {{.serial = lab::serialOf(end.get()),
                                  .reason = CRL_REASON_CERTIFICATE_HOLD}}}),
            kRevoked);
}

TEST_F(Revocation, TakesLooseCrlsToo) {
  world.addLooseCrl(root.crl().get());
  world.addLooseCrl(middle.crl(revoking(end.get())).get());
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kRevoked, kGood, kGood));
}

TEST_F(Revocation, IsJudgedNowWhateverTimeTheCertificatesAreJudgedAt) {
  addCrl(root);
  addCrl(middle, revoking(end.get()));
  world.time = world.now - 60;
  EXPECT_THAT(errorsOf(world.judge(end.get())), ElementsAre(kRevoked, kGood, kGood));
  world.now += std::chrono::seconds(lab::kLabLifetime).count();
  const ChainVerdict later = world.judge(end.get());
  EXPECT_EQ(later.elements.at(0).errors, kRevoked | kUnknown) << "the CRL expired meanwhile";
}

class RevocationWithoutCrlSign : public Revocation {
 protected:
  RevocationWithoutCrlSign() : Revocation(options()) {}

  static CertificateOptions options() {
    CertificateOptions options = named("Middle");
    options.keyUsage = "keyCertSign";
    return options;
  }
};

TEST_F(RevocationWithoutCrlSign, DoesNotTrustItsCrl) {
  EXPECT_EQ(endWith({}), kUnknown);
}

/// Plays a network: gives what it was told to and notes what it was asked for.
class FakeSource : public RevocationSource {
 public:
  RevocationData dataFor(const CertificateData& subject, const CertificateData& issuer) override {
    ++asked;
    EXPECT_EQ(X509_check_issued(issuer.x509(), subject.x509()), X509_V_OK);
    return data;
  }

  bool isOnline() const override { return true; }

  RevocationData data;
  int asked = 0;
};

class RevocationFromASource : public Revocation {
 protected:
  RevocationFromASource() {
    world.revocation = RevocationScope::ChainWithoutRoot;
    world.source = &source;
  }

  FakeSource source;
};

TEST_F(RevocationFromASource, IsAskedForWhatIsUnknownOnly) {
  addCrl(root);
  source.data.crls = {dataOf(middle.crl().get())};
  EXPECT_EQ(world.judge(end.get()).errors, kGood);
  EXPECT_EQ(source.asked, 1);
}

TEST_F(RevocationFromASource, IsNotAskedWhenAllIsKnown) {
  addCrl(root);
  addCrl(middle);
  EXPECT_EQ(world.judge(end.get()).errors, kGood);
  EXPECT_EQ(source.asked, 0);
}

TEST_F(RevocationFromASource, IsBelievedAsFarAsItsCrlsAreSigned) {
  addCrl(root);
  source.data.crls = {dataOf(withBrokenSignature(middle.crl().get()).get())};
  EXPECT_EQ(world.judge(end.get()).errors, kUnknown);
  source.data.crls = {dataOf(middle.crl(revoking(end.get())).get())};
  EXPECT_EQ(world.judge(end.get()).errors, kRevoked);
}

TEST_F(RevocationFromASource, IsNotAskedForAChainThatLeadsNowhere) {
  ChainWorld strange;
  strange.revocation = RevocationScope::ChainWithoutRoot;
  strange.source = &source;
  strange.addMaterial(middle.certificate());
  EXPECT_EQ(strange.judge(end.get()).errors, kUnknown | CERT_TRUST_IS_PARTIAL_CHAIN);
  strange.addMaterial(root.certificate());
  EXPECT_EQ(strange.judge(end.get()).errors, kUnknown | CERT_TRUST_IS_UNTRUSTED_ROOT);
  EXPECT_EQ(source.asked, 0);
}

TEST_F(RevocationFromASource, IsNotAskedForAForgedCertificate) {
  const X509Ptr forged = withBrokenSignature(end.get());
  EXPECT_NE(world.judge(forged.get()).errors & CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0U);
  EXPECT_EQ(source.asked, 0);
}

}  // namespace
}  // namespace qx::test::revocation_test
