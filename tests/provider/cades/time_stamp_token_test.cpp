#include "provider/cades/time_stamp_token.h"

#include <gtest/gtest.h>

#include "provider/cades/imprint.h"
#include "provider/der/writer.h"
#include "tests/provider/cades/verify_world.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test::time_stamp_token_test {
namespace {

using lab::KeyKind;

const Octets& stamped() {
  static const Octets theBytes = octets("what is stamped");
  return theBytes;
}

lab::Imprint imprint(int digest = NID_sha256) {
  return lab::imprintOf(digest, stamped());
}

// A PKI of one authority, made once.
const VerifyWorld& world() {
  static const VerifyWorld theWorld;
  return theWorld;
}

Octets token(const lab::TimeStampOptions& options = {}, const Octets& nonce = {}) {
  return world().firstAuthority().token(imprint(), nonce, options);
}

DWORD readError(const Octets& encoded) {
  return TimeStampToken::read(encoded).error();
}

DWORD signatureError(const Octets& encoded, const std::vector<CertificatePtr>& others = {}) {
  const Result<TimeStampToken> read = TimeStampToken::read(encoded);
  return read ? read->verifySignature(others).error() : 0xBAD;
}

TEST(TimeStampToken, ReadsWhatTheAuthoritySays) {
  const std::time_t before = std::time(nullptr);
  const Octets encoded = token({.accuracySeconds = 2}, {0x01, 0x02});
  const Result<TimeStampToken> read = TimeStampToken::read(encoded);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->info().policy, lab::kLabPolicy);
  EXPECT_EQ(read->info().hash, HashAlgorithm::Sha256);
  EXPECT_EQ(text(read->info().imprint), text(imprint().hash));
  EXPECT_EQ(text(read->info().nonce), "\x01\x02");
  EXPECT_EQ(read->info().accuracy, 20'000'000U);
  EXPECT_FALSE(read->info().serial.empty());
  EXPECT_GE(read->seconds(), before);
  EXPECT_LE(read->seconds(), std::time(nullptr));
  EXPECT_EQ(text(read->encoded()), text(encoded));
}

TEST(TimeStampToken, DoesWithoutWhatMayBeMissing) {
  const Result<TimeStampToken> read = TimeStampToken::read(token({.accuracySeconds = 0}));
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->info().nonce.empty());
  EXPECT_EQ(read->info().accuracy, 0U);
}

TEST(TimeStampToken, GivesTheAuthority) {
  const Octets encoded = token();
  const Result<TimeStampToken> read = TimeStampToken::read(encoded);
  ASSERT_TRUE(read);
  const Result<CertificatePtr> authority = read->verifySignature();
  ASSERT_TRUE(authority);
  EXPECT_EQ(text((*authority)->der()), text(lab::toDer(world().firstAuthority().certificate())));
}

TEST(TimeStampToken, TakesTheAuthorityFromElsewhere) {
  const Octets encoded = token({.certificate = false});
  EXPECT_EQ(signatureError(encoded), CRYPT_E_SIGNER_NOT_FOUND);
  EXPECT_EQ(signatureError(encoded, {dataOf(world().lastAuthority().certificate())}),
            CRYPT_E_SIGNER_NOT_FOUND);
  EXPECT_EQ(signatureError(encoded, {dataOf(world().firstAuthority().certificate())}),
            ERROR_SUCCESS);
}

TEST(TimeStampToken, AcceptsBothNamingAttributesAndWantsOne) {
  EXPECT_EQ(signatureError(token({.ess = lab::EssAttribute::V1})), ERROR_SUCCESS);
  EXPECT_EQ(signatureError(token({.ess = lab::EssAttribute::V2})), ERROR_SUCCESS);
  EXPECT_EQ(signatureError(token({.ess = lab::EssAttribute::None})), CRYPT_E_ATTRIBUTES_MISSING);
}

TEST(TimeStampToken, RefusesAnAuthorityThatNamesAnotherCertificate) {
  EXPECT_EQ(signatureError(token({.essCertificate = world().lastAuthority().certificate()})),
            CRYPT_E_SIGNER_NOT_FOUND);
}

class TimeStampTokenKinds : public ::testing::TestWithParam<KeyKind> {};

TEST_P(TimeStampTokenKinds, AreAllProved) {
  const auto authority = lab::TimeStampAuthority::issuedBy(world().root(), GetParam());
  for (const int digest : {NID_sha1, NID_sha512, NID_id_GostR3411_2012_256, NID_id_GostR3411_94}) {
    const Octets encoded = authority.token(imprint(digest));
    const Result<TimeStampToken> read = TimeStampToken::read(encoded);
    ASSERT_TRUE(read) << digest;
    EXPECT_TRUE(read->verifySignature()) << digest;
    EXPECT_EQ(text(read->info().imprint), text(imprintOf(read->info().hash, {stamped()}).bytes()));
  }
}

INSTANTIATE_TEST_SUITE_P(Keys,
                         TimeStampTokenKinds,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256,
                                           KeyKind::EcP384));

