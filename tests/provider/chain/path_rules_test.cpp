// Each rule of the path, broken once: who carries which bits, and does the openssl command agree?
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test::path_rules_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::kDay;
using lab::KeyKind;
using ::testing::ElementsAre;

constexpr DWORD kNoError = CERT_TRUST_NO_ERROR;

/// A root, an intermediate and an end certificate; each can be made otherwise before it is issued.
struct ThreeSteps {
  CertificateOptions rootOptions = named("Root");
  CertificateOptions middleOptions = named("Middle");
  CertificateOptions endOptions = named("End");
  ChainWorld world;

  ChainVerdict judge() {
    const Authority root = Authority::selfSigned(KeyKind::EcP256, rootOptions);
    const Authority middle = root.subordinate(KeyKind::EcP256, middleOptions);
    const X509Ptr end = middle.issue(sampleKey(), endOptions);
    world.trust(root.certificate());
    world.addIntermediate(middle.certificate());
    return world.judgeTwice(end.get());
  }
};

class PathRules : public ::testing::Test, protected ThreeSteps {};

TEST_F(PathRules, AcceptAGoodChain) {
  const ChainVerdict verdict = judge();
  EXPECT_EQ(verdict.errors, kNoError);
  EXPECT_THAT(namesOf(verdict), ElementsAre("End", "Middle", "Root"));
  EXPECT_THAT(errorsOf(verdict), ElementsAre(kNoError, kNoError, kNoError));
}

TEST_F(PathRules, MarkAnExpiredEndCertificate) {
  endOptions.notAfter = -std::chrono::hours(1);
  const ChainVerdict verdict = judge();
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_NOT_TIME_VALID);
  EXPECT_THAT(errorsOf(verdict), ElementsAre(CERT_TRUST_IS_NOT_TIME_VALID, kNoError, kNoError));
}

TEST_F(PathRules, MarkAnEndCertificateThatIsNotYetValid) {
  endOptions.notBefore = std::chrono::hours(1);
  EXPECT_THAT(errorsOf(judge()), ElementsAre(CERT_TRUST_IS_NOT_TIME_VALID, kNoError, kNoError));
}

TEST_F(PathRules, MarkAnExpiredIntermediate) {
  middleOptions.notAfter = -std::chrono::hours(1);
  EXPECT_THAT(errorsOf(judge()), ElementsAre(kNoError, CERT_TRUST_IS_NOT_TIME_VALID, kNoError));
}

TEST_F(PathRules, MarkAnExpiredRoot) {
  rootOptions.notAfter = -std::chrono::hours(1);
  EXPECT_THAT(errorsOf(judge()), ElementsAre(kNoError, kNoError, CERT_TRUST_IS_NOT_TIME_VALID));
}

TEST_F(PathRules, JudgeTheDatesAtTheTimeThatIsAskedFor) {
  endOptions.notBefore = -10 * kDay;
  endOptions.notAfter = -8 * kDay;
  rootOptions.notBefore = middleOptions.notBefore = -20 * kDay;
  world.time = world.now - std::chrono::seconds(9 * kDay).count();
  const Authority root = Authority::selfSigned(KeyKind::EcP256, rootOptions);
  const Authority middle = root.subordinate(KeyKind::EcP256, middleOptions);
  const X509Ptr end = middle.issue(sampleKey(), endOptions);
  world.trust(root.certificate());
  world.addIntermediate(middle.certificate());
  EXPECT_EQ(world.judge(end.get()).errors, kNoError);
  world.time = world.now - std::chrono::seconds(15 * kDay).count();
  EXPECT_THAT(errorsOf(world.judge(end.get())),
              ElementsAre(CERT_TRUST_IS_NOT_TIME_VALID, kNoError, kNoError));
  world.time = world.now - std::chrono::seconds(30 * kDay).count();
  EXPECT_THAT(errorsOf(world.judge(end.get())),
              ElementsAre(CERT_TRUST_IS_NOT_TIME_VALID,
                          CERT_TRUST_IS_NOT_TIME_VALID,
                          CERT_TRUST_IS_NOT_TIME_VALID));
}

