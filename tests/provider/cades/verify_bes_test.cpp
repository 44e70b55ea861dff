#include <gtest/gtest.h>

#include "platform/cert.h"

#include "provider/der/writer.h"
#include "tests/provider/cades/cades_builder.h"
#include "tests/provider/cades/cades_verdict.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test::verify_bes_test {
namespace {

using lab::kDay;
using lab::KeyKind;

// What a verdict says about the signer's certificate.
bool shows(const Verdict& verdict, const X509* certificate) {
  const PCCERT_CONTEXT shown = verdict.info->pSignerCert;
  return shown != nullptr &&
         lab::toDer(certificate) ==
             Octets(shown->pbCertEncoded, shown->pbCertEncoded + shown->cbCertEncoded);
}

class VerifyBes : public ::testing::Test {
 protected:
  void SetUp() override { world.storeCrls(); }

  VerifyWorld world;
  CadesBuilder builder{world};
};

TEST_F(VerifyBes, AcceptsAGoodSigner) {
  const Verdict verdict = verdictOn(builder.sign().message());
  ASSERT_EQ(verdict.status, CADES_STATUS_GOOD);
  EXPECT_TRUE(shows(verdict, world.signer()));
  ASSERT_NE(verdict.info->pSigningTime, nullptr);
  EXPECT_EQ(verdict.info->pSignatureTimeStampTime, nullptr);
}

// The builder's own messages are judged by somebody else, too.
TEST_F(VerifyBes, AgreesWithOpenssl) {
  const TempDir folder;
  const Octets message = builder.sign().message();
  const std::string file = folder.write("message.der", text(message));
  const std::string root = folder.write("root.pem", lab::toPem(world.root().certificate()));
  const CommandResult result = run({"openssl",
                                    "cms",
                                    "-verify",
                                    "-cades",
                                    "-inform",
                                    "DER",
                                    "-in",
                                    file,
                                    "-CAfile",
                                    root,
                                    "-purpose",
                                    "any"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "content");
}

TEST_F(VerifyBes, AcceptsWhatOpensslSigned) {
  const TempDir folder;
  const std::string certificate = folder.write("signer.pem", lab::toPem(world.signer()));
  const std::string key = folder.write("key.pem", lab::toPem(world.signerKey()));
  const std::string issuer = folder.write("issuer.pem", lab::toPem(world.issuer().certificate()));
  const CommandResult result = run({.arguments = {"openssl",
                                                  "cms",
                                                  "-sign",
                                                  "-cades",
                                                  "-binary",
                                                  "-nodetach",
                                                  "-outform",
                                                  "DER",
                                                  "-signer",
                                                  certificate,
                                                  "-inkey",
                                                  key,
                                                  "-certfile",
                                                  issuer},
                                    .input = "foreign"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(statusOf(octets(result.out)), CADES_STATUS_GOOD);
}

class VerifyBesKinds : public ::testing::TestWithParam<KeyKind> {};

TEST_P(VerifyBesKinds, AreAllAccepted) {
  const VerifyWorld world({.kind = GetParam()});
  world.storeCrls();
  CadesBuilder builder(world);
  EXPECT_EQ(statusOf(builder.sign().message()), CADES_STATUS_GOOD);
  builder.signature.back() ^= 1U;
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_SIGNATURE);
}

INSTANTIATE_TEST_SUITE_P(Keys,
                         VerifyBesKinds,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256,
                                           KeyKind::EcP384));

TEST_F(VerifyBes, ShowsTheSignerEvenWhenHeNamesNoCertificate) {
  builder.dropSigned(oids::kSigningCertificateV2);
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_NO_SIGNER_CERT);
  EXPECT_EQ(verdict.error, CRYPT_E_ATTRIBUTES_MISSING);
  EXPECT_TRUE(shows(verdict, world.signer()));
}

TEST_F(VerifyBes, RefusesASignerWithoutSignedAttributes) {
  builder.signedAttributes.clear();
  EXPECT_EQ(statusOf(builder.sign().message()), CADES_STATUS_NO_SIGNER_CERT);
}

TEST_F(VerifyBes, RefusesASignerWhoNamesAnotherCertificate) {
  builder.signedAttribute(oids::kSigningCertificateV2).values = {
      essV2({world.issuer().certificate()})};
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_NO_SIGNER_CERT);
  EXPECT_EQ(verdict.error, CRYPT_E_SIGNER_NOT_FOUND);
}

// A certificate for the same key with the same issuer and serial number is still another one.
TEST_F(VerifyBes, TellsTwoCertificatesOfOneNameApart) {
  const X509Ptr twin = world.issuer().issue(
      world.signerKey(),
      {.subject = {{.type = "CN", .value = "Twin"}}, .serial = lab::serialOf(world.signer())});
  builder.certificates.insert(builder.certificates.begin(), lab::toDer(twin.get()));
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_GOOD);
  EXPECT_TRUE(shows(verdict, world.signer()));
  builder.certificates.erase(builder.certificates.begin() + 1);
  const Verdict without = verdictOn(builder.message());
  EXPECT_EQ(without.status, CADES_STATUS_NO_SIGNER_CERT);
  EXPECT_TRUE(shows(without, twin.get()));
}