TEST(TimeStampToken, RefusesAnImprintByABrokenHash) {
  const Octets encoded = world().firstAuthority().token(imprint(NID_md5));
  EXPECT_EQ(readError(encoded), CRYPT_E_UNKNOWN_ALGO);
}

TEST(TimeStampToken, RefusesAnImprintOfAnotherLength) {
  lab::Imprint cut = imprint();
  cut.hash.pop_back();
  EXPECT_EQ(readError(world().firstAuthority().token(cut)), CRYPT_E_ASN1_CORRUPT);
}

TEST(TimeStampToken, RefusesOtherMessages) {
  EXPECT_EQ(readError({}), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(readError(octets("nothing at all")), CRYPT_E_ASN1_BADTAG);
  const Octets data =
      der::sequence(*der::oid("1.2.840.113549.1.7.1"),
                    der::wrap(der::contextConstructed(0), der::octetString(stamped())))
          .bytes();
  EXPECT_EQ(readError(data), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(TimeStampToken, RefusesWhatComesBehindIt) {
  Octets encoded = token();
  encoded.push_back(0);
  EXPECT_EQ(readError(encoded), CRYPT_E_ASN1_CORRUPT);
}

// Whatever bit is turned: the token cannot be read, or its signature is not good, or what it says and
// who signed it is still the same (the unsigned parts: a NULL, the certificate's own signature).
TEST(TimeStampToken, IsNotFooledByAnyBit) {
  const Octets good = token({}, {0x11, 0x22});
  const Result<TimeStampToken> original = TimeStampToken::read(good);
  ASSERT_TRUE(original);
  Octets changed = good;
  std::size_t accepted = 0;
  for (std::size_t i = 0; i < changed.size(); ++i) {
    changed[i] ^= static_cast<std::uint8_t>(1U << (i % 8));
    const Result<TimeStampToken> read = TimeStampToken::read(changed);
    if (read && read->verifySignature()) {
      ++accepted;
      EXPECT_EQ(text(read->info().imprint), text(original->info().imprint)) << i;
      EXPECT_EQ(read->seconds(), original->seconds()) << i;
      EXPECT_EQ(text(read->info().nonce), text(original->info().nonce)) << i;
    }
    changed[i] = good[i];
  }
  EXPECT_LT(accepted, good.size() / 10);
}

TEST(TimeStampToken, IsNotReadWhenItIsCutShort) {
  const Octets good = token();
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_NE(readError({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)}),
              ERROR_SUCCESS)
        << size;
  }
}

// Time stamps of the openssl command and ours understand each other.
class OpensslStamps : public ::testing::Test {
 protected:
  OpensslStamps() {
    folder.write("data", text(stamped()));
    folder.write("root.pem", lab::toPem(world().root().certificate()));
    folder.write("tsa.pem", lab::toPem(world().firstAuthority().certificate()));
    folder.write("key.pem", lab::toPem(world().firstAuthority().key()));
    folder.write("serial", "01\n");
    folder.write("openssl.cnf",
                 "[tsa]\ndefault_tsa=one\n[one]\nserial=serial\nsigner_cert=tsa.pem\n"
                 "certs=root.pem\nsigner_key=key.pem\nsigner_digest=sha256\n"
                 "default_policy=1.2.3.4.1\ndigests=sha256,sha512\naccuracy=secs:1,millisecs:500,"
                 "microsecs:100\nordering=yes\ntsa_name=yes\ness_cert_id_chain=yes\n"
                 "ess_cert_id_alg=sha256\n");
  }

  CommandResult ts(const std::vector<std::string>& arguments) const {
    Command command{.arguments = {"openssl", "ts"}, .folder = folder.path()};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    return run(command);
  }

  TempDir folder;
};

TEST_F(OpensslStamps, AreProved) {
  ASSERT_EQ(ts({"-query", "-data", "data", "-sha512", "-cert", "-out", "query"}).exitCode, 0);
  const CommandResult reply = ts(
      {"-reply", "-config", "openssl.cnf", "-queryfile", "query", "-token_out", "-out", "token"});
  ASSERT_EQ(reply.exitCode, 0) << reply.err;
  const Octets encoded = octets(readFile(folder.file("token")));
  const Result<TimeStampToken> read = TimeStampToken::read(encoded);
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->verifySignature());
  EXPECT_EQ(read->info().policy, "1.2.3.4.1");
  EXPECT_EQ(read->info().accuracy, 15'001'000U);
  EXPECT_EQ(read->info().nonce.size() >= 8, true);
  EXPECT_EQ(text(read->info().imprint),
            text(imprintOf(HashAlgorithm::Sha512, {stamped()}).bytes()));
  EXPECT_EQ(read->certificates().size(), 2U);
}

TEST_F(OpensslStamps, AndItsVerifierAcceptsWhatOurTestsAreMadeWith) {
  folder.write("token", text(token()));
  const CommandResult verdict =
      ts({"-verify", "-data", "data", "-token_in", "-in", "token", "-CAfile", "root.pem"});
  EXPECT_EQ(verdict.exitCode, 0) << verdict.err;
}

}  // namespace
}  // namespace qx::test::time_stamp_token_test