TEST_F(PathRules, TakeTheFirstAndTheLastSecondIn) {
  const Authority root = Authority::selfSigned(KeyKind::EcP256, rootOptions);
  const X509Ptr end = root.issue(sampleKey(), endOptions);
  world.trust(root.certificate());
  const CertificatePtr data = dataOf(end.get());
  std::tm first{};
  std::tm last{};
  ASSERT_EQ(ASN1_TIME_to_tm(X509_get0_notBefore(end.get()), &first), 1);
  ASSERT_EQ(ASN1_TIME_to_tm(X509_get0_notAfter(end.get()), &last), 1);
  const auto errorsAt = [&](std::time_t moment) {
    world.time = moment;
    return world.judge(end.get()).elements.at(0).errors;
  };
  EXPECT_EQ(errorsAt(timegm(&first)), kNoError);
  EXPECT_EQ(errorsAt(timegm(&first) - 1), CERT_TRUST_IS_NOT_TIME_VALID);
  EXPECT_EQ(errorsAt(timegm(&last)), kNoError);
  EXPECT_EQ(errorsAt(timegm(&last) + 1), CERT_TRUST_IS_NOT_TIME_VALID);
}

TEST_F(PathRules, MarkTheEndOfAPartialChainThatIsExpired) {
  const Authority root = Authority::selfSigned(KeyKind::EcP256, rootOptions);
  middleOptions.notAfter = -std::chrono::hours(1);
  const Authority middle = root.subordinate(KeyKind::EcP256, middleOptions);
  const X509Ptr end = middle.issue(sampleKey(), endOptions);
  world.addIntermediate(middle.certificate());
  const ChainVerdict verdict = world.judgeTwice(end.get());
  EXPECT_EQ(verdict.errors, CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_NOT_TIME_VALID);
  EXPECT_THAT(errorsOf(verdict), ElementsAre(kNoError, CERT_TRUST_IS_NOT_TIME_VALID));
}

TEST_F(PathRules, MarkTheSubjectOfABadSignature) {
  const Authority root = Authority::selfSigned(KeyKind::EcP256, rootOptions);
  const Authority middle = root.subordinate(KeyKind::EcP256, middleOptions);
  const X509Ptr end = middle.issue(sampleKey(), endOptions);
  const X509Ptr brokenMiddle = withBrokenSignature(middle.certificate());
  world.trust(root.certificate());
  world.addIntermediate(brokenMiddle.get());
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())),
              ElementsAre(kNoError, CERT_TRUST_IS_NOT_SIGNATURE_VALID, kNoError));
  const X509Ptr brokenEnd = withBrokenSignature(end.get());
  EXPECT_THAT(
      errorsOf(world.judgeTwice(brokenEnd.get())),
      ElementsAre(CERT_TRUST_IS_NOT_SIGNATURE_VALID, CERT_TRUST_IS_NOT_SIGNATURE_VALID, kNoError));
}

TEST_F(PathRules, MarkARootThatDoesNotSignItself) {
  const Authority root = Authority::selfSigned(KeyKind::EcP256, rootOptions);
  const X509Ptr end = root.issue(sampleKey(), endOptions);
  const X509Ptr brokenRoot = withBrokenSignature(root.certificate());
  world.trust(brokenRoot.get());
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())),
              ElementsAre(kNoError, CERT_TRUST_IS_NOT_SIGNATURE_VALID));
}

TEST_F(PathRules, RefuseSignaturesOverMd5) {
  const Authority root = Authority::selfSigned(KeyKind::Rsa2048, rootOptions);
  endOptions.digest = NID_md5;
  const X509Ptr end = root.issue(sampleKey(), endOptions);
  world.trust(root.certificate());
  EXPECT_EQ(world.askOpenssl(end.get()), "OK") << "libcrypto alone does not mind";
  EXPECT_THAT(
      errorsOf(world.judge(end.get())),
      ElementsAre(CERT_TRUST_IS_NOT_SIGNATURE_VALID | CERT_TRUST_HAS_WEAK_SIGNATURE, kNoError));
}

TEST_F(PathRules, AcceptSignaturesOverSha1) {
  const Authority root = Authority::selfSigned(KeyKind::Rsa2048, rootOptions);
  endOptions.digest = NID_sha1;
  const X509Ptr end = root.issue(sampleKey(), endOptions);
  world.trust(root.certificate());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kNoError);
}

TEST_F(PathRules, DoNotMindHowATrustedRootIsSigned) {
  rootOptions.digest = NID_md5;
  const Authority root = Authority::selfSigned(KeyKind::Rsa2048, rootOptions);
  const X509Ptr end = root.issue(sampleKey(), endOptions);
  world.trust(root.certificate());
  EXPECT_EQ(world.judge(end.get()).errors, kNoError);
  ChainWorld other;
  other.addMaterial(root.certificate());
  EXPECT_THAT(errorsOf(other.judge(end.get())),
              ElementsAre(kNoError,
                          CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_NOT_SIGNATURE_VALID |
                              CERT_TRUST_HAS_WEAK_SIGNATURE));
}

