#include <gtest/gtest.h>

#include "tests/provider/cades/cades_builder.h"
#include "tests/provider/cades/cades_verdict.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test::verify_stamped_test {
namespace {

using lab::kDay;

// Signatures with a time stamp and nothing else: what is known today about revocation decides about the
// day of the stamp. They were made ten days ago by a signer whose certificate has just ended, after the
// lists of today were made: later ones could have dropped him.
class VerifyStamped : public ::testing::Test {
 protected:
  DWORD status() { return statusOf(builder.sign().stamp().message()); }

  VerifyWorld world{{.when = -10 * kDay, .signerUntil = 10 * kDay - std::chrono::seconds(30)}};
  CadesBuilder builder{world};
};

TEST_F(VerifyStamped, AcceptsASignerWhoHasExpiredSince) {
  world.storeCrls();
  const Verdict verdict = verdictOn(builder.sign().stamp().message());
  EXPECT_EQ(verdict.status, CADES_STATUS_GOOD) << std::hex << verdict.error;
  EXPECT_NE(verdict.info->pSignatureTimeStampTime, nullptr);
  builder.unsignedAttributes.clear();
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_SIGNER_CERT) << "the stamp was taken away";
}

TEST_F(VerifyStamped, ReadsTheListsInTheMessage) {
  EXPECT_EQ(status(), CADES_STATUS_SIGNER_CERT);
  builder.crls = {lab::toDer(world.crl(world.issuer(), {}, /*isFresh=*/true).get()),
                  lab::toDer(world.crl(world.root(), {}, /*isFresh=*/true).get())};
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_GOOD);
}

// Authorities may drop the expired from their lists: a list that was made later says nothing.
TEST(VerifyStampedLater, RefusesASignerOfWhomTheListsOfTodaySayNothing) {
  const VerifyWorld world({.when = -10 * kDay});
  world.storeCrls();
  EXPECT_EQ(statusOf(CadesBuilder(world).sign().stamp().message()), CADES_STATUS_SIGNER_CERT);
}

TEST_F(VerifyStamped, AcceptsASignerWhoWasRevokedLater) {
  world.storeCrls({{.serial = lab::serialOf(world.signer()), .when = -9 * kDay}});
  EXPECT_EQ(status(), CADES_STATUS_GOOD);
}

TEST_F(VerifyStamped, RefusesASignerWhoWasRevokedBefore) {
  world.storeCrls({{.serial = lab::serialOf(world.signer()), .when = -11 * kDay}});
  EXPECT_EQ(status(), CADES_STATUS_SIGNER_CERT);
}

TEST_F(VerifyStamped, RefusesAnIssuerWhoWasRevokedBefore) {
  world.storeCrls({},
                  {{.serial = lab::serialOf(world.issuer().certificate()), .when = -11 * kDay}});
  EXPECT_EQ(status(), CADES_STATUS_OTHER_CERT);
}

// After the stamp nothing vouches for its authority.
TEST_F(VerifyStamped, RefusesAnAuthorityThatIsRevokedByNow) {
  world.storeCrls({},
                  {{.serial = lab::serialOf(world.firstAuthority().certificate()), .when = -kDay}});
  EXPECT_EQ(status(), CADES_STATUS_SIGNATURE_STAMP);
}

TEST_F(VerifyStamped, RefusesAStampOverSomethingElse) {
  world.storeCrls();
  builder.sign().stamp().sign();  // ECDSA signs the same in another way each time
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_SIGNATURE_STAMP);
}

TEST_F(VerifyStamped, RefusesAStampFromTheFuture) {
  world.storeCrls();
  builder.sign().stampBy(world.firstAuthority(), {.offset = std::chrono::hours(1)});
  EXPECT_EQ(statusOf(builder.message()), CADES_STATUS_SIGNATURE_STAMP);
}

TEST_F(VerifyStamped, RefusesAnIssuerWhoIsNowhere) {
  world.storeCrls();
  builder.certificates.pop_back();
  EXPECT_EQ(status(), CADES_STATUS_NO_CHAIN);
}

// Signature and stamp both by the openssl command.
TEST(VerifyStampedByOpenssl, AcceptsTheSignature) {
  const VerifyWorld world;
  world.storeCrls();
  const TempDir folder;
  folder.write("signer.pem", lab::toPem(world.signer()));
  folder.write("key.pem", lab::toPem(world.signerKey()));
  folder.write("issuer.pem", lab::toPem(world.issuer().certificate()));
  folder.write("tsa.pem", lab::toPem(world.firstAuthority().certificate()));
  folder.write("tsakey.pem", lab::toPem(world.firstAuthority().key()));
  folder.write("content", "foreign");
  folder.write("serial", "01\n");
  folder.write("tsa.cnf",
               "[tsa]\ndefault_tsa=one\n[one]\nserial=serial\nsigner_cert=tsa.pem\n"
               "signer_key=tsakey.pem\nsigner_digest=sha256\ndefault_policy=1.2.3.4.1\n"
               "digests=sha256\ness_cert_id_alg=sha256\n");
  const auto openssl = [&folder](const std::vector<std::string>& arguments) {
    Command command{.arguments = {"openssl"}, .folder = folder.path()};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    const CommandResult result = run(command);
    EXPECT_EQ(result.exitCode, 0) << result.err;
  };
  openssl({"cms",
           "-sign",
           "-cades",
           "-binary",
           "-nodetach",
           "-outform",
           "DER",
           "-in",
           "content",
           "-signer",
           "signer.pem",
           "-inkey",
           "key.pem",
           "-certfile",
           "issuer.pem",
           "-out",
           "message"});
  const MessageHandle message = decode(octets(readFile(folder.file("message"))));
  folder.write("signature", text(bytesParam(message, CMSG_ENCRYPTED_DIGEST)));
  openssl({"ts", "-query", "-data", "signature", "-sha256", "-cert", "-out", "query"});
  openssl(
      {"ts", "-reply", "-config", "tsa.cnf", "-queryfile", "query", "-token_out", "-out", "token"});
  const MadeAttribute attribute{.oid = std::string(oids::kSignatureTimeStamp),
                                .values = {octets(readFile(folder.file("token")))}};
  const Octets encoded = attribute.encoded();
  const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{
      .cbSize = sizeof para, .dwSignerIndex = 0, .blob = blob(encoded)};
  ASSERT_EQ(control(message, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), ERROR_SUCCESS);
  const Verdict verdict = verdictOn(message);
  EXPECT_EQ(verdict.status, CADES_STATUS_GOOD) << std::hex << verdict.error;
  EXPECT_NE(verdict.info->pSignatureTimeStampTime, nullptr);
}

}  // namespace
}  // namespace qx::test::verify_stamped_test
