#include "tools/lab/ocsp.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ocsp.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::lab::ocsp_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* kGostConfiguration =
    "openssl_conf = init\n[init]\nengines = engines\n[engines]\ngost = gost\n[gost]\n"
    "engine_id = gost\ndefault_algorithms = ALL\n";

std::string textOf(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

// A root, a certificate of it, and the openssl command as judge of what is said about that.
class OcspTest : public ::testing::TestWithParam<KeyKind> {
 protected:
  test::CommandResult openssl(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"openssl", "ocsp"});
    return test::run(test::Command{.arguments = std::move(arguments),
                                   .environment = {{"OPENSSL_CONF", folder_.file("openssl.cnf")}}});
  }

  // The request that the command makes.
  Bytes query(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> line = {
        "-issuer", root(), "-cert", leaf(), "-reqout", folder_.file("query")};
    line.insert(line.begin(), options.begin(), options.end());
    openssl(line);
    const std::string made = test::readFile(folder_.file("query"));
    return {made.begin(), made.end()};
  }

  std::string judge(const Bytes& response, const std::vector<std::string>& options = {}) const {
    std::vector<std::string> line = {"-issuer",
                                     root(),
                                     "-cert",
                                     leaf(),
                                     "-no_nonce",
                                     "-CAfile",
                                     root(),
                                     "-respin",
                                     folder_.write("response", textOf(response)),
                                     "-resp_text"};
    line.insert(line.end(), options.begin(), options.end());
    const test::CommandResult judged = openssl(line);
    return judged.out + judged.err;
  }

  std::string root() const { return folder_.write("root.pem", toPem(root_.certificate())); }

  std::string leaf() const { return folder_.write("leaf.pem", toPem(leaf_.get())); }

  OcspEntry entry() const { return {.certId = ocspCertId(leaf_.get(), root_.certificate())}; }

  test::TempDir folder_;
  std::string configuration_ = folder_.write("openssl.cnf", kGostConfiguration);
  Authority root_ =
      Authority::selfSigned(GetParam(), {.subject = {{.type = "CN", .value = "Root"}}});
  EvpPkeyPtr key_ = generateKey(GetParam());
  X509Ptr leaf_ = root_.issue(key_.get(), {.subject = {{.type = "CN", .value = "Signer"}}});
  OcspResponder responder_ = OcspResponder::issuedBy(root_, GetParam());
};

class OcspKinds : public OcspTest {};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         OcspKinds,
                         ::testing::Values(KeyKind::Rsa2048,
                                           KeyKind::EcP256,
                                           KeyKind::Gost2001,
                                           KeyKind::Gost2012_256,
                                           KeyKind::Gost2012_512));

TEST_P(OcspKinds, GoodIsSaidToTheOpensslCommand) {
  const std::string text = judge(responder_.response({entry()}));
  EXPECT_THAT(text, AllOf(HasSubstr("Response verify OK"), HasSubstr("leaf.pem: good")));
}

TEST_P(OcspKinds, AuthorityAnswersForItself) {
  const std::string text = judge(OcspResponder::of(root_).response({entry()}));
  EXPECT_THAT(text, AllOf(HasSubstr("Response verify OK"), HasSubstr("leaf.pem: good")));
}

class Ocsp : public OcspTest {};

INSTANTIATE_TEST_SUITE_P(OneKind, Ocsp, ::testing::Values(KeyKind::EcP256));

TEST_P(Ocsp, RevokedComesWithItsTimeAndReason) {
  OcspEntry revoked = entry();
  revoked.status = OcspStatus::Revoked;
  revoked.reason = OCSP_REVOKED_STATUS_KEYCOMPROMISE;
  const std::string text = judge(responder_.response({revoked}));
  EXPECT_THAT(text,
              AllOf(HasSubstr("leaf.pem: revoked"),
                    HasSubstr("Reason: keyCompromise"),
                    HasSubstr("Revocation Time: ")));
}

TEST_P(Ocsp, UnknownIsSaid) {
  OcspEntry unknown = entry();
  unknown.status = OcspStatus::Unknown;
  EXPECT_THAT(judge(responder_.response({unknown})), HasSubstr("leaf.pem: unknown"));
}

TEST_P(Ocsp, PeriodsThatAreOverOrToComeAreRefused) {
  OcspEntry late = entry();
  late.thisUpdate = -2 * kDay;
  late.nextUpdate = -kDay;
  EXPECT_THAT(judge(responder_.response({late})), HasSubstr("status expired"));
  OcspEntry early = entry();
  early.thisUpdate = kDay;
  early.nextUpdate = 2 * kDay;
  EXPECT_THAT(judge(responder_.response({early})), HasSubstr("status not yet valid"));
}

