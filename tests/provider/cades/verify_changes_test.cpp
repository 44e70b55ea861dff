#include <gtest/gtest.h>

#include "provider/der/writer.h"
#include "tests/provider/cades/cades_builder.h"
#include "tests/provider/cades/cades_verdict.h"

// Good X Long signatures, each changed in one thing: every state of a signature is reached, and only the
// one that belongs to the change.
namespace qx::test::verify_changes_test {
namespace {

using lab::kDay;
using lab::KeyKind;
using lab::TimeStampAuthority;
using std::chrono::seconds;

constexpr auto kYear = 365 * kDay;
constexpr auto kWhen = -2 * kYear;

class VerifyChanges : public ::testing::Test {
 protected:
  // Expects a state, and that the signer is shown all the same.
  void expect(DWORD status, DWORD error = ERROR_SUCCESS) {
    const Verdict verdict = verdictOn(builder.message());
    EXPECT_EQ(verdict.status, status) << std::hex << verdict.error;
    EXPECT_NE(verdict.error, ERROR_SUCCESS);
    if (error != ERROR_SUCCESS) {
      EXPECT_EQ(verdict.error, error) << std::hex << verdict.error;
    }
    if (verdict.info != nullptr) {
      EXPECT_NE(verdict.info->pSignerCert, nullptr);
    }
  }

  // An authority below the root whose certificate is made to order.
  TimeStampAuthority authority(lab::CertificateOptions options = {}) const {
    options.notBefore = -3 * kYear;
    return TimeStampAuthority::issuedBy(world.root(), KeyKind::EcP256, std::move(options));
  }

  RevocationEvidence evidence(const lab::Authority& by, std::vector<lab::RevokedEntry> revoked) {
    return {.crl = dataOf(world.crl(by, std::move(revoked)).get()), .ocsp = {}};
  }

  // References and carries other lists of issuer and root.
  void setEvidence(const RevocationEvidence& ofIssuer, const RevocationEvidence& ofRoot) {
    builder.referencedEvidence = {ofIssuer, ofRoot, {}};
    builder.carriedEvidence = {ofIssuer, ofRoot};
  }

  // The whole signature with another signature stamp.
  void stampedBy(const TimeStampAuthority& by, lab::TimeStampOptions options = {}) {
    builder.sign().stampBy(by, builder.at(seconds(10), std::move(options)));
    builder.references().values().stampAll();
  }

  // The whole signature with another CAdES-C stamp.
  void lastStampedBy(const TimeStampAuthority& by, lab::TimeStampOptions options = {}) {
    builder.sign().stamp().references().values();
    builder.stampAllBy(by, builder.at(seconds(120), std::move(options)));
  }

