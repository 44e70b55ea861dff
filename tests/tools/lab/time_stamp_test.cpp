#include "tools/lab/time_stamp.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::lab::time_stamp_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr const char* kGostConfiguration =
    "openssl_conf = init\n[init]\nengines = engines\n[engines]\ngost = gost\n[gost]\n"
    "engine_id = gost\ndefault_algorithms = ALL\n";

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string textOf(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

// The openssl command asks for a time stamp and judges the answer.
class TimeStampTest : public ::testing::Test {
 protected:
  static Authority makeRoot(KeyKind kind) {
    return Authority::selfSigned(kind, {.subject = {{.type = "CN", .value = "Root"}}});
  }

  test::CommandResult openssl(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "openssl");
    return test::run(test::Command{.arguments = std::move(arguments),
                                   .environment = {{"OPENSSL_CONF", folder_.file("openssl.cnf")}}});
  }

  // A request for the file "data".
  Bytes query(const std::vector<std::string>& options) const {
    std::vector<std::string> line = {
        "ts", "-query", "-data", folder_.file("data"), "-out", folder_.file("query")};
    line.insert(line.end(), options.begin(), options.end());
    const test::CommandResult made = openssl(line);
    EXPECT_EQ(made.exitCode, 0) << made.err;
    return bytesOf(test::readFile(folder_.file("query")));
  }

  test::CommandResult verify(const Bytes& response,
                             const X509* root,
                             const X509* untrusted = nullptr) const {
    std::vector<std::string> line = {"ts",
                                     "-verify",
                                     "-queryfile",
                                     folder_.file("query"),
                                     "-in",
                                     folder_.write("response", textOf(response)),
                                     "-CAfile",
                                     folder_.write("root.pem", toPem(root))};
    if (untrusted != nullptr) {
      line.insert(line.end(), {"-untrusted", folder_.write("other.pem", toPem(untrusted))});
    }
    return openssl(line);
  }

  std::string show(const Bytes& response) const {
    return openssl({"ts", "-reply", "-text", "-in", folder_.write("response", textOf(response))})
        .out;
  }

  test::TempDir folder_;
  std::string data_ = folder_.write("data", "what is stamped");
  std::string configuration_ = folder_.write("openssl.cnf", kGostConfiguration);
};

struct Case {
  KeyKind kind;
  const char* digestOption;
};

class TimeStampKinds : public TimeStampTest, public ::testing::WithParamInterface<Case> {};

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    TimeStampKinds,
    ::testing::Values(Case{.kind = KeyKind::Rsa2048, .digestOption = "-sha256"},
                      Case{.kind = KeyKind::EcP256, .digestOption = "-sha1"},
                      Case{.kind = KeyKind::EcP384, .digestOption = "-sha512"},
                      Case{.kind = KeyKind::Gost2001, .digestOption = "-md_gost94"},
                      Case{.kind = KeyKind::Gost2012_256, .digestOption = "-md_gost12_256"},
                      Case{.kind = KeyKind::Gost2012_512, .digestOption = "-md_gost12_512"}));

TEST_P(TimeStampKinds, AnswersWhatTheOpensslCommandAsks) {
  const Authority root = makeRoot(GetParam().kind);
  const auto authority = TimeStampAuthority::issuedBy(root, GetParam().kind);
  const Bytes response = authority.answer(query({GetParam().digestOption, "-cert"}));
  const test::CommandResult judged = verify(response, root.certificate());
  EXPECT_EQ(judged.exitCode, 0) << judged.out << judged.err;
}

class TimeStamp : public TimeStampTest {
 protected:
  Authority root_ = makeRoot(KeyKind::EcP256);
  TimeStampAuthority authority_ = TimeStampAuthority::issuedBy(root_, KeyKind::EcP256);
};

TEST_F(TimeStamp, HoldsWhatTheOptionsSay) {
  const std::string text =
      show(authority_.answer(query({"-sha256"}), {.policy = "1.2.3.4", .accuracySeconds = 17}));
  EXPECT_THAT(text, AllOf(HasSubstr("Policy OID: 1.2.3.4"), HasSubstr("Accuracy: 0x11 seconds")));
}

TEST_F(TimeStamp, LeavesAccuracyAndNonceOut) {
  const std::string text =
      show(authority_.answer(query({"-sha256", "-no_nonce"}), {.accuracySeconds = 0}));
  EXPECT_THAT(text, AllOf(HasSubstr("Accuracy: unspecified"), HasSubstr("Nonce: unspecified")));
}

TEST_F(TimeStamp, NamesTheTimeOfTheOffset) {
  const std::string text =
      show(authority_.answer(query({"-sha256"}), {.offset = -100 * 365 * kDay / 10}));
  const auto now = std::chrono::system_clock::now();
  const auto then = std::chrono::floor<std::chrono::days>(now - 10 * 365 * kDay);
  const std::string year =
      std::to_string(static_cast<int>(std::chrono::year_month_day(then).year()));
  EXPECT_THAT(text, HasSubstr(year + " GMT"));
}