TEST_P(Ocsp, NextUpdateMayBeMissing) {
  OcspEntry open = entry();
  open.nextUpdate.reset();
  const std::string text = judge(responder_.response({open}));
  EXPECT_THAT(text, AllOf(HasSubstr("leaf.pem: good"), Not(HasSubstr("Next Update"))));
}

TEST_P(Ocsp, CertificateMayBeMissing) {
  const Bytes bare = responder_.response({entry()}, {.certificate = false});
  EXPECT_THAT(judge(bare), HasSubstr("signer certificate not found"));
  const std::string other = folder_.write("responder.pem", toPem(responder_.certificate()));
  EXPECT_THAT(judge(bare, {"-verify_other", other}), HasSubstr("Response verify OK"));
}

TEST_P(Ocsp, ResponderIsNamedByItsKeyWhenAsked) {
  const std::string text = judge(responder_.response({entry()}, {.byKey = true}));
  EXPECT_THAT(text, AllOf(HasSubstr("Response verify OK"), Not(HasSubstr("Responder Id: CN"))));
  EXPECT_THAT(judge(responder_.response({entry()})), HasSubstr("Responder Id: CN = OCSP"));
}

TEST_P(Ocsp, ResponderNeedsTheUseOfOne) {
  const auto responder = OcspResponder::issuedBy(
      root_, KeyKind::EcP256, {.subject = {}, .extendedKeyUsage = "clientAuth"});
  EXPECT_THAT(judge(responder.response({entry()})), HasSubstr("missing ocspsigning usage"));
}

TEST_P(Ocsp, ProducedAtIsTheOffset) {
  const std::string text = judge(responder_.response({entry()}, {.producedAt = -10 * 365 * kDay}));
  const auto then =
      std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now() - 10 * 365 * kDay);
  const std::string year =
      std::to_string(static_cast<int>(std::chrono::year_month_day(then).year()));
  const std::string line = text.substr(text.find("Produced At: "));
  EXPECT_THAT(line.substr(0, line.find('\n')), HasSubstr(year + " GMT"));
}

TEST_P(Ocsp, NonceIsEchoed) {
  const OcspQuery query = readOcspQuery(this->query());
  ASSERT_THAT(query.nonce, Not(::testing::IsEmpty()));
  const Bytes response = responder_.response({entry()}, {.nonce = query.nonce});
  const std::string asked = folder_.file("query");
  const test::CommandResult judged = openssl(
      {"-reqin", asked, "-CAfile", root(), "-respin", folder_.write("response", textOf(response))});
  EXPECT_THAT(judged.out + judged.err,
              AllOf(HasSubstr("Response verify OK"), Not(HasSubstr("nonce"))));
}

TEST_P(Ocsp, RequestsAreReadAsTheyAre) {
  const OcspQuery query = readOcspQuery(this->query({"-no_nonce", "-sha256"}));
  ASSERT_THAT(query.wanted, SizeIs(1));
  EXPECT_EQ(query.wanted[0].certId, ocspCertId(leaf_.get(), root_.certificate(), NID_sha256));
  EXPECT_EQ(query.wanted[0].serial, serialOf(leaf_.get()));
  EXPECT_TRUE(query.nonce.empty());
}

TEST_P(Ocsp, CertIdsAreOfOneIssuer) {
  const auto other = Authority::selfSigned(KeyKind::EcP256, {.subject = {{"CN", "Root"}}});
  for (const int digest : {NID_sha1, NID_sha256, NID_id_GostR3411_2012_256}) {
    const Bytes id = ocspCertId(leaf_.get(), root_.certificate(), digest);
    EXPECT_TRUE(isIssuerOf(id, root_.certificate()));
    EXPECT_FALSE(isIssuerOf(id, other.certificate()));
  }
}

TEST_P(Ocsp, BareAnswerIsTheInsideOfAResponse) {
  const Bytes basic = responder_.basic({entry()});
  const unsigned char* at = basic.data();
  const OpensslOwner<OCSP_BASICRESP, OCSP_BASICRESP_free> read(
      d2i_OCSP_BASICRESP(nullptr, &at, static_cast<long>(basic.size())));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(at, basic.data() + basic.size());
  EXPECT_EQ(OCSP_resp_count(read.get()), 1);
}

TEST_P(Ocsp, ErrorsHaveNoAnswer) {
  EXPECT_THAT(judge(ocspError(OCSP_RESPONSE_STATUS_TRYLATER)), HasSubstr("trylater"));
}

TEST_P(Ocsp, JunkThrows) {
  EXPECT_THROW(readOcspQuery({1, 2, 3}), std::runtime_error);
  EXPECT_THROW(isIssuerOf({1, 2, 3}, root_.certificate()), std::runtime_error);
}

}  // namespace
}  // namespace qx::lab::ocsp_test