TEST_F(PathRules, MarkAnIssuerThatIsNoAuthority) {
  const Authority root = Authority::selfSigned(KeyKind::EcP256, rootOptions);
  EvpPkeyPtr key = lab::generateKey(KeyKind::EcP256);
  X509Ptr certificate = root.issue(key.get(), middleOptions);
  const Authority middle(std::move(key), std::move(certificate));
  const X509Ptr end = middle.issue(sampleKey(), endOptions);
  world.trust(root.certificate());
  world.addIntermediate(middle.certificate());
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())),
              ElementsAre(kNoError, CERT_TRUST_INVALID_BASIC_CONSTRAINTS, kNoError));
}

TEST_F(PathRules, MarkTheAuthorityWhosePathLengthIsExceeded) {
  rootOptions.pathLength = 0;
  const ChainVerdict verdict = judge();
  EXPECT_THAT(errorsOf(verdict),
              ElementsAre(kNoError, kNoError, CERT_TRUST_INVALID_BASIC_CONSTRAINTS));
}

TEST_F(PathRules, AcceptAPathAsLongAsAllowed) {
  rootOptions.pathLength = 1;
  middleOptions.pathLength = 0;
  EXPECT_EQ(judge().errors, kNoError);
}

TEST_F(PathRules, MarkAnAuthorityThatMayNotSignCertificates) {
  middleOptions.keyUsage = "cRLSign,digitalSignature";
  EXPECT_THAT(errorsOf(judge()),
              ElementsAre(kNoError,
                          CERT_TRUST_IS_NOT_VALID_FOR_USAGE | CERT_TRUST_INVALID_BASIC_CONSTRAINTS,
                          kNoError));
}

TEST_F(PathRules, AcceptAnAuthorityWithoutKeyIdentifiers) {
  middleOptions.keyIdentifiers = false;
  endOptions.keyIdentifiers = false;
  rootOptions.keyIdentifiers = false;
  EXPECT_EQ(judge().errors, kNoError);
}

TEST_F(PathRules, MarkAnUnknownCriticalExtension) {
  endOptions.extensions = {{.name = "1.2.3.4.5", .value = "critical,DER:0500"}};
  EXPECT_THAT(errorsOf(judge()), ElementsAre(kUnknownCriticalExtension, kNoError, kNoError));
}

TEST_F(PathRules, MarkAnUnknownCriticalExtensionOfAnAuthority) {
  middleOptions.extensions = {{.name = "1.2.3.4.5", .value = "critical,DER:0500"}};
  EXPECT_THAT(errorsOf(judge()), ElementsAre(kNoError, kUnknownCriticalExtension, kNoError));
}

TEST_F(PathRules, IgnoreAnUnknownExtensionThatIsNotCritical) {
  endOptions.extensions = {{.name = "1.2.3.4.5", .value = "DER:0500"}};
  EXPECT_EQ(judge().errors, kNoError);
}