TEST_F(VerifyBes, WantsEveryNamingAttributeToBeRight) {
  const HashValue good = hashOf(HashAlgorithm::Sha1, lab::toDer(world.signer()));
  const auto essV1 = [](der::Bytes hash) {
    return der::sequence(der::sequence(der::sequence(der::octetString(hash)))).bytes();
  };
  builder.signedAttributes.push_back(
      {std::string(oids::kSigningCertificate), {essV1(good.bytes())}});
  EXPECT_EQ(statusOf(builder.sign().message()), CADES_STATUS_GOOD);
  const Octets bad(good.size(), 0);
  builder.signedAttribute(oids::kSigningCertificate).values = {essV1(bad)};
  EXPECT_EQ(statusOf(builder.sign().message()), CADES_STATUS_NO_SIGNER_CERT);
}

TEST_F(VerifyBes, TakesFurtherNamesForTheOnlyOnesThatMayVouchForTheSigner) {
  const X509* issuer = world.issuer().certificate();
  builder.signedAttribute(oids::kSigningCertificateV2).values = {essV2({world.signer(), issuer})};
  EXPECT_EQ(statusOf(builder.sign().message()), CADES_STATUS_GOOD);
  builder.signedAttribute(oids::kSigningCertificateV2).values = {
      essV2({world.signer(), world.firstAuthority().certificate()})};
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_NO_CHAIN);
  EXPECT_EQ(verdict.error, CERT_E_CHAINING);
}

TEST_F(VerifyBes, RefusesMalformedNames) {
  MadeAttribute& ess = builder.signedAttribute(oids::kSigningCertificateV2);
  const Octets good = ess.values.front();
  for (const std::vector<Octets>& values :
       {std::vector<Octets>{}, {good, good}, {der::null().bytes()}}) {
    ess.values = values;
    EXPECT_EQ(statusOf(builder.sign().message()), CADES_STATUS_NO_SIGNER_CERT) << values.size();
  }
}

TEST_F(VerifyBes, FindsTheCertificateInTheAddressBook) {
  builder.certificates.erase(builder.certificates.begin());
  const Octets message = builder.sign().message();
  const Verdict without = verdictOn(message);
  EXPECT_EQ(without.status, CADES_STATUS_NO_SIGNER_CERT);
  EXPECT_EQ(without.info->pSignerCert, nullptr);
  world.folder().addCertificate("Addressbook", world.signer());
  const Verdict verdict = verdictOn(message);
  EXPECT_EQ(verdict.status, CADES_STATUS_GOOD);
  EXPECT_TRUE(shows(verdict, world.signer()));
}

TEST_F(VerifyBes, WantsTheContentTypeToBeSigned) {
  builder.dropSigned(oids::kContentType);
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_CONTENT_TYPE);
  EXPECT_EQ(verdict.error, CRYPT_E_AUTH_ATTR_MISSING);
}

TEST_F(VerifyBes, RefusesAnotherContentType) {
  MadeAttribute& type = builder.signedAttribute(oids::kContentType);
  const Octets good = type.values.front();
  for (const std::vector<Octets>& values :
       {std::vector<Octets>{der::oid(oids::kEnvelopedData)->bytes()},
        {good, good},
        {},
        {der::null().bytes()}}) {
    type.values = values;
    EXPECT_EQ(statusOf(builder.sign().message()), CADES_STATUS_CONTENT_TYPE) << values.size();
  }
}

TEST_F(VerifyBes, SeesThatTheContentTypeWasChangedAfterwards) {
  builder.sign();
  builder.contentType = "1.2.3.4";
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_CONTENT_TYPE);
}

TEST_F(VerifyBes, WantsTheDigest) {
  builder.dropSigned(oids::kMessageDigest);
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_SIGNATURE);
  EXPECT_EQ(verdict.error, CRYPT_E_AUTH_ATTR_MISSING);
}

TEST_F(VerifyBes, SeesThatTheContentWasChanged) {
  builder.sign().content.back() ^= 1U;
  const Verdict verdict = verdictOn(builder.message());
  EXPECT_EQ(verdict.status, CADES_STATUS_SIGNATURE);
  EXPECT_EQ(verdict.error, CRYPT_E_HASH_VALUE);
}

TEST_F(VerifyBes, SeesThatAnAttributeWasChanged) {
  builder.sign().signedAttribute(oids::kSigningTime).values.front().back() ^= 1U;
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_SIGNATURE);
}

