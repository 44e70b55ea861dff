#include <algorithm>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::lab::encoding_test {
namespace {

using ::testing::HasSubstr;

class LabEncoding : public ::testing::TestWithParam<KeyKind> {
 protected:
  Authority authority_ =
      Authority::selfSigned(GetParam(), {.subject = {{.type = "CN", .value = "Root"}}});
  test::TempDir folder_;
};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         LabEncoding,
                         ::testing::Values(KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512,
                                           KeyKind::Rsa2048,
                                           KeyKind::EcP256));

TEST_P(LabEncoding, ReadsItsOwnDer) {
  const X509Ptr again = readCertificate(toDer(authority_.certificate()));
  EXPECT_EQ(X509_cmp(again.get(), authority_.certificate()), 0);
}

TEST_P(LabEncoding, ReadsItsOwnPem) {
  const X509Ptr certificate = certificateFromPem(toPem(authority_.certificate()));
  EXPECT_EQ(X509_cmp(certificate.get(), authority_.certificate()), 0);
  const EvpPkeyPtr key = keyFromPem(toPem(authority_.key()));
  EXPECT_EQ(toDer(key.get()), toDer(authority_.key()));
  EXPECT_THROW(certificateFromPem(toPem(authority_.key())), std::runtime_error);
  EXPECT_THROW(keyFromPem(toPem(authority_.certificate())), std::runtime_error);
}

TEST_P(LabEncoding, LocksAKeyThatTheOpensslCommandOpens) {
  const std::string file = folder_.write("key", toPem(authority_.key(), "1234", 1000));
  const test::CommandResult opened =
      test::run({"openssl", "pkey", "-engine", "gost", "-in", file, "-passin", "pass:1234"});
  EXPECT_EQ(opened.exitCode, 0) << opened.err;
  EXPECT_EQ(opened.out, toPem(authority_.key()));
}

TEST_P(LabEncoding, WritesTheSameKeyAsDerAndAsPem) {
  const Bytes der = toDer(authority_.key());
  const std::string file = folder_.write("key", std::string(der.begin(), der.end()));
  const test::CommandResult converted =
      test::run({"openssl", "pkey", "-engine", "gost", "-inform", "DER", "-in", file});
  EXPECT_EQ(converted.out, toPem(authority_.key())) << converted.err;
}

TEST_P(LabEncoding, LocksAKeyForOneTheWrongPinDoesNotOpen) {
  const std::string file = folder_.write("key", toPem(authority_.key(), "1234", 1000));
  EXPECT_NE(test::run({"openssl", "pkey", "-engine", "gost", "-in", file, "-passin", "pass:1235"})
                .exitCode,
            0);
}

TEST_P(LabEncoding, UsesTheRoundsThatItIsGiven) {
  const std::string file = folder_.write("key", toPem(authority_.key(), "1234", 4321));
  const test::CommandResult shown = test::run({"openssl", "asn1parse", "-in", file});
  EXPECT_THAT(shown.out, HasSubstr("aes-256-cbc"));
  EXPECT_THAT(shown.out, HasSubstr("hmacWithSHA256"));
  EXPECT_THAT(shown.out, HasSubstr(":10E1"));
}

TEST_P(LabEncoding, PacksAPkcs12ThatTheOpensslCommandOpens) {
  const Bytes packed = toPkcs12(authority_.key(), authority_.certificate(), {}, "secret");
  const std::string file = folder_.write("p12", std::string(packed.begin(), packed.end()));
  const test::CommandResult opened = test::run({"openssl",
                                                "pkcs12",
                                                "-engine",
                                                "gost",
                                                "-in",
                                                file,
                                                "-passin",
                                                "pass:secret",
                                                "-nodes",
                                                "-nomacver"});
  EXPECT_EQ(opened.exitCode, 0) << opened.err;
  EXPECT_THAT(opened.out, HasSubstr("BEGIN PRIVATE KEY"));
  EXPECT_THAT(opened.out, HasSubstr("BEGIN CERTIFICATE"));
}

TEST_P(LabEncoding, GivesTheThumbprintThatTheOpensslCommandGives) {
  const std::string file = folder_.write("c.pem", toPem(authority_.certificate()));
  std::string shown =
      test::run({"openssl", "x509", "-in", file, "-noout", "-fingerprint", "-sha1"}).out;
  std::erase_if(shown, [](char c) { return c == ':' || c == '\n'; });
  std::string upper = thumbprint(authority_.certificate());
  std::ranges::transform(upper, upper.begin(), [](char c) { return c >= 'a' ? c - 32 : c; });
  EXPECT_THAT(shown, HasSubstr(upper));
}

TEST(LabReadCertificate, ThrowsOnGarbage) {
  EXPECT_THROW(readCertificate({1, 2, 3}), std::runtime_error);
}

}  // namespace
}  // namespace qx::lab::encoding_test