TEST_F(PathRules, MarkAnExtensionThatCannotBeDecoded) {
  // A subject alternative name that is no sequence. The chain ends there: nothing of the certificate
  // is believed.
  endOptions.extensions = {{.name = "2.5.29.17", .value = "DER:020100"}};
  const ChainVerdict verdict = judge();
  EXPECT_EQ(verdict.errors, CERT_TRUST_INVALID_EXTENSION | CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_THAT(errorsOf(verdict), ElementsAre(CERT_TRUST_INVALID_EXTENSION));
}

TEST_F(PathRules, MarkANameThatIsNotPermitted) {
  middleOptions.extensions = {
      {.name = "nameConstraints", .value = "critical,permitted;DNS:example.org"}};
  endOptions.subjectAltName = "DNS:www.example.net";
  EXPECT_THAT(errorsOf(judge()),
              ElementsAre(CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT, kNoError, kNoError));
}

TEST_F(PathRules, AcceptANameThatIsPermitted) {
  middleOptions.extensions = {
      {.name = "nameConstraints", .value = "critical,permitted;DNS:example.org"}};
  endOptions.subjectAltName = "DNS:www.example.org";
  EXPECT_EQ(judge().errors, kNoError);
}

TEST_F(PathRules, MarkANameThatIsExcluded) {
  rootOptions.extensions = {
      {.name = "nameConstraints", .value = "critical,excluded;email:example.org"}};
  endOptions.subjectAltName = "email:somebody@example.org";
  EXPECT_THAT(errorsOf(judge()),
              ElementsAre(CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT, kNoError, kNoError));
}

TEST_F(PathRules, MarkAnAuthorityWhoseNameIsExcluded) {
  rootOptions.extensions = {
      {.name = "nameConstraints", .value = "critical,excluded;DNS:ca.example.org"}};
  middleOptions.subjectAltName = "DNS:ca.example.org";
  EXPECT_THAT(errorsOf(judge()),
              ElementsAre(kNoError, CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT, kNoError));
}

TEST_F(PathRules, MarkANameConstraintThatIsNotSupported) {
  middleOptions.extensions = {
      {.name = "nameConstraints", .value = "critical,permitted;RID:1.2.3.4"}};
  endOptions.subjectAltName = "RID:1.2.3.4";
  EXPECT_THAT(errorsOf(judge()),
              ElementsAre(CERT_TRUST_HAS_NOT_SUPPORTED_NAME_CONSTRAINT, kNoError, kNoError));
}

TEST_F(PathRules, MarkTheEndWhenARequiredPolicyIsMissing) {
  middleOptions.extensions = {
      {.name = "policyConstraints", .value = "critical,requireExplicitPolicy:0"},
      {.name = "certificatePolicies", .value = "1.2.3.4"}};
  EXPECT_THAT(errorsOf(judge()),
              ElementsAre(CERT_TRUST_INVALID_POLICY_CONSTRAINTS, kNoError, kNoError));
}

TEST_F(PathRules, AcceptARequiredPolicyThatIsThere) {
  middleOptions.extensions = {
      {.name = "policyConstraints", .value = "critical,requireExplicitPolicy:0"},
      {.name = "certificatePolicies", .value = "1.2.3.4"}};
  endOptions.extensions = {{.name = "certificatePolicies", .value = "1.2.3.4"}};
  EXPECT_EQ(judge().errors, kNoError);
}

TEST_F(PathRules, MarkAPolicyExtensionThatContradictsItself) {
  endOptions.extensions = {{.name = "certificatePolicies", .value = "1.2.3.4,1.2.3.4"}};
  EXPECT_THAT(errorsOf(judge()),
              ElementsAre(CERT_TRUST_INVALID_POLICY_CONSTRAINTS, kNoError, kNoError));
}

TEST_F(PathRules, TellEveryFaultAtOnce) {
  rootOptions.pathLength = 0;
  middleOptions.notAfter = -std::chrono::hours(1);
  endOptions.extensions = {{.name = "1.2.3.4.5", .value = "critical,DER:0500"}};
  const ChainVerdict verdict = judge();
  EXPECT_THAT(errorsOf(verdict),
              ElementsAre(kUnknownCriticalExtension,
                          CERT_TRUST_IS_NOT_TIME_VALID,
                          CERT_TRUST_INVALID_BASIC_CONSTRAINTS));
  EXPECT_EQ(verdict.errors,
            kUnknownCriticalExtension | CERT_TRUST_IS_NOT_TIME_VALID |
                CERT_TRUST_INVALID_BASIC_CONSTRAINTS);
}

TEST(FaultTable, NamesEachFaultOnce) {
  EXPECT_EQ(meaningOf(X509_V_ERR_CERT_REJECTED).bits, CERT_TRUST_IS_EXPLICIT_DISTRUST);
  EXPECT_EQ(meaningOf(X509_V_ERR_SUBTREE_MINMAX).bits,
            CERT_TRUST_HAS_NOT_SUPPORTED_NAME_CONSTRAINT);
  EXPECT_EQ(meaningOf(X509_V_ERR_UNSUPPORTED_CONSTRAINT_SYNTAX).bits,
            CERT_TRUST_INVALID_NAME_CONSTRAINTS);
  EXPECT_EQ(meaningOf(X509_V_ERR_UNSUPPORTED_NAME_SYNTAX).bits,
            CERT_TRUST_HAS_NOT_DEFINED_NAME_CONSTRAINT);
  EXPECT_EQ(meaningOf(X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY).place, FaultPlace::Subject);
}

TEST(FaultTable, LetsNoUnknownFaultPass) {
  // The dates are compared beside the verifier; every other number must say something.
  for (int error = 1; error < 200; ++error) {
    const bool isDate =
        error == X509_V_ERR_CERT_NOT_YET_VALID || error == X509_V_ERR_CERT_HAS_EXPIRED;
    EXPECT_EQ(meaningOf(error).bits == 0, isDate) << error;
  }
}

}  // namespace
}  // namespace qx::test::path_rules_test