  VerifyWorld world{{.when = kWhen}};
  CadesBuilder builder{world};
};

// An authority that nobody trusts.
lab::Authority stranger() {
  return lab::Authority::selfSigned(
      KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Other"}}, .notBefore = -3 * kYear});
}

void turnLastBit(MadeAttribute& attribute) {
  attribute.values.front().back() ^= 1U;
}

TEST_F(VerifyChanges, BeginFromAGoodSignature) {
  EXPECT_EQ(statusOf(builder.makeLong().message()), CADES_STATUS_GOOD);
}

// Revocation values.

TEST_F(VerifyChanges, MissingRevocationValues) {
  builder.makeLong().dropUnsigned(oids::kRevocationValues);
  expect(CADES_STATUS_REVOCATION_VALUES, CRYPT_E_ATTRIBUTES_MISSING);
}

TEST_F(VerifyChanges, MalformedRevocationValues) {
  builder.makeLong().unsignedAttribute(oids::kRevocationValues).values = {der::null().bytes()};
  expect(CADES_STATUS_REVOCATION_VALUES, CRYPT_E_ASN1_BADTAG);
}

TEST_F(VerifyChanges, RevocationValuesWithoutValue) {
  builder.makeLong().unsignedAttribute(oids::kRevocationValues).values.clear();
  expect(CADES_STATUS_REVOCATION_VALUES);
}

TEST_F(VerifyChanges, RevocationValuesTwice) {
  builder.makeLong().values();
  builder.dropUnsigned(oids::kCertificateValues);
  expect(CADES_STATUS_REVOCATION_VALUES, CRYPT_E_ASN1_CORRUPT);
}

TEST_F(VerifyChanges, RevocationValuesThatHoldNoList) {
  const Octets notAList = der::sequence(der::null()).bytes();
  builder.makeLong().unsignedAttribute(oids::kRevocationValues).values = {
      der::sequence(
          der::wrap(der::contextConstructed(0), der::sequence(der::Encoding::borrowed(notAList))))
          .bytes()};
  expect(CADES_STATUS_REVOCATION_VALUES);
}

// The signer's certificate.

TEST_F(VerifyChanges, ASignerWhoNamesNoCertificate) {
  builder.dropSigned(oids::kSigningCertificateV2);
  builder.makeLong();
  expect(CADES_STATUS_NO_SIGNER_CERT, CRYPT_E_ATTRIBUTES_MISSING);
}

TEST_F(VerifyChanges, ACertificateThatIsNowhere) {
  builder.certificates.clear();
  builder.carried.erase(builder.carried.begin());
  const Verdict verdict = verdictOn(builder.makeLong().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_NO_SIGNER_CERT);
  EXPECT_EQ(verdict.error, CRYPT_E_SIGNER_NOT_FOUND);
  EXPECT_EQ(verdict.info->pSignerCert, nullptr);
}

// Signature time stamps.

TEST_F(VerifyChanges, AMissingStamp) {
  builder.makeLong().dropUnsigned(oids::kSignatureTimeStamp);
  expect(CADES_STATUS_SIGNATURE_STAMP, CRYPT_E_ATTRIBUTES_MISSING);
}

TEST_F(VerifyChanges, AStampOverAnotherSignature) {
  CadesBuilder other(world);
  builder.makeLong().unsignedAttribute(oids::kSignatureTimeStamp).values =
      other.sign().stamp().unsignedAttribute(oids::kSignatureTimeStamp).values;
  expect(CADES_STATUS_SIGNATURE_STAMP, TRUST_E_TIME_STAMP);
}

TEST_F(VerifyChanges, AStampWithAnotherSignature) {
  turnLastBit(builder.makeLong().unsignedAttribute(oids::kSignatureTimeStamp));
  expect(CADES_STATUS_SIGNATURE_STAMP, NTE_BAD_SIGNATURE);
}

TEST_F(VerifyChanges, AStampThatIsNone) {
  builder.makeLong().unsignedAttribute(oids::kSignatureTimeStamp).values = {der::null().bytes()};
  expect(CADES_STATUS_SIGNATURE_STAMP, CRYPT_E_ASN1_BADTAG);
}

TEST_F(VerifyChanges, AStampThatIsTheMessageItself) {
  const Octets nested = CadesBuilder(world).sign().message();
  builder.makeLong().unsignedAttribute(oids::kSignatureTimeStamp).values = {nested};
  expect(CADES_STATUS_SIGNATURE_STAMP, CRYPT_E_INVALID_MSG_TYPE);
}

TEST_F(VerifyChanges, AnAttributeWithoutAnyStamp) {
  builder.makeLong().unsignedAttribute(oids::kSignatureTimeStamp).values.clear();
  expect(CADES_STATUS_SIGNATURE_STAMP);
}

TEST_F(VerifyChanges, OneBadStampBesideAGoodOne) {
  builder.sign().stamp().stamp();
  turnLastBit(builder.unsignedAttributes.back());
  builder.references().values().stampAll();
  expect(CADES_STATUS_SIGNATURE_STAMP, NTE_BAD_SIGNATURE);
}

TEST_F(VerifyChanges, MoreStampsThanAnybodyNeeds) {
  builder.sign().stamp();
  MadeAttribute& stamp = builder.unsignedAttributes.back();
  stamp.values.resize(33, stamp.values.front());
  builder.references().values().stampAll();
  expect(CADES_STATUS_SIGNATURE_STAMP, CRYPT_E_ASN1_LARGE);
}

TEST_F(VerifyChanges, AnAuthorityUnderAnotherRoot) {
  const lab::Authority other = stranger();
  builder.carried.push_back(dataOf(other.certificate()));
  stampedBy(TimeStampAuthority::issuedBy(other, KeyKind::EcP256, {.notBefore = -3 * kYear}));
  expect(CADES_STATUS_SIGNATURE_STAMP, CERT_E_UNTRUSTEDROOT);
}

TEST_F(VerifyChanges, AuthoritiesThatMayDoSomethingElse) {
  for (const char* usage : {"timeStamping",
                            "critical,timeStamping,codeSigning",
                            "critical,codeSigning",
                            "critical,anyExtendedKeyUsage"}) {
    builder.unsignedAttributes.clear();
    stampedBy(authority({.extendedKeyUsage = usage}));
    expect(CADES_STATUS_SIGNATURE_STAMP, CERT_E_WRONG_USAGE);
  }
}

TEST_F(VerifyChanges, AnAuthorityWhoseKeyMayEncrypt) {
  stampedBy(authority({.keyUsage = "digitalSignature,keyEncipherment"}));
  expect(CADES_STATUS_SIGNATURE_STAMP, CERT_E_WRONG_USAGE);
}

TEST_F(VerifyChanges, AnAuthorityThatHadExpired) {
  stampedBy(authority({.notAfter = kWhen - kDay}));
  expect(CADES_STATUS_SIGNATURE_STAMP, CERT_E_EXPIRED);
}

TEST_F(VerifyChanges, AnAuthorityThatExpiredBeforeTheNextStamp) {
  stampedBy(authority({.notAfter = kWhen + seconds(60)}));
  expect(CADES_STATUS_SIGNATURE_STAMP, CERT_E_EXPIRED);
}

TEST_F(VerifyChanges, AnAuthorityThatWasRevoked) {
  setEvidence(evidence(world.issuer(), {}),
              evidence(world.root(),
                       {{.serial = lab::serialOf(world.firstAuthority().certificate()),
                         .when = kWhen - kDay}}));
  builder.makeLong();
  expect(CADES_STATUS_SIGNATURE_STAMP, CRYPT_E_REVOKED);
}

TEST_F(VerifyChanges, AnAuthorityOfWhichNobodyKnowsWhetherItWasRevoked) {
  const lab::Authority third = world.root().subordinate(
      KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Third"}}, .notBefore = -3 * kYear});
  builder.carried.push_back(dataOf(third.certificate()));
  stampedBy(TimeStampAuthority::issuedBy(third, KeyKind::EcP256, {.notBefore = -3 * kYear}));
  expect(CADES_STATUS_SIGNATURE_STAMP);
}

TEST_F(VerifyChanges, AStampThatNamesNoCertificate) {
  stampedBy(world.firstAuthority(), {.ess = lab::EssAttribute::None});
  expect(CADES_STATUS_SIGNATURE_STAMP, CRYPT_E_ATTRIBUTES_MISSING);
}

// References and values.

TEST_F(VerifyChanges, MissingReferencesAndValues) {
  for (const std::string_view oid :
       {oids::kCertificateRefs, oids::kRevocationRefs, oids::kCertificateValues}) {
    builder.unsignedAttributes.clear();
    builder.makeLong().dropUnsigned(oid);
    expect(CADES_STATUS_REFERENCES, CRYPT_E_ATTRIBUTES_MISSING);
  }
}

TEST_F(VerifyChanges, MalformedReferencesAndValues) {
  for (const std::string_view oid :
       {oids::kCertificateRefs, oids::kRevocationRefs, oids::kCertificateValues}) {
    builder.unsignedAttributes.clear();
    builder.makeLong().unsignedAttribute(oid).values = {der::null().bytes()};
    expect(CADES_STATUS_REFERENCES, CRYPT_E_ASN1_BADTAG);
  }
}

TEST_F(VerifyChanges, ReferencesAndValuesTwice) {
  for (const std::string_view oid :
       {oids::kCertificateRefs, oids::kRevocationRefs, oids::kCertificateValues}) {
    builder.unsignedAttributes.clear();
    const MadeAttribute again = builder.makeLong().unsignedAttribute(oid);
    builder.unsignedAttributes.push_back(again);
    expect(CADES_STATUS_REFERENCES, CRYPT_E_ASN1_CORRUPT);
  }
}

TEST_F(VerifyChanges, AReferenceToACertificateThatIsNotThere) {
  builder.referenced.push_back(dataOf(stranger().certificate()));
  builder.makeLong();
  expect(CADES_STATUS_REFERENCES, CRYPT_E_NOT_FOUND);
}

TEST_F(VerifyChanges, AReferenceToAListThatIsNotThere) {
  builder.carriedEvidence.front() = evidence(world.issuer(), {});
  builder.carriedEvidence.front().crl =
      dataOf(world.crl(world.issuer(), {{.serial = "0102", .when = kWhen}}).get());
  builder.makeLong();
  expect(CADES_STATUS_REFERENCES, CRYPT_E_NOT_FOUND);
}

TEST_F(VerifyChanges, AnotherCertificateInTheValues) {
  builder.carried[2] = dataOf(stranger().certificate());
  builder.makeLong();
  expect(CADES_STATUS_REFERENCES, CRYPT_E_NOT_FOUND);
}

TEST_F(VerifyChanges, MoreReferencesThanAnybodyNeeds) {
  builder.referenced.resize(129, builder.referenced.front());
  builder.makeLong();
  expect(CADES_STATUS_REFERENCES, CRYPT_E_ASN1_LARGE);
}

// The chain.

TEST_F(VerifyChanges, AnIssuerWhoIsNotReferenced) {
  builder.referenced.erase(builder.referenced.begin());
  builder.makeLong();
  expect(CADES_STATUS_NO_CHAIN, CERT_E_CHAINING);
}

TEST_F(VerifyChanges, ASignerWhoWasRevoked) {
  setEvidence(evidence(world.issuer(),
                       {{.serial = lab::serialOf(world.signer()), .when = kWhen - seconds(5)}}),
              evidence(world.root(), {}));
  builder.makeLong();
  expect(CADES_STATUS_SIGNER_CERT, CRYPT_E_REVOKED);
}

TEST_F(VerifyChanges, ASignerWhoseListIsNotReferenced) {
  builder.referencedEvidence.erase(builder.referencedEvidence.begin());
  builder.makeLong();
  expect(CADES_STATUS_SIGNER_CERT);
}

TEST_F(VerifyChanges, AnIssuerWhoWasRevoked) {
  setEvidence(
      evidence(world.issuer(), {}),
      evidence(world.root(),
               {{.serial = lab::serialOf(world.issuer().certificate()), .when = kWhen - kDay}}));
  builder.makeLong();
  expect(CADES_STATUS_OTHER_CERT, CRYPT_E_REVOKED);
}

TEST_F(VerifyChanges, AnIssuerWhoseListIsNotReferenced) {
  builder.referencedEvidence.erase(builder.referencedEvidence.begin() + 1);
  builder.makeLong();
  expect(CADES_STATUS_OTHER_CERT);
}

TEST(VerifyChangesOfTime, ASignerWhoHadExpired) {
  const VerifyWorld world({.when = kWhen, .signerUntil = seconds(5)});
  const Verdict verdict = verdictOn(CadesBuilder(world).makeLong().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_SIGNER_CERT);
  EXPECT_EQ(verdict.error, CERT_E_EXPIRED);
  EXPECT_NE(verdict.info->pSignatureTimeStampTime, nullptr);
}

TEST(VerifyChangesOfTime, ASignerWhoWasNotYetValid) {
  const VerifyWorld world({.when = kWhen, .signerFrom = seconds(60)});
  EXPECT_EQ(statusOf(CadesBuilder(world).makeLong().message()), CADES_STATUS_SIGNER_CERT);
}

// Signature, digest and content type.

TEST_F(VerifyChanges, AnotherSignature) {
  builder.makeLong().signature.back() ^= 1U;
  expect(CADES_STATUS_SIGNATURE, NTE_BAD_SIGNATURE);
}

TEST_F(VerifyChanges, AnotherContent) {
  builder.makeLong().content.front() ^= 1U;
  expect(CADES_STATUS_SIGNATURE, CRYPT_E_HASH_VALUE);
}

TEST_F(VerifyChanges, AMissingDigest) {
  builder.dropSigned(oids::kMessageDigest);
  builder.makeLong();
  expect(CADES_STATUS_SIGNATURE, CRYPT_E_AUTH_ATTR_MISSING);
}

TEST_F(VerifyChanges, AMissingContentType) {
  builder.dropSigned(oids::kContentType);
  builder.makeLong();
  expect(CADES_STATUS_CONTENT_TYPE, CRYPT_E_AUTH_ATTR_MISSING);
}

TEST_F(VerifyChanges, AnotherContentType) {
  builder.contentType = "1.2.3.4";
  builder.makeLong();
  expect(CADES_STATUS_CONTENT_TYPE, NTE_BAD_SIGNATURE);
}

// CAdES-C time stamps.

TEST_F(VerifyChanges, ALastStampWithAnotherSignature) {
  turnLastBit(builder.makeLong().unsignedAttribute(oids::kCadesCTimeStamp));
  expect(CADES_STATUS_CADES_C_STAMP, NTE_BAD_SIGNATURE);
}

TEST_F(VerifyChanges, ALastStampThatIsNone) {
  builder.makeLong().unsignedAttribute(oids::kCadesCTimeStamp).values = {der::null().bytes()};
  expect(CADES_STATUS_CADES_C_STAMP, CRYPT_E_ASN1_BADTAG);
}

TEST_F(VerifyChanges, ALastStampOverAnotherSignatureStamp) {
  builder.makeLong();
  CadesBuilder other(builder);
  other.unsignedAttributes.clear();
  builder.unsignedAttribute(oids::kSignatureTimeStamp) =
      other.stamp().unsignedAttribute(oids::kSignatureTimeStamp);
  expect(CADES_STATUS_CADES_C_STAMP, TRUST_E_TIME_STAMP);
}

TEST_F(VerifyChanges, ALastStampOverOtherReferences) {
  builder.makeLong();
  CadesBuilder other(builder);
  other.unsignedAttributes.clear();
  std::ranges::reverse(other.referenced);
  builder.unsignedAttribute(oids::kCertificateRefs) =
      other.references().unsignedAttribute(oids::kCertificateRefs);
  expect(CADES_STATUS_CADES_C_STAMP, TRUST_E_TIME_STAMP);
}

TEST_F(VerifyChanges, ALastStampBeforeTheFirst) {
  builder.sign().stamp().references().values();
  builder.stampAllBy(world.lastAuthority(), builder.at(seconds(-60)));
  expect(CADES_STATUS_CADES_C_STAMP, TRUST_E_TIME_STAMP);
}

TEST_F(VerifyChanges, ALastStampFromTheFuture) {
  builder.sign().stamp().references().values();
  builder.stampAllBy(world.lastAuthority(), {.offset = std::chrono::hours(1)});
  expect(CADES_STATUS_CADES_C_STAMP, TRUST_E_TIME_STAMP);
}

TEST_F(VerifyChanges, ALastAuthorityThatHasExpired) {
  lastStampedBy(authority({.notAfter = kWhen + kDay}));
  expect(CADES_STATUS_CADES_C_STAMP, CERT_E_EXPIRED);
}

TEST_F(VerifyChanges, ALastAuthorityThatMayDoSomethingElse) {
  lastStampedBy(authority({.extendedKeyUsage = "critical,timeStamping,emailProtection"}));
  expect(CADES_STATUS_CADES_C_STAMP, CERT_E_WRONG_USAGE);
}

TEST_F(VerifyChanges, ALastAuthorityUnderAnotherRoot) {
  const lab::Authority other = stranger();
  lastStampedBy(TimeStampAuthority::issuedBy(other, KeyKind::EcP256, {.notBefore = -3 * kYear}));
  expect(CADES_STATUS_CADES_C_STAMP, CERT_E_CHAINING);
}

// Nobody is there to say when it was used: revoked at all is revoked.
TEST_F(VerifyChanges, ALastAuthorityThatIsRevokedByNow) {
  world.storeCrls({}, {{.serial = lab::serialOf(world.lastAuthority().certificate())}});
  builder.makeLong();
  expect(CADES_STATUS_CADES_C_STAMP, CRYPT_E_REVOKED);
}

}  // namespace
}  // namespace qx::test::verify_changes_test