TEST_F(VerifyBes, SeesThatTheSignatureWasChanged) {
  builder.sign().signature.back() ^= 1U;
  const Verdict verdict = verdictOn(builder.message());
  EXPECT_EQ(verdict.status, CADES_STATUS_SIGNATURE);
  EXPECT_EQ(verdict.error, NTE_BAD_SIGNATURE);
  EXPECT_TRUE(shows(verdict, world.signer()));
}

TEST_F(VerifyBes, ShowsNoSigningTimeThatCannotBeRead) {
  builder.signedAttribute(oids::kSigningTime).values = {der::null().bytes()};
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_GOOD);
  EXPECT_EQ(verdict.info->pSigningTime, nullptr);
}

TEST_F(VerifyBes, IsNotImpressedByUnsignedAttributesOfOthers) {
  builder.sign().unsignedAttributes.push_back({"1.2.3.4", {der::null().bytes()}});
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_GOOD);
}

TEST_F(VerifyBes, RefusesAChainWithAGap) {
  builder.certificates.pop_back();
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_NO_CHAIN);
  EXPECT_EQ(verdict.error, CERT_E_CHAINING);
  EXPECT_TRUE(shows(verdict, world.signer()));
}

TEST_F(VerifyBes, RefusesARootThatIsNotTrusted) {
  const ProviderFolder other;
  builder.certificates.push_back(lab::toDer(world.root().certificate()));
  const Verdict verdict = verdictOn(builder.sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_NO_CHAIN);
  EXPECT_EQ(verdict.error, CERT_E_UNTRUSTEDROOT);
}

TEST_F(VerifyBes, ReadsTheRevocationListsInTheMessage) {
  const VerifyWorld bare;
  CadesBuilder other(bare);
  const Verdict without = verdictOn(other.sign().message());
  EXPECT_EQ(without.status, CADES_STATUS_SIGNER_CERT);
  other.crls = {lab::toDer(bare.crl(bare.issuer(), {}, /*isFresh=*/true).get()),
                lab::toDer(bare.crl(bare.root(), {}, /*isFresh=*/true).get())};
  EXPECT_EQ(statusOf(other.message()), CADES_STATUS_GOOD);
}

TEST(VerifyBesChain, RefusesAnExpiredSigner) {
  const VerifyWorld world({.when = -10 * kDay});
  world.storeCrls();
  const Verdict verdict = verdictOn(CadesBuilder(world).sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_SIGNER_CERT);
  EXPECT_EQ(verdict.error, CERT_E_EXPIRED);
}

TEST(VerifyBesChain, RefusesARevokedSigner) {
  const VerifyWorld world;
  world.storeCrls({{.serial = lab::serialOf(world.signer())}});
  const Verdict verdict = verdictOn(CadesBuilder(world).sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_SIGNER_CERT);
  EXPECT_EQ(verdict.error, CRYPT_E_REVOKED);
}

TEST(VerifyBesChain, RefusesASignerOfWhomNobodyKnowsWhetherHeIsRevoked) {
  const VerifyWorld world;
  world.folder().addCrl("CA", world.crl(world.root(), {}, /*isFresh=*/true).get(), "root.crl");
  EXPECT_EQ(statusOf(CadesBuilder(world).sign().message()), CADES_STATUS_SIGNER_CERT);
}

TEST(VerifyBesChain, RefusesARevokedIssuer) {
  const VerifyWorld world;
  world.storeCrls({}, {{.serial = lab::serialOf(world.issuer().certificate())}});
  const Verdict verdict = verdictOn(CadesBuilder(world).sign().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_OTHER_CERT);
  EXPECT_EQ(verdict.error, CRYPT_E_REVOKED);
}

TEST(VerifyBesChain, RefusesAnIssuerOfWhomNobodyKnowsWhetherHeIsRevoked) {
  const VerifyWorld world;
  world.folder().addCrl("CA", world.crl(world.issuer(), {}, /*isFresh=*/true).get(), "issuer.crl");
  EXPECT_EQ(statusOf(CadesBuilder(world).sign().message()), CADES_STATUS_OTHER_CERT);
}

TEST_F(VerifyBes, RefusesParametersThatItCannotUse) {
  const MessageHandle message = decode(builder.sign().message());
  CADES_VERIFICATION_INFO some{};
  CADES_VERIFICATION_INFO* info = &some;
  EXPECT_EQ(errorOf([&] { return CadesMsgVerifySignature(message.get(), 1, nullptr, &info); }),
            CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(info, nullptr);
  info = &some;
  EXPECT_EQ(errorOf([&] { return CadesMsgVerifySignature(message.get(), 0, &some, &info); }),
            E_INVALIDARG);
  EXPECT_EQ(info, nullptr);
  EXPECT_EQ(errorOf([&] { return CadesMsgVerifySignature(message.get(), 0, nullptr, nullptr); }),
            E_INVALIDARG);
}

}  // namespace
}  // namespace qx::test::verify_bes_test