TEST_F(TimeStamp, OverAnotherImprintIsRefused) {
  const Bytes response = authority_.answer(query({"-sha256", "-cert"}), {.wrongImprint = true});
  EXPECT_THAT(verify(response, root_.certificate()).err, HasSubstr("message imprint mismatch"));
}

TEST_F(TimeStamp, WithAnotherNonceIsRefused) {
  const Bytes response = authority_.answer(query({"-sha256", "-cert"}), {.wrongNonce = true});
  EXPECT_THAT(verify(response, root_.certificate()).err, HasSubstr("nonce mismatch"));
}

TEST_F(TimeStamp, HasCertificatesWhenItIsAskedForThem) {
  const Bytes without = authority_.answer(query({"-sha256"}));
  EXPECT_NE(verify(without, root_.certificate()).exitCode, 0);
  const test::CommandResult given = verify(without, root_.certificate(), authority_.certificate());
  EXPECT_EQ(given.exitCode, 0) << given.err;
  const Bytes with = authority_.answer(query({"-sha256"}), {.certificate = true});
  EXPECT_EQ(verify(with, root_.certificate()).exitCode, 0);
}

TEST_F(TimeStamp, CarriesTheCertificatesOfItsChain) {
  const Authority ca = root_.subordinate(KeyKind::EcP256, {.subject = {{"CN", "CA"}}});
  const auto authority = TimeStampAuthority::issuedBy(ca, KeyKind::EcP256);
  const Bytes request = query({"-sha256", "-cert"});
  EXPECT_NE(verify(authority.answer(request), root_.certificate()).exitCode, 0);
  const Bytes whole = authority.answer(request, {.others = {ca.certificate()}});
  const test::CommandResult judged = verify(whole, root_.certificate());
  EXPECT_EQ(judged.exitCode, 0) << judged.err;
}

TEST_F(TimeStamp, NamesItsCertificateTheOldWayWhenAsked) {
  const Bytes request = query({"-sha256", "-cert"});
  const Bytes old = authority_.answer(request, {.ess = EssAttribute::V1});
  const test::CommandResult judged = verify(old, root_.certificate());
  EXPECT_EQ(judged.exitCode, 0) << judged.err;
  const Bytes none = authority_.answer(request, {.ess = EssAttribute::None});
  EXPECT_THAT(verify(none, root_.certificate()).err,
              HasSubstr("missing signing certificate attribute"));
}

TEST_F(TimeStamp, ThatNamesAnotherCertificateIsRefused) {
  const Bytes response =
      authority_.answer(query({"-sha256", "-cert"}), {.essCertificate = root_.certificate()});
  EXPECT_NE(verify(response, root_.certificate()).exitCode, 0);
}

TEST_F(TimeStamp, OfACertificateForOtherUsesIsRefused) {
  const auto authority = TimeStampAuthority::issuedBy(
      root_, KeyKind::EcP256, {.subject = {}, .extendedKeyUsage = "clientAuth"});
  const Bytes response = authority.answer(query({"-sha256", "-cert"}));
  EXPECT_NE(verify(response, root_.certificate()).exitCode, 0);
}

TEST_F(TimeStamp, RejectsWhatIsNoRequest) {
  EXPECT_THAT(show(authority_.answer(bytesOf("junk"))), HasSubstr("Status: Rejected."));
  EXPECT_THROW(readTimeStampQuery(bytesOf("junk")), std::runtime_error);
  Bytes longer = query({"-sha256"});
  longer.push_back(0);
  EXPECT_THROW(readTimeStampQuery(longer), std::runtime_error);
}

TEST_F(TimeStamp, RequestsAreReadAsTheyAre) {
  const TimeStampQuery read = readTimeStampQuery(query({"-sha256", "-cert"}));
  EXPECT_EQ(read.imprint.digest, NID_sha256);
  EXPECT_EQ(read.imprint.hash, imprintOf(NID_sha256, bytesOf("what is stamped")).hash);
  EXPECT_TRUE(read.imprint.nullParameters);
  EXPECT_FALSE(read.nonce.empty());
  EXPECT_TRUE(read.certificate);
  const TimeStampQuery bare = readTimeStampQuery(query({"-sha256", "-no_nonce"}));
  EXPECT_TRUE(bare.nonce.empty());
  EXPECT_FALSE(bare.certificate);
}

TEST_F(TimeStamp, TokenIsMadeWithoutARequest) {
  const Bytes token = authority_.token(imprintOf(NID_sha512, bytesOf("what is stamped")));
  const test::CommandResult judged =
      openssl({"ts",
               "-verify",
               "-data",
               data_,
               "-token_in",
               "-in",
               folder_.write("token", textOf(token)),
               "-CAfile",
               folder_.write("root.pem", toPem(root_.certificate()))});
  EXPECT_EQ(judged.exitCode, 0) << judged.err;
}

TEST_F(TimeStamp, UnknownDigestThrows) {
  EXPECT_THROW(imprintOf(NID_rsaEncryption, {}), std::runtime_error);
}

}  // namespace
}  // namespace qx::lab::time_stamp_test
